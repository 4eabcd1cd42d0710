#include "EndToEnd/ManagedServiceFixture.h"

#include <csignal>
#include <filesystem>

namespace Quenmark {

namespace fs = std::filesystem;
using TestSupport::BusPeer;
using TestSupport::HttpReply;
using TestSupport::HttpRequest;

void ManagedServiceFixture::launch(const std::string& serviceHost, const std::string& launcher) {
    deploy(serviceHost, launcher);
    BusPeer peer;
    ping(peer);
}

void ManagedServiceFixture::ping(BusPeer& peer) {
    const auto reply = peer.call({busName, "/", "org.freedesktop.DBus.Peer", "Ping"});
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->errorName, "");
}

void ManagedServiceFixture::killService() {
    const auto process = serviceProcess();
    ASSERT_TRUE(process);
    ASSERT_EQ(::kill(*process, SIGKILL), 0);
    ASSERT_TRUE(pollUntil([&] { return !serviceProcess(); }));
    BusPeer peer;
    ASSERT_TRUE(pollUntil([&] { return peer.ownerOf(busName).empty(); }));
}

void ManagedServiceFixture::send(const std::string& name, const std::string& content) {
    const auto made = data.write("made", content);
    fs::create_directories(fs::path(outbox(name)).parent_path());
    fs::rename(made, outbox(name));
}

void ManagedServiceFixture::offer(const std::string& jsonName, const std::string& name) {
    server.setHandler([=, this](const HttpRequest& request) {
        if (request.target == pollTarget)
            return HttpReply::json(confirmations == 0 ? item(jsonName) : nothing);
        if (request.target == streamTarget)
            return HttpReply::ok(std::string_view(wholeContent).substr(offsetOf(request)), streamHeaders(name));
        if (request.target == acknowledgeTarget)
            ++confirmations;
        return HttpReply::json(confirmed);
    });
}

std::string ManagedServiceFixture::itemWith(const std::string& identifier) {
    return R"({"FileName":"\\a.txt","FileUploadID":")" + identifier + R"(","IsFile":"True","ReturnStatus":"0"})";
}

std::size_t ManagedServiceFixture::offsetOf(const HttpRequest& request) {
    const std::string mark = "\"Length\" : \"";
    return std::stoul(request.body.substr(request.body.find(mark) + mark.size()));
}

std::vector<std::size_t> ManagedServiceFixture::offsets() const {
    std::vector<std::size_t> offsets;
    for (const auto& request : server.requests()) {
        if (request.target == streamTarget)
            offsets.push_back(offsetOf(request));
    }
    return offsets;
}

} // namespace Quenmark
