#include "Tools/Completion/Computers.h"

#include "Platform/Json.h"
#include "Platform/Loop/Queue.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Settings/DeploymentSettings.h"
#include "Platform/UrlLoading/UrlSession.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

#include <utility>
#include <variant>

namespace Tools::Completion {

namespace {

/// More are no help to somebody who types.
constexpr const char* target = "/api/computers?limit=1000";

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
        const auto* computer = entry.if_object();
        if (computer == nullptr)
            continue;
        if (auto name = textOf(*computer, "computer"); !name.empty())
            computers.push_back({std::move(name), textOf(*computer, "mail")});
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
    request.url =
        Platform::Url::fromString(settings.serviceScheme + "://" + server.value_or(settings.serviceHost) + target);
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
