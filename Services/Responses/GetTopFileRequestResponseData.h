#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The next file that others want.
struct GetTopFileRequestResponseData {
    ResponseField filePath;
    ResponseField fileRequestID;
    ResponseField returnStatus;
    ResponseField TransitDownloadPath;
    ResponseField sharedFlag;
    ResponseField ownerFileID;
    ResponseField byteStartPos;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"FilePath", "filePath", &GetTopFileRequestResponseData::filePath},
            Field{"FileRequestID", "fileRequestID", &GetTopFileRequestResponseData::fileRequestID},
            Field{"ReturnStatus", "returnStatus", &GetTopFileRequestResponseData::returnStatus},
            Field{"TransitDownloadPath", "TransitDownloadPath", &GetTopFileRequestResponseData::TransitDownloadPath},
            Field{"FromShared", "sharedFlag", &GetTopFileRequestResponseData::sharedFlag},
            Field{"FileID", "ownerFileID", &GetTopFileRequestResponseData::ownerFileID},
            Field{"ByteStartPos", "byteStartPos", &GetTopFileRequestResponseData::byteStartPos},
            Field{"error", "error", &GetTopFileRequestResponseData::error},
        };
    }
    bool operator==(const GetTopFileRequestResponseData&) const = default;
};

} // namespace Quenmark
