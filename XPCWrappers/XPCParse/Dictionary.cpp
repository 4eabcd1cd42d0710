#include "XPCWrappers/XPCParse.h"

namespace Quenmark::XPCParse {

XPC::Dictionary dictionaryWithContentsOfXPCObject(const Value& object) {
    std::vector<XPC::Entry> entries;
    for (const auto& [name, value] : std::get<Platform::Ipc::Dictionary>(object.storage()).entries()) {
        if (auto decoded = objectWithXPCObject(value))
            entries.push_back({name, std::move(*decoded)});
    }
    return XPC::Dictionary::withUniqueEntries(std::move(entries));
}

Value newXPCObject(const XPC::Dictionary& dictionary) {
    std::vector<Platform::Ipc::DictionaryEntry> entries;
    for (const auto& [key, object] : dictionary.entries()) {
        if (auto encoded = newXPCObject(object))
            entries.push_back({textThatTravels(key), std::move(*encoded)});
    }
    return Platform::Ipc::Dictionary(std::move(entries));
}

} // namespace Quenmark::XPCParse
