#pragma once

#include "Platform/UrlLoading/UrlRequest.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>
#include <utility>

namespace Platform {

/// Bytes that were received and not delivered: one piece, at most. Its memory is allocated at the first byte, is not
/// cleared, and stays when the piece is emptied, so that one transfer takes memory once.
class PieceBuffer {
public:
    /// Sets how many bytes it can hold, at most a piece's length, before the first byte is received.
    void setCapacity(std::size_t capacity) {
        if (!bytes_)
            capacity_ = std::clamp<std::size_t>(capacity, 1, maximumDataPiece);
    }

    bool empty() const { return size_ == 0; }
    std::string_view view() const { return {bytes_.get(), size_}; }
    std::size_t room() const { return capacity_ - size_; }
    /// Where the next bytes are written; `commit` says how many were.
    std::span<char> space() {
        if (!bytes_)
            bytes_ = std::make_unique_for_overwrite<char[]>(capacity_);
        return {bytes_.get() + size_, room()};
    }
    void commit(std::size_t count) { size_ += count; }
    /// Appends all of `bytes`, or none and returns false. An empty buffer takes all, whatever its capacity.
    bool append(std::string_view bytes) {
        if (empty() && bytes.size() > capacity_) {
            bytes_.reset();
            capacity_ = bytes.size();
        }
        if (bytes.size() > room())
            return false;
        std::memcpy(space().data(), bytes.data(), bytes.size());
        commit(bytes.size());
        return true;
    }
    void clear() { size_ = 0; }
    /// All that is there, with its memory; what is left behind is empty.
    PieceBuffer take() {
        PieceBuffer taken(std::move(*this));
        size_ = 0;
        return taken;
    }

private:
    std::unique_ptr<char[]> bytes_;
    std::size_t capacity_ = maximumDataPiece;
    std::size_t size_ = 0;
};

} // namespace Platform
