#include "Platform/Ipc/Value.h"

#include <algorithm>
#include <unordered_map>

namespace Platform::Ipc {

namespace {

std::vector<DictionaryEntry> withoutRepetitions(std::vector<DictionaryEntry> entries) {
    std::unordered_map<std::string_view, std::size_t> places;
    places.reserve(entries.size());
    std::vector<std::size_t> repeated;
    for (std::size_t at = 0; at < entries.size(); ++at) {
        const auto [place, isFirst] = places.try_emplace(entries[at].name, at);
        if (isFirst)
            continue;
        entries[place->second].value = std::move(entries[at].value);
        repeated.push_back(at);
    }
    if (repeated.empty())
        return entries;
    std::vector<DictionaryEntry> unique;
    unique.reserve(entries.size() - repeated.size());
    auto next = repeated.begin();
    for (std::size_t at = 0; at < entries.size(); ++at) {
        if (next != repeated.end() && *next == at)
            ++next;
        else
            unique.push_back(std::move(entries[at]));
    }
    return unique;
}

} // namespace

Dictionary::Dictionary() = default;
Dictionary::Dictionary(std::vector<DictionaryEntry> entries) : entries_(withoutRepetitions(std::move(entries))) {}
Dictionary::Dictionary(std::initializer_list<DictionaryEntry> entries)
    : Dictionary(std::vector<DictionaryEntry>(entries)) {}
Dictionary::Dictionary(const Dictionary&) = default;
Dictionary::Dictionary(Dictionary&&) noexcept = default;
Dictionary& Dictionary::operator=(const Dictionary&) = default;
Dictionary& Dictionary::operator=(Dictionary&&) noexcept = default;
Dictionary::~Dictionary() = default;

const Value* Dictionary::find(std::string_view name) const {
    const auto entry = std::ranges::find(entries_, name, &DictionaryEntry::name);
    return entry == entries_.end() ? nullptr : &entry->value;
}

void Dictionary::set(std::string name, Value value) {
    const auto entry = std::ranges::find(entries_, name, &DictionaryEntry::name);
    if (entry == entries_.end())
        entries_.push_back({std::move(name), std::move(value)});
    else
        entry->value = std::move(value);
}

bool Dictionary::operator==(const Dictionary& other) const {
    return entries_ == other.entries_;
}

} // namespace Platform::Ipc
