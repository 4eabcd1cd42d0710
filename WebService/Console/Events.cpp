#include "WebService/Console/Events.h"

#include <boost/json.hpp>

#include <algorithm>
#include <array>

namespace webservice {

namespace {

constexpr std::size_t maxComputers = 1000;

struct Table {
    std::string_view name; // in the database
    std::string_view shown;
};

constexpr std::array tables = {
    Table{"users", "users"},         Table{"computers", "computers"},
    Table{"files", "files"},         Table{"requests", "file-requests"},
    Table{"transfers", "transfers"}, Table{"mails", "mails"},
    Table{"errors", "errors"},
};

} // namespace

std::shared_ptr<EventReader> Events::open(std::string_view version) {
    if (readers_.size() == maxReaders)
        return nullptr;
    auto reader = std::make_shared<EventReader>(*this);
    reader->push("hello", boost::json::serialize(boost::json::object{{"version", version}}));
    return reader;
}

void Events::add(EventReader& reader) {
    readers_.push_back(&reader);
    db_.observeChanges([this](std::string_view table, std::int64_t row) { rowChanged(table, row); });
}

void Events::remove(EventReader& reader) {
    std::erase(readers_, &reader);
    if (readers_.empty())
        db_.observeChanges({});
}

void Events::push(std::string_view name, std::string_view data) {
    for (EventReader* reader : readers_)
        reader->push(name, data);
}

void Events::changed(std::string_view table) {
    for (EventReader* reader : readers_)
        reader->changed(table);
}

void Events::streamBegan() {
    for (EventReader* reader : readers_)
        reader->streamBegan();
}

void Events::rowChanged(std::string_view table, std::int64_t row) {
    constexpr std::string_view items = "uploads";
    const auto* const known = std::ranges::find(tables, table, &Table::name);
    for (EventReader* reader : readers_) {
        if (table == items)
            reader->itemChanged(row);
        else if (known != tables.end())
            reader->changed(known->shown);
    }
}

std::optional<std::set<std::string>> Events::computersOf(const std::set<std::int64_t>& items, bool areMany) {
    std::set<std::string> computers;
    if (areMany) {
        for (Query row = db_.query("SELECT DISTINCT computer FROM upload_counts LIMIT ?1", maxComputers + 1);
             row.next();)
            computers.insert(row.text(0));
        return computers.size() > maxComputers ? std::nullopt : std::optional(std::move(computers));
    }
    for (const std::int64_t item : items) {
        Query row = db_.query("SELECT computer FROM uploads WHERE id = ?1", item);
        if (row.next())
            computers.insert(row.text(0));
    }
    return computers;
}

} // namespace webservice
