#pragma once

#include "TopFileUploadXpcService/AttemptEnd.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace Quenmark {

/// Receives what happens in one engine, on the loop's thread, as it happens. The engine owns it, and destroys it as it
/// is destroyed itself. An operation that is not overridden does nothing.
class EngineObserver {
public:
    /// Tells the attempts of an engine from each other; 0 stands for none.
    using AttemptNumber = std::uint64_t;

    virtual ~EngineObserver() = default;

    /// `GetTopFileUpload` was called.
    virtual void started() {}
    /// A pass begins, whether the gate is open or not.
    virtual void passed() {}
    /// The pass found the gate closed and sends nothing.
    virtual void foundGateClosed() {}
    virtual void pollSent(AttemptNumber) {}
    /// The web service has responded to any request of the engine.
    virtual void responded() {}
    /// The poll's response offers an item, by its name on the wire.
    virtual void offered(AttemptNumber, const std::string& /*item*/) {}
    /// The bytes of the item from `offset` on are requested; those before are on disk.
    virtual void downloadBegan(AttemptNumber, std::uint64_t /*offset*/) {}
    /// All `size` bytes of the item are on disk already; only its placement or its acknowledgement is left to do.
    virtual void foundComplete(AttemptNumber, std::uint64_t /*size*/) {}
    /// The stream says how many bytes the whole item has.
    virtual void totalKnown(AttemptNumber, std::uint64_t /*total*/) {}
    /// That many more bytes of the item were received, and are on disk.
    virtual void wrote(AttemptNumber, std::uint64_t /*bytes*/) {}
    /// The item is put into its place, and made durable.
    virtual void flushing(AttemptNumber) {}
    virtual void acknowledging(AttemptNumber) {}
    /// The attempt has ended, for the first time or not, and the gate is now open or not.
    virtual void ended(AttemptNumber, const AttemptEnd&, bool /*isFirst*/, bool /*isGateOpen*/) {}
};

/// Makes the observer of a new engine, which belongs to the connection of the bus name `peer`; "" where it belongs to
/// none.
using EngineObserverFactory = std::function<std::unique_ptr<EngineObserver>(const std::string& peer)>;

} // namespace Quenmark
