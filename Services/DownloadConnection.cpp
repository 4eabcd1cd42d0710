#include "Services/DownloadConnection.h"

#include <utility>

namespace Quenmark {

std::shared_ptr<DownloadConnection>
DownloadConnection::initWithRequest(Platform::UrlRequest request,
                                    std::shared_ptr<Platform::UrlConnectionDelegate> delegate, bool startImmediately,
                                    std::optional<std::string> tag) {
    auto connection = std::make_shared<DownloadConnection>(std::move(request), std::move(delegate));
    connection->tag = std::move(tag);
    if (startImmediately)
        connection->start();
    return connection;
}

std::shared_ptr<DownloadConnection>
DownloadConnection::initWithRequest(Platform::UrlRequest request,
                                    std::shared_ptr<Platform::UrlConnectionDelegate> delegate,
                                    std::optional<std::string> tag) {
    return initWithRequest(std::move(request), std::move(delegate), true, std::move(tag));
}

} // namespace Quenmark
