#include "TopFileUploadXpcService/EngineFixture.h"

#include "Platform/Files/Files.h"
#include "TopFileUploadXpcService/ItemClaims.h"

#include <algorithm>

namespace Quenmark {

using TestSupport::Headers;
using TestSupport::HttpReply;

EngineFixture::EngineFixture() {
    setPreferences(usualPreferences());
    Platform::Files::createDirectory(home.path() + "/Quenmark");
}

void EngineFixture::nextPass() {
    clock.advance(std::chrono::seconds(2));
    loop.runOnce(std::chrono::seconds(0));
}

std::size_t EngineFixture::count(std::string_view target) const {
    const auto& requests = server.requests();
    return static_cast<std::size_t>(
        std::count_if(requests.begin(), requests.end(), [&](const auto& request) { return request.target == target; }));
}

bool EngineFixture::waitFor(std::string_view target, std::size_t wanted) {
    return runUntil([&] { return count(target) >= wanted; });
}

const TestSupport::HttpRequest& EngineFixture::last(std::string_view target) const {
    const auto& requests = server.requests();
    const auto found =
        std::find_if(requests.rbegin(), requests.rend(), [&](const auto& request) { return request.target == target; });
    if (found == requests.rend())
        throw std::out_of_range("no request came for " + std::string(target));
    return *found;
}

std::size_t EngineFixture::countOfFailures(const std::string& reason, int wait) const {
    const std::string next = "; the next attempt follows in " + std::to_string(wait) + " s";
    return static_cast<std::size_t>(std::ranges::count_if(log.entries(), [&](const std::string& entry) {
        return (entry.starts_with(reason + ";") || entry.starts_with(reason + " (")) && entry.ends_with(next);
    }));
}

void EngineFixture::expectStalled() {
    const auto before = questions();
    for (int pass = 0; pass < 3; ++pass)
        nextPass();
    EXPECT_EQ(questions(), before);
    EXPECT_FALSE(engineProbe.gateIsOpen());
}

std::string EngineFixture::item(std::string_view name, std::string_view isFile) {
    return R"({"Attachment":null,"FileName":")" + std::string(name) + R"(","FileUploadID":"12","IsFile":")" +
           std::string(isFile) +
           R"(","ReturnStatus":"0","ServerPath":"C:\\up\\12","ToComputerID":"7","TransitUploadPath":"t\\12",)"
           R"("UploadProcessed":"False","error":null})";
}

Headers EngineFixture::streamHeaders(std::string_view name, std::string_view isFile) {
    return {{"ReturnStatus", "0"},          {"IsFile", std::string(isFile)}, {"FileName", std::string(name)},
            {"FileUploadID", "13"},         {"ServerPath", "C:\\up\\13"},    {"ToComputerID", "8"},
            {"TransitUploadPath", "t\\13"}, {"UploadProcessed", "True"}};
}

void EngineFixture::enqueueFile(std::string_view jsonName, std::string_view name, std::string_view content) {
    server.enqueue(pollTarget, HttpReply::json(item(jsonName)));
    server.enqueue(streamTarget, HttpReply::ok(content, streamHeaders(name)));
    server.enqueue(acknowledgeTarget, HttpReply::json(R"({"ReturnStatus":"0"})"));
}

void EngineFixture::startStream(HttpReply reply) {
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\Docs\\a.txt)")));
    server.enqueue(streamTarget, std::move(reply));
    start();
    ASSERT_TRUE(waitFor(streamTarget));
}

bool EngineFixture::isFree(std::string_view name) const {
    auto& claims = ItemClaims::ofThisProcess();
    return claims.claim(temporary(name), std::nullopt, claims.now()) != nullptr;
}

std::string EngineFixture::contentOf(const std::string& path) {
    const auto content = Platform::Files::contents(path);
    const auto* bytes = std::get_if<std::string>(&content);
    return bytes != nullptr ? *bytes : "(no file at " + path + ")";
}

void EngineFixture::writeFile(const std::string& path, std::string_view content) {
    Platform::Files::createDirectory(Platform::Files::deletingLastPathComponent(path));
    Platform::Files::write(path, content);
}

} // namespace Quenmark
