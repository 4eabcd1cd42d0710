#pragma once

#include "Platform/OutputStream.h"
#include "Platform/Queue.h"
#include "Platform/UrlLoading/UrlConnection.h"
#include "Platform/UrlLoading/UrlSession.h"
#include "Services/Requests/UpdateFileUploadQuery.h"
#include "Services/Responses/GetTopFileUploadResponseData.h"
#include "TopFileUploadXpcService/MissingSettings.h"
#include "TopFileUploadXpcService/TopFileUploadXpcServiceProtocol.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

#include <any>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace Quenmark {

/// The engine: fetches, one at a time, the items that the web service holds for this computer, and places them under
/// the user's Quenmark folder.
///
/// Every two seconds a pass asks for the next item, if the gate is open and the network is up. A folder is made and
/// acknowledged at once. A file is streamed to a temporary file, moved into place and acknowledged; the gate opens
/// again when the acknowledgement is confirmed. Some failures leave it closed until `GetTopFileUpload` is called again,
/// which is required: see `downloadStatus_`.
///
/// An engine is held by a shared pointer. Its pending work keeps it alive, so once it has started it never ends.
class TopFileUploadXpcService final : public TopFileUploadXpcServiceProtocol,
                                      public Platform::UrlConnectionDelegate,
                                      public Platform::UrlSessionDelegate,
                                      public std::enable_shared_from_this<TopFileUploadXpcService> {
public:
    /// Opens the gate and starts one more chain of passes; the first pass runs before this returns.
    void GetTopFileUpload() override;
    /// One pass. It schedules the next one on the global background queue, whatever comes of it.
    void TopFileUploadProcess();
    /// Streams an item down. `params` holds "ToComputerID"; it and the offset are sent as texts, "(null)" where they
    /// are not known.
    void startAsyncDownloadWithStreamRequest(const std::string& request, const boost::json::object& params);
    /// Acknowledges an item; a confirmation opens the gate.
    void acknowledgeFileUploadProcess(const UpdateFileUploadQuery& query);
    /// Reports a failure to the web service's error log. The report does not tell what was caught.
    void logErrorMethod(const std::any& exception);
    /// Removes what is in the top-level folder of an item in the temporary area; the folder itself stays. Nothing is
    /// removed outside of the area. Throws std::out_of_range when no component follows "QuenmarkTemp" in the path.
    void clearTemp(const std::string& path);
    /// Does nothing.
    void setRepresentedObject(const std::any& object);

    // The session transport. Its answer's head is read with each piece of the body and at the end.
    void URLSessionDataTaskDidReceiveData(Platform::UrlSession& session, Platform::UrlSessionTask& dataTask,
                                          std::string_view data) override;
    void URLSessionTaskDidCompleteWithError(Platform::UrlSession& session, Platform::UrlSessionTask& task,
                                            const std::optional<Platform::Error>& error) override;

    // The older transport. Its answer's head is read when it arrives.
    void connectionDidReceiveResponse(Platform::UrlConnection& connection,
                                      const Platform::HttpUrlResponse& response) override;
    void connectionDidReceiveData(Platform::UrlConnection& connection, std::string_view data) override;
    void connectionDidFinishLoading(Platform::UrlConnection& connection) override;
    void connectionDidFailWithError(Platform::UrlConnection& connection, const Platform::Error& error) override;

private:
    friend class EngineProbe;

    /// A queue, and how many of its operations may run at the same time.
    struct OperationQueue {
        Platform::Queue queue;
        int maxConcurrentOperationCount;
    };

    void runPass();
    /// Reports the exception that is being handled. Throws nothing.
    void reportException();
    void pollCompleted(const GetTopFileUploadResponseData* answer, std::int64_t status,
                       const boost::json::object& params);
    void takeItem(const GetTopFileUploadResponseData& answer);
    void refreshPendingUploadIDs();
    std::string settingText(std::string_view key) const;
    std::string finalPath() const;
    void createFolderItem();
    void acknowledge();
    void takeStatus(const Platform::HttpUrlResponse* response);
    int statusValue() const;
    void dropItemWhenTold();
    void takeHeaders(const Platform::HttpUrlResponse& response);
    void finishItem(Platform::UrlSessionTask& task);
    void reopenAfterTransportError(const Platform::Error& error);
    void appendToTemporaryFile(std::string_view data);

    // Texts as the web service gives them; none is ever read as a number but `returnStatus_`.
    std::optional<std::string> fileName_;
    std::optional<std::string> fileUploadID_;
    std::optional<std::string> isFile_;
    std::optional<std::string> serverPath_;
    std::optional<std::string> toComputerID_;
    std::optional<std::string> transitUploadPath_;
    std::optional<std::string> uploadProcessed_;
    /// The text of the current download's "ReturnStatus"; "99", the engine's own mark, for a finished item.
    std::optional<std::string> returnStatus_;
    std::optional<std::string> filePath_;
    std::optional<std::string> tempFilePath_;
    bool isFilePathSet_ = false;
    /// The offset from which the server is to send, in decimal.
    std::optional<std::string> fileLength_;
    /// The shared preferences as of the last pass; nil when there are none.
    std::optional<boost::json::object> iAppsPrefs_;
    MissingSettings missingSettings_;
    std::optional<Platform::OutputStream> stream_;
    /// The gate. Open (true): the next pass may ask the server. Closed: a request or a download is in flight, or a
    /// failure that does not open it again has happened: a transport error other than -1004 and -1005 once there is an
    /// answer, a "ReturnStatus" other than 0 and 2, an acknowledgement that fails or is refused.
    bool downloadStatus_ = false;
    /// Made at the start; no work is put on it.
    std::optional<OperationQueue> operationQueue_;
    /// Read with every item; nothing depends on it.
    std::optional<boost::json::array> pendingUploadIDArray_;
    std::optional<boost::json::array> allFileUploadIDArray_;
};

} // namespace Quenmark
