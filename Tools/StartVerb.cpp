#include "Platform/Ipc/ErrorNames.h"
#include "Platform/Ipc/ServiceCall.h"
#include "Platform/Loop/RunLoop.h"
#include "Tools/Output.h"
#include "Tools/Verbs.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace Tools {

namespace Ipc = Platform::Ipc;

namespace {

const Ipc::ServiceAddress service{"Velkarin.Quenmark.TopFileUploadXpcService",
                                  "/Velkarin/Quenmark/TopFileUploadXpcService"};
constexpr const char* engineInterface = "Velkarin.Quenmark.TopFileUploadXpcServiceProtocol";
constexpr const char* engineMethod = "GetTopFileUpload";
constexpr const char* messageInterface = "Velkarin.Quenmark.XPC";
constexpr const char* messageMethod = "Message";
constexpr auto launchLimit = std::chrono::seconds(30);

/// Starts the engine of the service by whichever of its two front ends it was built with.
class Starter {
public:
    ExitStatus run() {
        callEngine();
        return static_cast<ExitStatus>(loop_.run());
    }

private:
    using Failed = std::optional<Ipc::CallFailure>;

    void callEngine() {
        call_ = Ipc::callService(service, engineInterface, engineMethod, std::nullopt, launchLimit,
                                 [this](const Failed& failure) {
                                     if (failure && isUnknown(failure->name))
                                         return sendMessage();
                                     finish(failure);
                                 });
    }

    void sendMessage() {
        call_ = Ipc::callService(service, messageInterface, messageMethod, Ipc::Value(Ipc::Dictionary()), launchLimit,
                                 [this](const Failed& failure) { finish(failure); });
    }

    static bool isUnknown(const std::string& error) {
        return error == Ipc::ErrorName::unknownInterface || error == Ipc::ErrorName::unknownMethod ||
               error == Ipc::ErrorName::unknownObject;
    }

    void finish(const Failed& failure) {
        if (failure)
            complain("the service cannot be started: " + failure->text);
        loop_.stop(static_cast<int>(failure ? ExitStatus::Unavailable : ExitStatus::Success));
    }

    Platform::RunLoop loop_;
    std::unique_ptr<Ipc::ServiceCall> call_;
};

} // namespace

void addStart(CLI::App& program, Action& action) {
    auto& verb = *program.add_subcommand("start", "Launch the service and start its engine");
    verb.footer("The session bus launches the service where it does not run yet. Ends with 69 where the bus or the\n"
                "service cannot be reached.\n\nExample:\n  quenmark start");
    verb.callback([&action] { action = [] { return Starter().run(); }; });
}

} // namespace Tools
