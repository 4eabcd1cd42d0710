#pragma once

#include "Tools/Failure.h"

#include <functional>

namespace CLI {
class App;
}

/// The verbs of the program. Each function adds one to the command line, with its options and its help; where the
/// verb is chosen, `action` becomes what it does. An action returns the exit status or throws Failure.
namespace Tools {

using Action = std::function<ExitStatus()>;

void addStart(CLI::App& program, Action& action);
void addStop(CLI::App& program, Action& action);
void addStatus(CLI::App& program, Action& action);
void addSetup(CLI::App& program, Action& action);
void addDoctor(CLI::App& program, Action& action);
void addBundle(CLI::App& program, Action& action);
void addPrefs(CLI::App& program, Action& action);
void addWatch(CLI::App& program, Action& action);
void addPush(CLI::App& program, Action& action);
void addOperations(CLI::App& program, Action& action);
void addCall(CLI::App& program, Action& action);

} // namespace Tools
