#include "Engine/StreamedItem.h"

#include "Engine/Processes.h"
#include "Engine/Settings.h"
#include "Platform/Log.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Memory.h"
#include "Platform/Settings/DeploymentSettings.h"
#include "Services/ServiceContext.h"
#include "TopFileUploadXpcService/TopFileUploadXpcService.h"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace Benchmarks {

void makeItem(const std::string& path, long mebibytes) {
    std::ofstream file(path, std::ios::binary);
    std::vector<char> block(1 << 20);
    for (std::size_t index = 0; index < block.size(); ++index)
        block[index] = static_cast<char>(index * 2654435761U >> 13);
    for (long count = 0; count < mebibytes; ++count)
        file.write(block.data(), static_cast<std::streamsize>(block.size()));
}

std::string itemLocations(const std::string& folder) {
    const std::string service = servicePath;
    const std::string json = "default_type application/json; return 200 ";
    return "    root " + folder + ";\n" + "    location = " + service + "GetTopFileUpload { " + json +
           "'{\"FileName\":\"\\\\\\\\item\",\"FileUploadID\":\"1\",\"IsFile\":\"True\",\"ReturnStatus\":\"0\"}'; }\n" +
           "    location = " + service + "UpdateFileUpload { " + json + "'{\"ReturnStatus\":\"0\"}'; }\n" +
           "    location = " + service + "GetTopFileUploadWithStream { error_page 405 =200 /item; return 405; }\n" +
           "    location = /item { add_header ReturnStatus 0; add_header IsFile True; add_header FileName '\\\\item'; "
           "}";
}

int receiveItem(double release) {
    Platform::Memory::keepSmall();
    Platform::RunLoop loop;
    Quenmark::ServiceContext context;
    context.settings = [release] {
        auto settings = Platform::DeploymentSettings::current();
        settings.appKitVersionNumber = release;
        return settings;
    };
    bool acknowledged = false;
    Platform::Log::setSink([&](std::string_view entry) {
        // A response to a poll names the item. The development web service has an error, null, behind the status.
        acknowledged = acknowledged || (entry.starts_with("response {\n    \"ReturnStatus\" = \"0\";") &&
                                        entry.find("FileName") == std::string_view::npos);
    });
    const auto service = std::make_shared<Quenmark::TopFileUploadXpcService>(std::move(context));
    service->GetTopFileUpload();
    const bool isDone = loop.runUntil([&] { return acknowledged; }, std::chrono::seconds(300));
    std::fprintf(stderr, "  longest turn of the loop: %.1f ms\n", longestTurnMilliseconds());
    return isDone ? 0 : 1;
}

} // namespace Benchmarks
