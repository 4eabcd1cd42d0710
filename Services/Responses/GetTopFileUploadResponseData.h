#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The next item that waits for a computer. `returnStatus` "0" announces one.
struct GetTopFileUploadResponseData {
    ResponseField attachment;
    ResponseField fileName;
    ResponseField fileUploadId;
    ResponseField isFile;
    ResponseField returnStatus;
    ResponseField serverPath;
    ResponseField toComputerId;
    ResponseField transitUploadPath;
    ResponseField uploadProcessed;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"Attachment", "attachment", &GetTopFileUploadResponseData::attachment},
            Field{"FileName", "fileName", &GetTopFileUploadResponseData::fileName},
            Field{"FileUploadID", "fileUploadId", &GetTopFileUploadResponseData::fileUploadId},
            Field{"IsFile", "isFile", &GetTopFileUploadResponseData::isFile},
            Field{"ReturnStatus", "returnStatus", &GetTopFileUploadResponseData::returnStatus},
            Field{"ServerPath", "serverPath", &GetTopFileUploadResponseData::serverPath},
            Field{"ToComputerID", "toComputerId", &GetTopFileUploadResponseData::toComputerId},
            Field{"TransitUploadPath", "transitUploadPath", &GetTopFileUploadResponseData::transitUploadPath},
            Field{"UploadProcessed", "uploadProcessed", &GetTopFileUploadResponseData::uploadProcessed},
            Field{"error", "error", &GetTopFileUploadResponseData::error},
        };
    }
    bool operator==(const GetTopFileUploadResponseData&) const = default;
};

} // namespace Quenmark
