#include "WebService/Pages.h"

#include "WebService/Handler.h"
#include "WebService/IgnoredBody.h"
#include "WebService/OpenApiDocument.h"
#include "WebService/Operations/Record.h"
#include "WebService/Operations/Registration.h"
#include "WebService/SlicedExchange.h"

#include <algorithm>
#include <array>

namespace webservice {

namespace {

using Parameter = std::optional<std::string>;

Response status(const Parameter& computer, OutboxLedger& ledger) {
    boost::json::object counts;
    for (const char* uploadState : {"pending", "acknowledged", "withdrawn"})
        counts[uploadState] = ledger.count(uploadState, computer);
    return jsonResponse(200, boost::json::serialize(counts));
}

Response mails(const Parameter& recipient, Database& db) {
    boost::json::array list;
    for (Query row = db.query("SELECT sent_at, recipient, subject, body FROM mails "
                              "WHERE ?1 IS NULL OR recipient = ?1 ORDER BY id",
                              recipient);
         row.next();)
        list.push_back({{"sentAt", row.text(0)}, {"to", row.text(1)}, {"subject", row.text(2)}, {"body", row.text(3)}});
    return jsonResponse(200, boost::json::serialize(list));
}

Response errors(const Parameter& computer, Database& db) {
    boost::json::array list;
    for (Query row = db.query("SELECT received_at, computer, user, error_class, error_method, error_message "
                              "FROM errors WHERE ?1 IS NULL OR computer = ?1 ORDER BY id DESC LIMIT 100",
                              computer);
         row.next();)
        list.push_back({{"receivedAt", row.text(0)},
                        {"computer", orNull(row.optionalText(1))},
                        {"user", orNull(row.optionalText(2))},
                        {"class", orNull(row.optionalText(3))},
                        {"method", orNull(row.optionalText(4))},
                        {"message", orNull(row.optionalText(5))}});
    return jsonResponse(200, boost::json::serialize(list));
}

Response activate(const Parameter& code, Database& db) {
    if (db.run("UPDATE users SET activated = 1 WHERE code = ?1", code) == 0)
        throw RequestError("UnknownCode", "there is no user with this code", 404);
    return jsonResponse(200, boost::json::serialize(done()));
}

Response password(const Parameter& code, Database& db) {
    return jsonResponse(200, boost::json::serialize(newPassword(code.value_or(""), db)));
}

Response openApi(const Parameter&) {
    return jsonResponse(200, std::string(openApiDocument()));
}

struct Page {
    std::string_view path;
    std::string_view parameter;
    Response (*handle)(State& state, const Parameter& parameter);
};

constexpr std::array pages = {
    Page{"/status", "computer", handler<&status>}, Page{"/mails", "to", handler<&mails>},
    Page{"/errors", "computer", handler<&errors>}, Page{"/activate", "code", handler<&activate>},
    Page{"/password", "code", handler<&password>}, Page{"/openapi.json", "", handler<&openApi>},
};

class PageExchange : public SlicedExchange {
public:
    PageExchange(State& state, const Page& page, Parameter parameter)
        : SlicedExchange(state), page_(page), parameter_(std::move(parameter)) {}

    void receive(std::string_view piece) override { body_.receive(piece); }

private:
    Work<Response> work() override { co_return page_.handle(state(), parameter_); }

    const Page& page_;
    Parameter parameter_;
    IgnoredBody body_;
};

} // namespace

std::unique_ptr<Exchange> beginPage(State& state, std::string_view path, const Request& request) {
    const auto* const page = std::ranges::find(pages, path, &Page::path);
    if (page == pages.end())
        return nullptr;
    return std::make_unique<PageExchange>(state, *page, queryValue(request.query(), page->parameter));
}

} // namespace webservice
