#pragma once

#include "Platform/UrlLoading/DownloadedFile.h"
#include "Platform/UrlLoading/GatheredBody.h"
#include "Platform/UrlLoading/UrlSession.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

namespace Platform {

/// Receives the response of a task that has a completion handler, and calls that handler.
class TaskReceiver {
public:
    virtual ~TaskReceiver() = default;
    /// An error ends the task with it.
    virtual std::optional<Error> receiveResponse(const HttpUrlResponse& response) = 0;
    virtual std::optional<Error> receive(std::string_view data) = 0;
    /// Calls the handler: once, last. `response` is nil where none was received.
    virtual void end(std::optional<HttpUrlResponse> response, std::optional<Error> error) = 0;
};

class MemoryReceiver final : public TaskReceiver {
public:
    explicit MemoryReceiver(UrlSession::DataHandler handler) : handler_(std::move(handler)) {}

    std::optional<Error> receiveResponse(const HttpUrlResponse& response) override { return body_.expect(response); }
    std::optional<Error> receive(std::string_view data) override { return body_.append(data); }
    void end(std::optional<HttpUrlResponse> response, std::optional<Error> error) override {
        auto data = error ? std::nullopt : std::optional(body_.take());
        if (handler_)
            handler_(std::move(data), std::move(response), std::move(error));
    }

private:
    UrlSession::DataHandler handler_;
    GatheredBody body_;
};

class FileReceiver final : public TaskReceiver {
public:
    /// A body of more than `maximum` bytes is refused; nil sets no limit.
    FileReceiver(UrlSession::DownloadHandler handler, std::optional<std::uint64_t> maximum)
        : handler_(std::move(handler)), maximum_(maximum.value_or(UINT64_MAX)), room_(maximum_) {}

    std::optional<Error> receiveResponse(const HttpUrlResponse& response) override {
        if (response.expectedContentLength.value_or(0) > room_)
            return UrlError::tooLong(maximum_);
        return file_.append({});
    }
    std::optional<Error> receive(std::string_view data) override {
        if (data.size() > room_)
            return UrlError::tooLong(maximum_);
        room_ -= data.size();
        return file_.append(data);
    }
    void end(std::optional<HttpUrlResponse> response, std::optional<Error> error) override {
        auto location = error ? std::nullopt : std::optional(file_.path());
        if (handler_)
            handler_(std::move(location), std::move(response), std::move(error));
    }

private:
    UrlSession::DownloadHandler handler_;
    DownloadedFile file_;
    const std::uint64_t maximum_;
    std::uint64_t room_;
};

} // namespace Platform
