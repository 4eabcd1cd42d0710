#include "Platform/Files/Files.h"
#include "Tools/Failure.h"
#include "Tools/Output.h"
#include "Tools/Reference/Reference.h"

#include <exception>
#include <string>

/// Writes the reference into the folder that the command line names.
int main(int argc, char** argv) {
    using Tools::ExitStatus;
    namespace Files = Platform::Files;
    try {
        if (argc != 2)
            throw Tools::Failure(ExitStatus::Usage, "usage: quenmark-reference FOLDER");
        const std::string folder = argv[1];
        auto error = Files::createDirectory(folder);
        if (!error)
            error = Files::write(folder + "/operations.md", Tools::Reference::markdown());
        if (!error)
            error = Files::write(folder + "/openapi.json", Tools::Reference::openApi());
        if (error)
            throw Tools::Failure(ExitStatus::CannotCreate, error->localizedDescription);
    } catch (const Tools::Failure& failure) {
        Tools::printMessage(failure.what());
        return static_cast<int>(failure.status());
    } catch (const std::exception& exception) {
        Tools::printMessage(exception.what());
        return static_cast<int>(ExitStatus::Software);
    }
    return 0;
}
