#include "Services/StagedUpload.h"

#include "Platform/Files/Files.h"
#include "Platform/Log.h"
#include "Platform/Settings/Environment.h"
#include "Platform/Text.h"
#include "Services/ServicesUtilities.h"

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

/// Two spellings of one path, or two ways over symbolic links, are one file.
bool isSameFile(const std::string& one, const std::string& other) {
    std::error_code failure;
    return std::filesystem::equivalent(one, other, failure);
}

} // namespace

StagedUpload::StagedUpload(const boost::json::object& params, const std::optional<std::string>& stagingDirectory)
    : filePath_(textOf(params, "FilePath")), transitDownloadPath_(textOf(params, "TransitDownloadPath")),
      fileRequestID_(textOf(params, "FileRequestID")) {
    localPath_ = ServicesUtilities::convertPathToMac(text(filePath_));
    name_ = Files::lastPathComponent(localPath_);
    copyPath_ = Files::appendingPathComponent(
        stagingDirectory ? *stagingDirectory : Platform::Environment::homeDirectory(), name_);

    // The path is read as a URL: "%41" in it is an "A", and a "#" or "?" ends it. Size and content come from there.
    const auto url = Platform::Url::fromString(localPath_);
    const std::string source = url ? url->path() : "";
    Platform::Log::write(text(Files::size(source)) + " " + text(transitDownloadPath_) + " " + text(fileRequestID_));
    isInPlace_ = isSameFile(source, copyPath_);
    if (isInPlace_)
        isCopied_ = std::holds_alternative<std::string>(Files::contents(source));
    else if (!isSameFile(localPath_, copyPath_)) // The file of that very name is not the one that is sent.
        isCopied_ = !Files::copyContents(source, copyPath_);
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
