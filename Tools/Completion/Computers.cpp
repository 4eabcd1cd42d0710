#include "Tools/Completion/Computers.h"

#include "Platform/Json.h"
#include "Platform/Loop/Queue.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Settings/DeploymentSettings.h"
#include "Platform/UrlLoading/UrlSession.h"
#include "Tools/Output.h"
#include "Tools/Setup/InputChecks.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

#include <cstddef>
#include <utility>
#include <variant>

namespace Tools::Completion {

namespace {

/// More are no help to somebody who types. A server may send more than it is asked for.
constexpr std::size_t maxComputers = 1000;
/// In bytes. No mail address is longer (RFC 5321, section 4.5.3.1.3).
constexpr std::size_t longestDescription = 254;

std::string textOf(const boost::json::object& object, std::string_view key) {
    const auto* value = object.if_contains(key);
    return value != nullptr && value->is_string() ? std::string(value->get_string()) : std::string();
}

/// {"computers": [{"computer": "7", "mail": "ann@example.org"}]}, with more members, which do not matter.
std::vector<Candidates::Word> computersIn(const Platform::Data& response) {
    const auto parsed = Platform::Json::parse(response);
    const auto* document = std::get_if<boost::json::value>(&parsed);
    const auto* object = document != nullptr ? document->if_object() : nullptr;
    const auto* list = object != nullptr ? object->if_contains("computers") : nullptr;
    std::vector<Candidates::Word> computers;
    if (list == nullptr || !list->is_array())
        return computers;
    for (const auto& entry : list->get_array()) {
        if (computers.size() == maxComputers)
            break;
        const auto* computer = entry.if_object();
        if (computer == nullptr)
            continue;
        auto name = textOf(*computer, "computer");
        if (InputChecks::ofIdentifier(name))
            continue;
        computers.push_back({std::move(name), std::string(beginning(textOf(*computer, "mail"), longestDescription))});
    }
    return computers;
}

} // namespace

std::vector<Candidates::Word> computersAt(const std::optional<std::string>& server) {
    const auto settings = Platform::DeploymentSettings::current();
    // Without a host the scheme or the authorities are wrong, and nothing is sent to any server.
    if (settings.serviceHost.empty())
        return {};
    Platform::UrlRequest request;
    request.url = Platform::Url::fromString(settings.serviceScheme + "://" + server.value_or(settings.serviceHost) +
                                            "/api/computers?limit=" + std::to_string(maxComputers));
    if (!request.url)
        return {};
    Platform::RunLoop loop;
    std::vector<Candidates::Word> computers;
    const auto session = Platform::UrlSession::sessionWithConfiguration(
        Platform::UrlSessionConfiguration::defaultSessionConfiguration(), nullptr, Platform::Queue::main());
    const auto task =
        session->dataTaskWithRequest(std::move(request), [&](const auto& data, const auto& response, const auto&) {
            constexpr int ok = 200;
            if (data && response && response->statusCode == ok)
                computers = computersIn(*data);
            loop.stop(0);
        });
    task->resume();
    loop.run();
    return computers;
}

} // namespace Tools::Completion
