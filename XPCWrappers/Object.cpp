#include "XPCWrappers/Object.h"

#include "Platform/Text.h"

#include <boost/json.hpp>

#include <algorithm>
#include <span>

namespace Quenmark::XPC {

namespace {

boost::json::value json(const Object& object);

struct ToJson {
    boost::json::value operator()(Null) const { return nullptr; }
    boost::json::value operator()(const Dictionary& dictionary) const {
        boost::json::object result;
        for (const auto& [key, object] : dictionary.entries())
            result.emplace(key, json(object));
        return result;
    }
    boost::json::value operator()(const Array& array) const {
        boost::json::array result;
        for (const auto& object : array)
            result.push_back(json(object));
        return result;
    }
    boost::json::value operator()(const std::string& string) const { return boost::json::string(string); }
    boost::json::value operator()(const Number& number) const {
        switch (number.objCType()) {
        case 'f':
        case 'd':
            return number.doubleValue();
        case 'Q':
            return number.unsignedLongValue();
        default:
            return number.longValue();
        }
    }
    boost::json::value operator()(Date date) const {
        const boost::json::value seconds = date.secondsSince1970;
        return boost::json::string(Platform::text(seconds) + " seconds since 1970");
    }
    boost::json::value operator()(const Data& data) const {
        constexpr std::size_t shown = 32;
        constexpr std::string_view digits = "0123456789abcdef";
        std::string text = "<";
        for (const auto byte : std::span(data).first(std::min(data.size(), shown)))
            ((text += digits[byte >> 4]) += digits[byte & 15]);
        text += data.size() > shown ? "... " + std::to_string(data.size()) + " bytes>" : ">";
        return boost::json::string(text);
    }
    boost::json::value operator()(const FileHandle& handle) const {
        return boost::json::string("<FileHandle " + std::to_string(handle.fileDescriptor()) + ">");
    }
    boost::json::value operator()(const XPCUUID& uuid) const { return boost::json::string(uuid.description()); }
};

boost::json::value json(const Object& object) {
    return std::visit(ToJson(), object.storage());
}

} // namespace

Dictionary::Dictionary() = default;
Dictionary::Dictionary(const Dictionary&) = default;
Dictionary::Dictionary(Dictionary&&) noexcept = default;
Dictionary& Dictionary::operator=(const Dictionary&) = default;
Dictionary& Dictionary::operator=(Dictionary&&) noexcept = default;
Dictionary::~Dictionary() = default;

Dictionary::Dictionary(std::initializer_list<Entry> entries) {
    for (const auto& [key, object] : entries)
        setObjectForKey(object, key);
}

Dictionary Dictionary::withUniqueEntries(std::vector<Entry> entries) {
    Dictionary dictionary;
    dictionary.entries_ = std::move(entries);
    return dictionary;
}

const Object* Dictionary::objectForKey(std::string_view key) const {
    const auto entry = std::ranges::find(entries_, key, &Entry::key);
    return entry == entries_.end() ? nullptr : &entry->object;
}

void Dictionary::setObjectForKey(Object object, std::string key) {
    const auto entry = std::ranges::find(entries_, key, &Entry::key);
    if (entry == entries_.end())
        entries_.push_back({std::move(key), std::move(object)});
    else
        entry->object = std::move(object);
}

bool Dictionary::operator==(const Dictionary& other) const {
    return entries_ == other.entries_;
}

std::string text(const Object& object) {
    return Platform::text(json(object));
}

std::string text(const std::optional<Object>& object) {
    return object ? text(*object) : Platform::text(std::nullopt);
}

} // namespace Quenmark::XPC
