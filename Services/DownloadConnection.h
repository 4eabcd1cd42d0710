#pragma once

#include "Platform/UrlLoading/UrlConnection.h"

#include <memory>
#include <optional>
#include <string>

namespace Quenmark {

/// A connection of the older transport with a text that identifies it.
class DownloadConnection : public Platform::UrlConnection {
public:
    /// Named after its keywords: makes a connection and, where `startImmediately` says so, starts it.
    static std::shared_ptr<DownloadConnection>
    initWithRequest(Platform::UrlRequest request, std::shared_ptr<Platform::UrlConnectionDelegate> delegate,
                    bool startImmediately, std::optional<std::string> tag);
    /// As above; the connection starts at once.
    static std::shared_ptr<DownloadConnection>
    initWithRequest(Platform::UrlRequest request, std::shared_ptr<Platform::UrlConnectionDelegate> delegate,
                    std::optional<std::string> tag);

    std::optional<std::string> tag;

    using UrlConnection::UrlConnection;
};

} // namespace Quenmark
