// Any bytes as a plan of faults. What is refused is refused as "BadPlan" with a place; what is accepted is a plan again
// as it is shown, and counts the requests that it selects.

#include "WebService/Common/RequestError.h"
#include "WebService/Faults/FaultPlanParser.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace {

using namespace webservice;

constexpr std::string_view path = "Uploads.svc/GetTopFileUpload";

void require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "%s\n", what);
        std::abort();
    }
}

std::optional<FaultPlan> parsed(std::string_view text) {
    try {
        return parseFaultPlan(text);
    } catch (const RequestError& error) {
        require(error.code() == "BadPlan" && error.status() == 400, "a plan is refused for another reason");
        require(std::string_view(error.what()).find(": ") != std::string_view::npos, "a refusal names no place");
        return std::nullopt;
    }
}

void tryPlan(FaultPlan plan) {
    require(parsed(plan.json()).has_value(), "what a plan shows is no plan");
    const auto* chosen = plan.select(path, [] { return std::optional<std::string>("7"); });
    if (chosen == nullptr)
        return;
    require(chosen->seen == 1 && chosen->applied == 1 && chosen->skip == 0, "a request is counted wrongly");
    require(plan.placeOf(*chosen).starts_with("faults["), "a fault has no place");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (auto plan = parsed({reinterpret_cast<const char*>(bytes), size}))
        tryPlan(std::move(*plan));
    return 0;
}
