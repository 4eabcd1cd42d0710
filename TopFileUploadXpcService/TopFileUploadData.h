#pragma once

#include "Platform/UrlLoading/UrlSession.h"
#include "Services/DownloadConnection.h"
#include "Services/Responses/GetTopFileUploadResponseData.h"

#include <memory>
#include <optional>
#include <string>

namespace Quenmark {

/// What belongs to one download. The engine has one download at a time and keeps its state in its own fields; the
/// record is part of its interface.
struct TopFileUploadData {
    std::optional<GetTopFileUploadResponseData> response;
    std::optional<std::string> filePath;
    std::optional<std::string> tempFilepath;
    std::optional<std::string> fileUploadID;
    std::shared_ptr<Platform::UrlSessionTask> task;
    std::shared_ptr<DownloadConnection> connection;
};

} // namespace Quenmark
