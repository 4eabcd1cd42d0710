#pragma once

#include "Platform/UrlLoading/UrlRequest.h"

#include <boost/json/object.hpp>

#include <optional>
#include <string>

namespace Quenmark {

/// A file that is sent by way of a copy in a staging directory: the home directory where none is named.
class StagedUpload {
public:
    /// Reads the file at "FilePath" of the parameters, in either form of separators, and writes the copy, replacing a
    /// file of the same name. Nobody can read the copy who cannot read the file. The path is read as a URL, so that
    /// "a%41.txt" names the file "aA.txt", and "b#c" the file "b". A path that forms no URL (one with a blank, for
    /// instance), or that cannot be read, gives no copy. Logs size, "TransitDownloadPath" and "FileRequestID".
    StagedUpload(const boost::json::object& params, const std::optional<std::string>& stagingDirectory);

    /// The POST that carries the parameters in its header fields.
    Platform::UrlRequest request(std::optional<Platform::Url> url) const;
    /// The copy; a file that does not exist where there is no copy.
    Platform::Url fileUrl() const;
    /// The last component of the path.
    const std::string& name() const { return name_; }
    /// Removes the copy, unless the file itself lies in the copy's place.
    void removeCopy() const;

private:
    std::string localPath_;
    std::string name_;
    std::string copyPath_;
    /// Whether the file itself lies where its copy would.
    bool isInPlace_ = false;
    bool isCopied_ = false;
    std::optional<std::string> filePath_;
    std::optional<std::string> transitDownloadPath_;
    std::optional<std::string> fileRequestID_;
};

} // namespace Quenmark
