#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Announces a file that is to be streamed up.
struct UploadFileWithStreamQuery {
    RequestField computerID;
    RequestField quenmarkPath;
    RequestField fullPathFromFileTable;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ComputerID", "computerID", &UploadFileWithStreamQuery::computerID},
            Field{"QuenmarkPath", "quenmarkPath", &UploadFileWithStreamQuery::quenmarkPath},
            Field{"FullPathFromFileTable", "fullPathFromFileTable", &UploadFileWithStreamQuery::fullPathFromFileTable},
        };
    }
    bool operator==(const UploadFileWithStreamQuery&) const = default;
};

} // namespace Quenmark
