#include "Platform/UrlLoading/TransferSlots.h"

namespace Platform {

bool TransferSlots::take(Transfer& transfer, const std::string& origin) {
    const auto server = servers_.try_emplace(origin).first;
    std::list<Transfer*> turn{&transfer};
    auto& place = places_.try_emplace(&transfer, Place{server, std::nullopt}).first->second;
    if (server->second.taken >= perOrigin_) {
        place.turn = turn.begin();
        server->second.waiting.splice(server->second.waiting.end(), turn);
        return false;
    }
    ++server->second.taken;
    ++taken_;
    return true;
}

Transfer* TransferSlots::leave(Transfer& transfer) noexcept {
    const auto found = places_.find(&transfer);
    if (found == places_.end())
        return nullptr;
    const auto server = found->second.server;
    auto& [taken, waiting] = server->second;
    const auto turn = found->second.turn;
    places_.erase(found);
    Transfer* next = nullptr;
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
        servers_.erase(server);
    return next;
}

} // namespace Platform
