#include "TopFileUploadXpcService/DeliveryFixture.h"

#include "Platform/Files/Files.h"
#include "TopFileUploadXpcService/LocalPaths.h"

#include <algorithm>
#include <chrono>

namespace Quenmark {

namespace Files = Platform::Files;

namespace {

std::size_t offsetIn(const TestSupport::HttpRequest& request) {
    const std::string mark = "\"Length\" : \"";
    return std::stoul(request.body.substr(request.body.find(mark) + mark.size()));
}

} // namespace

DeliveryFixture::DeliveryFixture() {
    for (std::size_t index = 0; index < 100'000; ++index)
        itemContent += static_cast<char>('a' + index * index % 26);
    server.setHandler([this](const HttpRequest& request) { return respond(request); });
}

DeliveryFixture::HttpReply DeliveryFixture::respond(const HttpRequest& request) {
    if (requested)
        requested(request);
    if (request.target == pollTarget)
        return HttpReply::json(isOffered ? pollOfItem() : nothing);
    if (request.target == streamTarget)
        return streamFrom(offsetIn(request));
    if (request.target == acknowledgeTarget) {
        ++confirmations;
        isOffered = false;
    }
    return HttpReply::json(confirmed);
}

void DeliveryFixture::offerNext(std::string_view jsonName, std::string_view name) {
    ++itemNumber;
    itemName = name.empty() ? "\\Docs\\item" + identifier() + ".bin" : name;
    itemJsonName = jsonName.empty() ? R"(\\Docs\\item)" + identifier() + ".bin" : jsonName;
    isOffered = true;
    confirmations = 0;
    requestsBefore = server.requests().size();
}

std::string DeliveryFixture::localName() const {
    return LocalPaths::localName(itemName).substr(1);
}

std::string DeliveryFixture::pollOfItem(std::string_view status) const {
    return R"({"FileName":")" + itemJsonName + R"(","FileUploadID":")" + identifier() + R"(","IsFile":"True",)" +
           (status.empty() ? "" : R"("ReturnStatus":)" + std::string(status) + ",") +
           R"("ServerPath":"s","ToComputerID":"7","TransitUploadPath":"t"})";
}

DeliveryFixture::HttpReply DeliveryFixture::streamFrom(std::size_t offset) const {
    return HttpReply::ok(std::string_view(itemContent).substr(offset), goodFields());
}

std::string DeliveryFixture::headersWithoutLength(const std::string& field) const {
    std::string headers = "HTTP/1.1 200 OK\r\n" + field + "\r\n";
    for (const auto& [name, value] : goodFields())
        headers += name + ": " + value + "\r\n";
    return headers + "\r\n";
}

std::size_t DeliveryFixture::failures() const {
    return static_cast<std::size_t>(std::ranges::count_if(log.entries(), [](const std::string& entry) {
        return entry.find("; the next attempt follows in ") != std::string::npos;
    }));
}

bool DeliveryFixture::letTimePassUntil(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        if (probe().gateIsOpen())
            pass(1);
        else
            loop.runOnce(std::chrono::milliseconds(20));
    }
    return true;
}

std::size_t DeliveryFixture::bytesOnDisk() const {
    return Files::size(temporary(localName())).value_or(0);
}

void DeliveryFixture::leavePartial(std::size_t size) {
    const auto whole = streamFrom(0);
    const auto before = failures();
    server.enqueue(streamTarget, whole.cutAfter(whole.bytes().size() - itemContent.size() + size));
    ASSERT_TRUE(letTimePassUntil([&] { return bytesOnDisk() == size; }));
    server.reset(last(streamTarget).connection);
    ASSERT_TRUE(waitForOneMoreFailure(before));
    ASSERT_EQ(bytesOnDisk(), size);
}

std::vector<std::size_t> DeliveryFixture::offsets() const {
    std::vector<std::size_t> offsets;
    const auto& requests = server.requests();
    for (std::size_t index = requestsBefore; index < requests.size(); ++index) {
        if (requests[index].target == streamTarget)
            offsets.push_back(offsetIn(requests[index]));
    }
    return offsets;
}

void DeliveryFixture::expectArrival(const std::vector<std::size_t>& expected) {
    ASSERT_TRUE(letTimePassUntil([&] { return confirmations > 0; })) << localName();
    const auto polls = count(pollTarget);
    ASSERT_TRUE(letTimePassUntil([&] { return count(pollTarget) > polls + 1 && probe().gateIsOpen(); }));
    EXPECT_EQ(confirmations, 1);
    EXPECT_EQ(offsets(), expected);
    EXPECT_TRUE(contentOf(placed(localName())) == itemContent);
    EXPECT_FALSE(Files::exists(temporary(localName())));
    EXPECT_FALSE(Files::exists(LocalPaths::recordFile(temporary(localName()))));
}

} // namespace Quenmark
