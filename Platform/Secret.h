#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <utility>

namespace Platform {

/// A text that is not to stay in memory, such as a password: its bytes are overwritten when it goes (explicit_bzero;
/// bzero(3)). Copies that were made of it are not.
class Secret {
public:
    Secret() = default;
    explicit Secret(std::string text) {
        text_.swap(text);
        wipe(text);
    }
    Secret(Secret&& other) noexcept { *this = std::move(other); }
    Secret& operator=(Secret&& other) noexcept {
        if (this == &other)
            return *this;
        text_.swap(other.text_);
        wipe(other.text_);
        return *this;
    }
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;
    ~Secret() { wipe(text_); }

    const std::string& text() const { return text_; }
    std::string& text() { return text_; }

    /// Overwrites a text, and empties it. What it held may be short, and then lies in the object itself.
    static void wipe(std::string& text) {
        text.resize(text.capacity());
        ::explicit_bzero(text.data(), text.size());
        text.clear();
    }

private:
    std::string text_;
};

} // namespace Platform
