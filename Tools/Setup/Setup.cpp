#include "Tools/Setup/Setup.h"

#include "Platform/Loop/RunLoop.h"
#include "Platform/Settings/DeploymentSettings.h"
#include "Tools/CallLog.h"
#include "Tools/Doctor/Doctor.h"
#include "Tools/Output.h"
#include "Tools/RequiredSettings.h"
#include "Tools/Setup/Account.h"
#include "Tools/Setup/QuenmarkFolder.h"
#include "Tools/Setup/ServiceUnit.h"
#include "Tools/Setup/SetupPlan.h"
#include "Tools/Setup/SetupSettings.h"

#include <string>
#include <utility>

namespace Tools {

namespace {

/// The user of the plan; the one that is set, where neither an identifier nor an account is given.
std::string userOf(SetupPlan& plan, const KnownSettings& known) {
    if (plan.user)
        return *plan.user;
    if (!plan.mail)
        return *known.user;
    const auto password = std::exchange(plan.password, {});
    const auto account = signIn(plan.host, *plan.mail, password);
    printMessage(*plan.mail + (account.isNew ? " is registered at " : " is signed in at ") + plan.host);
    return account.user;
}

/// Whether the computer that is set is the user's. The identifiers of one host say nothing at another one; where none
/// is given, it is the host's name that has changed.
bool keepsComputer(const SetupPlan& plan, const KnownSettings& known, const std::string& user) {
    const bool namesUser = plan.user || plan.mail;
    return known.computer && (!namesUser || (known.user == user && !plan.hostChanges));
}

/// Whether the sandbox of the service's unit has changed.
bool save(const NewSettings& settings, bool isRegistered) {
    try {
        return writeSettings(settings);
    } catch (const Failure& failure) {
        if (!isRegistered)
            throw;
        // Another attempt is not to register one more.
        throw Failure(failure.status(), failure.what() + ("; this computer is registered: try again with --computer " +
                                                          settings.computer + " --user " + settings.user));
    }
}

/// Throws Failure where the scheme or the authorities are wrong, which leaves no host: no password is sent in clear
/// because of a mistake there.
void requireSafety() {
    const CallLog quiet(false);
    if (Platform::DeploymentSettings::current().serviceHost.empty())
        requireDeployment();
}

/// A table that cannot be printed does not undo the set-up.
void printDoctor() {
    try {
        Platform::RunLoop loop;
        const CallLog quiet(false);
        printChecks(runChecks(loop));
    } catch (const Failure& failure) {
        if (*failure.what() != '\0')
            printMessage(failure.what());
    }
}

} // namespace

ExitStatus setUp(const SetupArguments& arguments) {
    const auto known = knownSettings();
    requireSafety();
    auto plan = makePlan(arguments, known);
    QuenmarkFolder folder(plan.path);

    NewSettings settings{.host = plan.host, .computer = {}, .user = userOf(plan, known), .path = plan.path};
    const bool isGiven = plan.computer || keepsComputer(plan, known, settings.user);
    settings.computer = plan.computer ? *plan.computer
                        : isGiven     ? *known.computer
                                      : registerComputer(plan.host, settings.user, plan.path);
    using Mode = Platform::DeploymentSettings::Mode;
    const bool changesMode = Platform::DeploymentSettings::current().mode != Mode::Managed;
    const bool changesSandbox = save(settings, !isGiven);
    folder.keep();
    printMessage("computer " + settings.computer + " of user " + settings.user + " receives from " + settings.host +
                 " into " + folder.path());

    if (arguments.enables)
        enableService(changesMode || changesSandbox);
    printDoctor();
    return ExitStatus::Success;
}

} // namespace Tools
