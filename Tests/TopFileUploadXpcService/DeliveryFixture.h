#pragma once

#include "TopFileUploadXpcService/ManagedFixture.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Quenmark {

/// One item after the other on its way from the web service to its place, in managed mode. The web service offers an
/// item until it has confirmed its acknowledgement. A test enqueues responses that come in the place of good ones.
class DeliveryFixture : public ManagedFixture {
protected:
    using HttpRequest = TestSupport::HttpRequest;

    DeliveryFixture();

    /// Offers the next item, of that name as in JSON and on the wire; "" stands for a name of the item's own.
    void offerNext(std::string_view jsonName = "", std::string_view name = "");
    /// The current item.
    std::string wireName() const { return itemName; }
    std::string localName() const;
    std::string identifier() const { return std::to_string(itemNumber); }
    std::string pollOfItem(std::string_view status = R"("0")") const;
    /// The good stream of the item from that offset on.
    HttpReply streamFrom(std::size_t offset) const;
    /// The header fields of its good stream.
    TestSupport::Headers goodFields() const { return fieldsOf(itemName, identifier()); }
    /// The status line and headers of its good stream, with one more field and without Content-Length.
    std::string headersWithoutLength(const std::string& field) const;
    void setContent(std::string content) { itemContent = std::move(content); }
    const std::string& content() const { return itemContent; }

    /// How many attempts have failed so far.
    std::size_t failures() const;
    /// Turns the loop, and moves the clock while nothing is in flight, until `condition` holds; says whether it did.
    bool letTimePassUntil(const std::function<bool()>& condition);
    bool waitForOneMoreFailure(std::size_t before) {
        return letTimePassUntil([&] { return failures() > before; });
    }
    /// Fetches the first `size` bytes of the item and loses the connection.
    void leavePartial(std::size_t size);
    /// How many bytes of the item are in the temporary area.
    std::size_t bytesOnDisk() const;
    /// The offsets of the item's stream requests so far.
    std::vector<std::size_t> offsets() const;
    /// Asserts that the item arrives without a call, identical and acknowledged once, by stream requests from those
    /// offsets on.
    void expectArrival(const std::vector<std::size_t>& offsets);

    /// Called with every request that gets a good response.
    std::function<void(const HttpRequest&)> requested;
    int confirmations = 0;

private:
    HttpReply respond(const HttpRequest& request);

    std::string itemContent;
    std::string itemName;
    std::string itemJsonName;
    int itemNumber = 0;
    bool isOffered = false;
    /// How many requests came before the item was offered.
    std::size_t requestsBefore = 0;
};

} // namespace Quenmark
