target_sources(Platform PRIVATE
  Ipc/Bus.cpp
  Ipc/Connection.cpp
  Ipc/Descriptor.cpp
  Ipc/IncomingCall.cpp
  Ipc/Listener.cpp
  Ipc/MessageReader.cpp
  Ipc/MessageWriter.cpp
  Ipc/ServiceCall.cpp
  Ipc/Value.cpp
)
