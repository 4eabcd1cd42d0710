// A service on the message-passing front end, for the bus to launch: replies to each message with {"echo": message},
// tells who the caller is, and logs the errors of its connections.

#include "Platform/Log.h"
#include "Platform/Loop/RunLoop.h"
#include "XPCWrappers/XPCService.h"

int main(int, char** arguments) {
    using namespace Quenmark;

    const Platform::RunLoop loop;
    const auto connectionHandler = [](const std::shared_ptr<XPCConnection>& connection) {
        connection->setEventHandler([](const std::optional<XPC::Object>& message, XPCConnection& from) {
            from.sendMessage(XPC::Dictionary{{"echo", message ? *message : XPC::Object(std::string("nil"))},
                                             {"process", XPC::Number(from.connectionProcessID())}});
        });
        connection->setErrorHandler([](XPCConnection&, const std::string& description) {
            Platform::Log::write("error handler: " + description);
        });
    };
    return XPCService::runServiceWithConnectionHandler(connectionHandler, arguments[1]);
}
