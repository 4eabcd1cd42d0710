// Asks the web service for the next item of a computer, and prints its name.
//   next-item COMPUTER

#include <Platform/Log.h>
#include <Platform/Loop/RunLoop.h>
#include <Services/RestInterface.h>

#include <cstdint>
#include <iostream>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: next-item COMPUTER\n";
        return 64;
    }
    // The library logs what it sends and receives; this program keeps that to itself.
    Platform::Log::setSink([](std::string_view) {});
    Platform::RunLoop loop;

    Quenmark::GetTopFileUploadQuery query;
    query.toComputerId = argv[1];
    Quenmark::RestInterface::asyncGetTopFileUpload(query, [&loop](const auto& result, std::int64_t status) {
        // The handler runs on the main queue. A record is there only with this status.
        if (status != Quenmark::RestStatusSuccess) {
            std::cerr << "no response, status " << status << '\n';
            return loop.stop(1);
        }
        const auto& item = *result.value();
        const bool announced = item.returnStatus && *item.returnStatus == "0" && item.fileName;
        std::cout << (announced ? item.fileName->as_string().c_str() : "nothing") << '\n';
        loop.stop(0);
    });
    return loop.run();
}
