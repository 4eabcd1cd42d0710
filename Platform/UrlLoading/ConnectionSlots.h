#pragma once

#include <cstddef>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>

namespace Platform {

/// Limits how many holders use a connection to one origin at once. Those beyond the limit wait for a slot, first in
/// first out, and delay nobody who goes to another origin. A holder must release its slot before it is destroyed.
template <class Holder>
class ConnectionSlots {
public:
    explicit ConnectionSlots(std::size_t perOrigin) : perOrigin_(perOrigin) {}

    /// Acquires a slot, and returns whether there was one. Otherwise the holder waits until `release` returns it.
    bool acquire(Holder& holder, const std::string& origin) {
        const auto found = origins_.try_emplace(origin).first;
        auto& [taken, waiting] = found->second;
        auto& place = places_.try_emplace(&holder, Place{found, std::nullopt}).first->second;
        if (taken >= perOrigin_) {
            place.turn = waiting.insert(waiting.end(), &holder);
            return false;
        }
        ++taken;
        ++taken_;
        return true;
    }

    /// Releases the holder's slot or ends its wait; has no effect on a holder that has neither. Returns the holder that
    /// has the slot now, nil where none waits.
    Holder* release(Holder& holder) noexcept {
        const auto found = places_.find(&holder);
        if (found == places_.end())
            return nullptr;
        const auto [origin, turn] = found->second;
        places_.erase(found);
        auto& [taken, waiting] = origin->second;
        Holder* next = nullptr;
        if (turn) {
            waiting.erase(*turn);
        } else if (waiting.empty()) {
            --taken;
            --taken_;
        } else {
            next = waiting.front();
            waiting.pop_front();
            places_.find(next)->second.turn.reset();
        }
        if (taken == 0 && waiting.empty())
            origins_.erase(origin);
        return next;
    }

    /// How many slots are taken, of all origins.
    std::size_t taken() const { return taken_; }

private:
    struct Origin {
        std::size_t taken = 0;
        std::list<Holder*> waiting;
    };
    using Origins = std::map<std::string, Origin>;
    struct Place {
        typename Origins::iterator origin;
        /// Nil for a holder that has its slot.
        std::optional<typename std::list<Holder*>::iterator> turn;
    };

    std::size_t perOrigin_;
    std::size_t taken_ = 0;
    Origins origins_;
    std::unordered_map<Holder*, Place> places_;
};

} // namespace Platform
