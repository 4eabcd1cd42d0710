// Sends the content of a file that the web service has requested, and shows how much of it is sent.
//   upload FILE REQUEST
// Where the deployment settings name no "stagingDirectory", a file of the same name in the home directory is replaced.

#include <Platform/Log.h>
#include <Platform/Loop/RunLoop.h>
#include <Services/RestInterface.h>

#include <cstdint>
#include <filesystem>
#include <iostream>

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: upload FILE REQUEST\n";
        return 64;
    }
    Platform::Log::setSink([](std::string_view) {});
    Platform::RunLoop loop;

    Quenmark::UpdateFileRequestQuery query;
    // The web service knows paths without the separator in front.
    query.filePath = std::filesystem::absolute(argv[1]).relative_path().string();
    query.fileRequestId = argv[2];
    query.transitDownloadPath = "";

    Quenmark::RestInterface::asyncUpdateFileRequestWithStream(
        query,
        [&loop](const auto& result, std::int64_t status) {
            if (status != Quenmark::RestStatusSuccess) {
                const auto* error = result.error();
                std::cerr << (error ? error->localizedDescription : "there is no network") << '\n';
                return loop.stop(1);
            }
            // The transfer went well; what the service thinks of it is in the record.
            const auto& answer = result.value()->ReturnStatus;
            std::cout << "the service returns " << (answer ? *answer : "nothing") << '\n';
            loop.stop(0);
        },
        [](std::uint64_t bytesSent, std::uint64_t bytesTotal) {
            std::cout << bytesSent << " of " << bytesTotal << " bytes" << std::endl;
        });
    return loop.run();
}
