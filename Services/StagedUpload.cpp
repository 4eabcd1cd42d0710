#include "Services/StagedUpload.h"

#include "Platform/Environment.h"
#include "Platform/Files.h"
#include "Platform/Log.h"
#include "Platform/Text.h"
#include "Services/ServicesUtilities.h"

#include <cstdint>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace Quenmark {

namespace Files = Platform::Files;
using Platform::text;

namespace {

std::optional<std::string> textOf(const boost::json::object& params, std::string_view key) {
    const auto* value = params.if_contains(key);
    return value != nullptr ? std::optional(text(*value)) : std::nullopt;
}

} // namespace

StagedUpload::StagedUpload(const boost::json::object& params)
    : filePath_(textOf(params, "FilePath")), transitDownloadPath_(textOf(params, "TransitDownloadPath")),
      fileRequestID_(textOf(params, "FileRequestID")) {
    localPath_ = ServicesUtilities::convertPathToMac(text(filePath_));
    name_ = Files::lastPathComponent(localPath_);
    copyPath_ = Files::appendingPathComponent(Platform::Environment::homeDirectory(), name_);

    const auto source = Platform::Url::fromString(localPath_);
    std::optional<std::uint64_t> size;
    if (source)
        size = Files::size(source->path());
    Platform::Log::write(text(size) + " " + text(transitDownloadPath_) + " " + text(fileRequestID_));
    if (!source)
        return;
    // Two spellings of one path, or two ways over symbolic links, are one file.
    std::error_code failure;
    isInPlace_ = std::filesystem::equivalent(localPath_, copyPath_, failure);
    if (isInPlace_)
        isCopied_ = std::holds_alternative<std::string>(Files::contents(localPath_));
    else
        isCopied_ = !Files::copyContents(localPath_, copyPath_);
}

Platform::UrlRequest StagedUpload::request(std::optional<Platform::Url> url) const {
    Platform::UrlRequest request;
    request.url = std::move(url);
    request.timeoutInterval = std::chrono::seconds(60);
    request.httpMethod = "POST";
    request.setValueForHTTPHeaderField("application/octet-stream", "Content-Type");
    const auto set = [&](const std::optional<std::string>& value, std::string_view field) {
        if (value)
            request.setValueForHTTPHeaderField(*value, field);
    };
    set(filePath_, "FilePath");
    set(transitDownloadPath_, "TransitDownloadPath");
    set(fileRequestID_, "FileRequestID");
    return request;
}

Platform::Url StagedUpload::fileUrl() const {
    return Platform::Url::fileUrl(isCopied_ ? copyPath_ : "");
}

void StagedUpload::removeCopy() const {
    if (isCopied_ && !isInPlace_)
        Files::removeItem(copyPath_);
}

} // namespace Quenmark
