// A sharing response of 100,000 items: bytes to record, beside the bare parse of the same bytes by Boost.JSON. Both
// times include letting go of what was made.

#include "PairedRuns.h"
#include "Platform/Json.h"
#include "Report/Report.h"
#include "Services/DataParser.h"

#include <boost/json/parse.hpp>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <variant>

namespace {

constexpr std::size_t items = 100'000;
constexpr std::size_t pairs = 15;
constexpr double target = 1.3;

std::string sharingResponse() {
    std::string text = R"({"FileToTransfer": [)";
    for (std::size_t item = 0; item < items; ++item) {
        const std::string number = std::to_string(item);
        text += item > 0 ? ",\n" : "\n";
        text += R"({"QuenmarkPath": "C:\\Users\\ann\\Quenmark", "ChangeType": "Modified", "FromCloud": "False", )";
        text += R"("FromComputerID": "91", "FullPath": "\\Shared\\Projects\\Report )" + number + R"(.pdf", )";
        text += R"("FullPathfromFileTable": "\\Shared\\Projects\\Report )" + number + R"(.pdf", "IsFile": "True", )";
        text += R"("IsOwnerToSubscriber": "True", "NewFullPath": "", "OwnerFileID": ")" + number + R"(", )";
        text += R"("PrevFolderFileID": "17", "SharedFileTransferID": ")" + number + R"(", "ToCloud": "False", )";
        text += R"("ToComputerID": "92", "UserComputerID": "93", "XMLFileID": null})";
    }
    return text + R"(], "OwnerComputers": [], "RecFileFromTransfer": [], "ReturnStatus": "0", )"
                  R"("SharedfoldersWithStatus": []})";
}

void require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "SharingBenchmark: %s\n", what);
        std::exit(1);
    }
}

void decodeRecord(const std::string& text) {
    auto parsed = Platform::Json::parse(text);
    auto* response = std::get_if<boost::json::value>(&parsed);
    require(response != nullptr, "the response is not read");
    const auto record = Quenmark::DataParser::parseGetSharedFilesTransferDataResponseData(std::move(*response));
    require(record.fileToTransferArray.size() == items && record.fileToTransferArray.back().xmlFileId->is_null(),
            "the record is not complete");
}

void parseBare(const std::string& text) {
    const auto value = boost::json::parse(text);
    require(value.as_object().at("FileToTransfer").as_array().size() == items, "the value is not complete");
}

} // namespace

int main() {
    const std::string text = sharingResponse();
    const auto result = PairedRuns::measure(
        pairs, [&] { decodeRecord(text); }, [&] { parseBare(text); });
    std::printf("A sharing response of %zu items, %.1f MB, median of %zu pairs\n", items,
                static_cast<double>(text.size()) / 1e6, pairs);
    std::printf("  bytes to record   %7.1f ms\n  bare parse        %7.1f ms\n", result.ours * 1e3, result.peers * 1e3);
    std::printf("  record : parse    %7.3f    (at most %.1f)\n", result.ratio, target);
    Report::add({.benchmark = "SharingBenchmark",
                 .what = "from the bytes of a long response to its record",
                 .peer = "a bare parse of the bytes",
                 .values = result.ratios,
                 .target = target});
}
