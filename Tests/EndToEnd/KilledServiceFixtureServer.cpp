// The scripted web service of the tests that kill the service: it offers one item after the other.

#include "EndToEnd/KilledServiceFixture.h"

#include <algorithm>
#include <sstream>

namespace Quenmark {

using TestSupport::HttpReply;
using TestSupport::HttpRequest;

namespace {

/// How the item is called on the wire, with each "\" written as `separator`.
std::string wireName(const std::string& name, const std::string& separator) {
    std::string wire;
    for (const char letter : "/" + name)
        wire += letter == '/' ? separator : std::string(1, letter);
    return wire;
}

std::string textBehind(const std::string& body, const std::string& mark) {
    const auto begin = body.find(mark) + mark.size();
    return body.substr(begin, body.find('"', begin) - begin);
}

} // namespace

KilledServiceFixture::Item* KilledServiceFixture::offered() {
    const auto found = std::ranges::find(items, 0U, &Item::acknowledgements);
    return found == items.end() ? nullptr : &*found;
}

HttpReply KilledServiceFixture::reply(const HttpRequest& request) {
    if (request.target == acknowledgeTarget)
        return acknowledge(request);
    const Item* item = offered();
    if (item == nullptr)
        return HttpReply::json(nothing);
    if (request.target == streamTarget)
        return cutsDownloads ? cutDownload(*item) : stream(request, *item);
    return HttpReply::json(
        RealServiceFixture::item(wireName(item->name, R"(\\)"), item->isFolder ? "False" : "True", item->id));
}

HttpReply KilledServiceFixture::stream(const HttpRequest& request, const Item& item) {
    const auto offset = std::stoul(textBehind(request.body, "\"Length\" : \""));
    EXPECT_GE(offset, fetched) << "bytes are fetched twice";
    fetched = 0;
    if (isManaged() && offset > item.content.size())
        isCallDue = true; // The item has changed. A call ends the wait that follows.
    const auto bytes = item.content.substr(std::min(offset, item.content.size()));
    const auto reply = HttpReply::ok(bytes, streamHeaders(wireName(item.name, "\\"), item.id));
    const auto later = bytes.size() / 2;
    if (later > 0)
        rest = Rest{request.connection, bytes.substr(bytes.size() - later), temporary(item.name),
                    offset + bytes.size() - later};
    return reply.cutAfter(reply.bytes().size() - later);
}

HttpReply KilledServiceFixture::cutDownload(const Item& item) const {
    const auto headers = streamHeaders(wireName(item.name, "\\"), item.id);
    const std::string bytes = partialContent(item);
    if (killCase.partial != KillCase::Partial::AllBytes) {
        const bool isLonger = bytes.size() > item.content.size();
        const auto whole = HttpReply::ok(isLonger ? bytes + "and what never comes" : item.content, headers);
        return whole.cutAfter(whole.bytes().find("\r\n\r\n") + 4 + bytes.size()).thenClose();
    }
    // A response without its last chunk, so that no length says that the file is whole.
    std::string response = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n";
    for (const auto& [name, value] : headers)
        response += name + ": " + value + "\r\n";
    std::ostringstream size;
    size << std::hex << bytes.size();
    return HttpReply::raw(response + "\r\n" + size.str() + "\r\n" + bytes + "\r\n").thenClose();
}

HttpReply KilledServiceFixture::acknowledge(const HttpRequest& request) {
    const auto id = textBehind(request.body, "\"FileUploadID\" : \"");
    const auto item = std::ranges::find(items, id, &Item::id);
    if (item == items.end()) {
        ADD_FAILURE() << "the acknowledgement is of no item: " << request.body;
        return HttpReply::json(nothing);
    }
    ++item->acknowledgements;
    fetched = 0;
    const Tree now = treeOf(placed(""), true);
    const Tree expected = expectedInPlace();
    const auto path = item->name + (item->isFolder ? "/" : "");
    EXPECT_EQ(now.contains(path), expected.contains(path)) << "when " << path << " was acknowledged";
    if (now.contains(path) && expected.contains(path)) {
        EXPECT_EQ(now.at(path), expected.at(path)) << "when it was acknowledged";
    }
    // The next item is asked for at once.
    isCallDue = isCallDue || !isManaged();
    return HttpReply::json(R"({"ReturnStatus":"0"})");
}

void KilledServiceFixture::sendRest() {
    if (!rest || contentOf(rest->file).value_or("").size() < rest->sizeBefore)
        return;
    server.send(rest->connection, rest->bytes);
    rest.reset();
}

} // namespace Quenmark
