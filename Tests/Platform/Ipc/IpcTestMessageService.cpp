// A message service for the bus to launch: sends every message back, ends at the message "leave", and logs errors.

#include "Platform/Ipc/MessageService.h"
#include "Platform/Log.h"
#include "Platform/Loop/RunLoop.h"

#include <cstdlib>

int main() {
    using namespace Platform;

    RunLoop loop;
    return Ipc::runMessageService({{"org.example.Worker", "/org/example/Worker"}, "org.example.Messages"},
                                  [](const std::shared_ptr<Ipc::MessageConnection>& connection) {
                                      connection->setEventHandler(
                                          [weak = std::weak_ptr(connection)](const Ipc::ConnectionEvent& event) {
                                              if (const auto* error = std::get_if<Ipc::ConnectionError>(&event))
                                                  return Log::write("error: " + error->description);
                                              const auto& value = std::get<Ipc::Value>(event);
                                              if (value == Ipc::Value("leave"))
                                                  std::_Exit(0);
                                              if (const auto alive = weak.lock())
                                                  alive->send(value);
                                          });
                                      connection->resume();
                                  });
}
