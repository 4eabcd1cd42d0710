#include "TopFileUploadXpcService/ItemClaims.h"

#include "Platform/ByteLock.h"
#include "Platform/Log.h"
#include "Platform/RunLoop.h"
#include "Platform/Text.h"
#include "TopFileUploadXpcService/LocalPaths.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <functional>

namespace Quenmark {

namespace {

std::pair<dev_t, ino_t> identity(const struct stat& file) {
    return {file.st_dev, file.st_ino};
}

} // namespace

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

ItemClaims::ItemClaims(Platform::RunLoop&) : state_(std::make_shared<State>()) {}

ItemClaims::Moment ItemClaims::now() const {
    struct stat file {};
    const bool hasFile = ::stat(LocalPaths::claimsFile().c_str(), &file) == 0;
    return {acknowledgements_, hasFile ? otherProcesses(file) : OtherProcesses()};
}

std::shared_ptr<ItemClaims::Claim> ItemClaims::claim(const std::string& temporaryPath,
                                                     const std::optional<std::string>& fileUploadID,
                                                     const Moment& sent) {
    if (state_->paths.contains(temporaryPath) || isAcknowledgedSince(fileUploadID, sent.acknowledgements))
        return nullptr;
    auto locked = lock(temporaryPath, sent);
    return locked ? std::make_shared<Claim>(state_, temporaryPath, *std::move(locked)) : nullptr;
}

void ItemClaims::acknowledged(const std::optional<std::string>& fileUploadID) {
    ++acknowledgements_;
    remembered_.push_back(Platform::text(fileUploadID));
    if (remembered_.size() > mostRemembered)
        remembered_.pop_front();
    const auto file = openFile();
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0)
        return;
    if (identity(status) != std::exchange(file_, identity(status)))
        written_ = 0;
    if (::write(file.get(), "\n", 1) == 1)
        ++written_;
}

bool ItemClaims::isAcknowledgedSince(const std::optional<std::string>& fileUploadID, std::uint64_t moment) const {
    const std::uint64_t since = acknowledgements_ - moment;
    if (since > remembered_.size())
        return true;
    const auto first = remembered_.end() - static_cast<std::ptrdiff_t>(since);
    return std::find(first, remembered_.end(), Platform::text(fileUploadID)) != remembered_.end();
}

ItemClaims::OtherProcesses ItemClaims::otherProcesses(const struct stat& file) const {
    return {identity(file), file.st_size - (identity(file) == file_ ? written_ : 0)};
}

std::optional<Platform::FileDescriptor> ItemClaims::lock(const std::string& path, const Moment& sent) {
    auto file = openFile();
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0)
        return Platform::FileDescriptor();
    if (Platform::lockByte(file.get(), std::hash<std::string>()(path)) == EAGAIN)
        return std::nullopt;
    // The file may have been removed before the lock was there, and the size is read once it is.
    struct stat present {};
    if (::fstat(file.get(), &status) != 0 || ::stat(LocalPaths::claimsFile().c_str(), &present) != 0 ||
        identity(status) != identity(present))
        return std::nullopt;
    const auto others = otherProcesses(status);
    const bool isSameFile = sent.others.file == others.file || sent.others.file == OtherProcesses().file;
    if (!isSameFile || sent.others.acknowledgements != others.acknowledgements)
        return std::nullopt;
    return file;
}

Platform::FileDescriptor ItemClaims::openFile() {
    const auto area = LocalPaths::temporaryArea();
    const std::string path = LocalPaths::claimsFile();
    auto error = area.makeFolderOf(path);
    if (!error) {
        auto opened = area.openToAppend(path);
        if (auto* file = std::get_if<Platform::FileDescriptor>(&opened)) {
            lastError_.clear();
            return std::move(*file);
        }
        error = std::get<Platform::Error>(std::move(opened));
    }
    if (std::exchange(lastError_, error->localizedDescription) != lastError_)
        Platform::Log::write("Other processes may fetch the same items: " + lastError_,
                             Platform::Log::Priority::Warning);
    return {};
}

} // namespace Quenmark
