// Registers a user and a computer of that user, one call after the other, and prints the computer's identifier.
//   register-computer MAIL PASSWORD FOLDER

#include <Platform/Log.h>
#include <Platform/Loop/RunLoop.h>
#include <Services/RestInterface.h>

#include <cstdint>
#include <iostream>
#include <string>

namespace {

using namespace Quenmark;

/// The text of a field; empty where there is none.
std::string textOf(const ResponseField& field) {
    return field && field->is_string() ? std::string(field->get_string()) : std::string();
}

void registerComputer(Platform::RunLoop& loop, const std::string& userId, const std::string& folder) {
    RegisterComputerQuery query;
    query.userId = userId;
    query.quenmarkPath = folder;
    RestInterface::asyncRegisterComputer(query, [&loop](const auto& result, std::int64_t status) {
        if (status != RestStatusSuccess)
            return loop.stop(1);
        std::cout << textOf(result.value()->computerId) << '\n';
        loop.stop(0);
    });
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::cerr << "usage: register-computer MAIL PASSWORD FOLDER\n";
        return 64;
    }
    Platform::Log::setSink([](std::string_view) {});
    Platform::RunLoop loop;

    UserRegistrationQuery query;
    query.mailId = argv[1];
    query.passWord = argv[2];
    RestInterface::asyncUserRegistration(
        query, [&loop, folder = std::string(argv[3])](const auto& result, std::int64_t status) {
            if (status != RestStatusSuccess)
                return loop.stop(1);
            registerComputer(loop, textOf(result.value()->userId), folder);
        });
    return loop.run();
}
