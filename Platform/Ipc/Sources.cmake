target_sources(Platform PRIVATE
  Ipc/Bus.cpp
  Ipc/BusService.cpp
  Ipc/Connection.cpp
  Ipc/Descriptor.cpp
  Ipc/IncomingCall.cpp
  Ipc/Endpoint.cpp
  Ipc/Listener.cpp
  Ipc/MessageConnection.cpp
  Ipc/MessageReader.cpp
  Ipc/MessageService.cpp
  Ipc/MessageWriter.cpp
  Ipc/MethodTable.cpp
  Ipc/PeerIdentity.cpp
  Ipc/ServiceCall.cpp
  Ipc/ServiceRoute.cpp
  Ipc/Value.cpp
)
