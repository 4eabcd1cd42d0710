#include "TopFileUploadXpcService/ItemClaims.h"

#include "Platform/Log.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Text.h"
#include "TopFileUploadXpcService/LocalPaths.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <set>
#include <utility>

namespace Quenmark {

struct ItemClaims::State {
    std::set<std::string> paths;
};

ItemClaims::Claim::Claim(std::shared_ptr<State> state, std::string path, Platform::FileDescriptor lock)
    : state_(std::move(state)), path_(std::move(path)), lock_(std::move(lock)) {
    state_->paths.insert(path_);
}

ItemClaims::Claim::~Claim() {
    state_->paths.erase(path_);
}

ItemClaims& ItemClaims::ofThisProcess() {
    return Platform::RunLoop::main().attachment<ItemClaims>();
}

ItemClaims::ItemClaims(Platform::RunLoop&)
    : state_(std::make_shared<State>()), others_(lockFile_.others(LocalPaths::claimsFile())) {}

std::shared_ptr<ItemClaims::Claim> ItemClaims::claim(const std::string& temporaryPath,
                                                     const std::optional<std::string>& fileUploadID,
                                                     const Moment& sent) {
    // One file, however its path is written; no component of it is a link.
    const std::string path = std::filesystem::path(temporaryPath).lexically_normal();
    if (state_->paths.contains(path) || isAcknowledgedSince(fileUploadID, sent.acknowledgements))
        return nullptr;
    auto locked = lock(path, sent);
    return locked ? std::make_shared<Claim>(state_, path, *std::move(locked)) : nullptr;
}

void ItemClaims::acknowledged(const std::optional<std::string>& fileUploadID) {
    ++acknowledgements_;
    kept_.push_back(Platform::text(fileUploadID));
    if (kept_.size() > maxKept)
        kept_.pop_front();
    lockFile_.count(LocalPaths::temporaryArea(), LocalPaths::claimsFile());
}

bool ItemClaims::isAcknowledgedSince(const std::optional<std::string>& fileUploadID, std::uint64_t moment) const {
    const std::uint64_t since = acknowledgements_ - moment;
    if (since > kept_.size())
        return true;
    const auto first = kept_.end() - static_cast<std::ptrdiff_t>(since);
    return std::find(first, kept_.end(), Platform::text(fileUploadID)) != kept_.end();
}

std::optional<Platform::FileDescriptor> ItemClaims::lock(const std::string& path, const Moment& sent) {
    auto result = lockFile_.lock(LocalPaths::temporaryArea(), LocalPaths::claimsFile(), std::hash<std::string>()(path));
    if (auto* lock = std::get_if<Platform::LockFile::Lock>(&result)) {
        lastError_.clear();
        if (!lock->others.isUnchangedSince(std::exchange(others_, lock->others)))
            ++noticed_;
        return noticed_ == sent.noticed ? std::optional(std::move(lock->file)) : std::nullopt;
    }
    const auto& error = std::get<Platform::Error>(result);
    if (error.code == EAGAIN)
        return std::nullopt;
    if (lastError_ != error.localizedDescription) {
        lastError_ = error.localizedDescription;
        Platform::Log::write("Other processes may fetch the same items: " + lastError_,
                             Platform::Log::Priority::Warning);
    }
    return Platform::FileDescriptor();
}

} // namespace Quenmark
