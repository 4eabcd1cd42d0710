#include "TopFileUploadXpcService/StatusObject.h"

#include "Platform/Printable.h"
#include "Platform/Utf8.h"
#include "Services/ServiceRoot.h"
#include "TopFileUploadXpcService/ServiceNames.h"

#include <string_view>
#include <utility>

namespace Quenmark {

namespace {

using Platform::Ipc::BusProperty;
using Platform::Ipc::Dictionaries;
using Platform::Ipc::Dictionary;
using Platform::Ipc::DictionaryEntry;
using Change = BusProperty::Change;

/// A text from outside as the bus takes it (D-Bus Specification, "Basic types").
std::string onBus(const std::string& text) {
    const bool isTaken = Platform::firstInvalidUtf8(text) == std::string::npos && text.find('\0') == std::string::npos;
    return isTaken ? text : Platform::printable(text);
}

Dictionary dictionary(const EngineEntry& engine) {
    std::vector<DictionaryEntry> entries{
        {"Id", engine.id},
        {"Peer", engine.peer},
        {"State", nameOf(engine.state)},
        {"Reason", onBus(engine.reason)},
        {"Since", engine.since},
        {"Item", onBus(engine.item)},
        {"Bytes", engine.bytes},
    };
    if (engine.total)
        entries.push_back({"Total", *engine.total});
    entries.push_back({"Passes", engine.passes});
    if (engine.lastResponse)
        entries.push_back({"LastResponse", *engine.lastResponse});
    if (engine.lastItem) {
        entries.push_back({"LastItem", onBus(*engine.lastItem)});
        entries.push_back({"LastItemTime", engine.lastItemTime});
    }
    entries.push_back({"ItemsLost", engine.itemsLost});
    entries.push_back({"LastLostItem", onBus(engine.lastLostItem)});
    entries.push_back({"LastLostReason", engine.lastLostReason});
    return Dictionary(std::move(entries));
}

Dictionaries dictionaries(const std::vector<EngineEntry>& engines) {
    Dictionaries all;
    all.reserve(engines.size());
    for (const auto& engine : engines)
        all.push_back(dictionary(engine));
    return all;
}

} // namespace

std::shared_ptr<Platform::Ipc::PropertyObject> statusObject(std::shared_ptr<const ServiceStatus> status,
                                                            ProgramFacts program) {
    std::vector<BusProperty> properties{
        {"Version", Change::Never, [version = std::move(program.version)] { return version; }},
        {"FrontEnd", Change::Never, [frontEnd = std::move(program.frontEnd)] { return frontEnd; }},
        {"ServiceRoot", Change::Unannounced, [] { return onBus(serviceRoot()); }},
        {"Started", Change::Never, [status] { return status->startTime(); }},
        {"ItemsReceived", Change::Announced, [status] { return status->itemsReceived(); }},
        {"BytesReceived", Change::Announced, [status] { return status->bytesReceived(); }},
        {"Mode", Change::Never, [status] { return std::string(status->isManaged() ? "managed" : "compatible"); }},
        {"Engines", Change::Announced, [status] { return dictionaries(status->engines()); }},
    };
    return std::make_shared<Platform::Ipc::PropertyObject>(ServiceNames::statusPath, ServiceNames::statusInterface,
                                                           std::move(properties));
}

} // namespace Quenmark
