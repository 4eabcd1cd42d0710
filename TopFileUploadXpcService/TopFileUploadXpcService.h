#pragma once

#include "Platform/Files/Flusher.h"
#include "Platform/Files/OutputStream.h"
#include "Platform/Files/WriteBack.h"
#include "Platform/Loop/Queue.h"
#include "Platform/UrlLoading/UrlConnection.h"
#include "Platform/UrlLoading/UrlSession.h"
#include "Services/Requests/UpdateFileUploadQuery.h"
#include "Services/Responses/GetTopFileUploadResponseData.h"
#include "Services/Result.h"
#include "Services/ServiceContext.h"
#include "TopFileUploadXpcService/AttemptLog.h"
#include "TopFileUploadXpcService/EngineObserver.h"
#include "TopFileUploadXpcService/EnginePolicy.h"
#include "TopFileUploadXpcService/Item.h"
#include "TopFileUploadXpcService/ItemClaims.h"
#include "TopFileUploadXpcService/MissingSettings.h"
#include "TopFileUploadXpcService/TopFileUploadXpcServiceProtocol.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

#include <any>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace Quenmark {

/// The engine: fetches, one at a time, the items that the web service holds for this computer, and places them under
/// the user's Quenmark folder.
///
/// Every two seconds a pass polls for the next item if the gate is open and the network is up. An item that no other
/// engine is fetching is claimed. A folder is made, flushed and acknowledged. A file is streamed to a temporary file,
/// flushed, moved into place and acknowledged; the gate opens again when the acknowledgement is confirmed. What cannot
/// be flushed is fetched again. Some failures leave the gate closed until `GetTopFileUpload` is called again, which is
/// required: see `downloadStatus_`.
///
/// An engine is held by a shared pointer. Its pending work keeps it alive, so once it has started it never ends.
class TopFileUploadXpcService final : public TopFileUploadXpcServiceProtocol,
                                      public Platform::UrlConnectionDelegate,
                                      public Platform::UrlSessionDelegate,
                                      public std::enable_shared_from_this<TopFileUploadXpcService> {
public:
    /// An engine whose requests use `context`: its settings and flags, each as they are at each use. Nil is the policy
    /// of compatible mode, and nobody who observes the engine.
    explicit TopFileUploadXpcService(ServiceContext context = {}, std::unique_ptr<EnginePolicy> policy = nullptr,
                                     std::unique_ptr<EngineObserver> observer = nullptr);
    ~TopFileUploadXpcService() override;

    /// In compatible mode, opens the gate and starts one more chain of passes; the first pass runs before this returns.
    /// In managed mode, ends the wait for the next pass.
    void GetTopFileUpload() override;
    /// One pass. The next one is scheduled on the global background queue, whatever its outcome.
    void TopFileUploadProcess();
    /// Downloads an item. `params` holds "ToComputerID"; it and the offset are sent as texts, "(null)" where they
    /// are not known.
    void startAsyncDownloadWithStreamRequest(const std::string& request, const boost::json::object& params);
    /// Acknowledges an item; a confirmation opens the gate.
    void acknowledgeFileUploadProcess(const UpdateFileUploadQuery& query);
    /// Reports a failure to the web service's error log. The report does not hold the exception.
    void logErrorMethod(const std::any& exception);
    /// Removes what is in the top-level folder of an item in the temporary area; the folder itself stays. Nothing is
    /// removed outside of the area. Throws std::out_of_range when no component follows "QuenmarkTemp" in the path.
    void clearTemp(const std::string& path);
    /// Does nothing.
    void setRepresentedObject(const std::any& object);

    // The session transport. The response's header fields are read with each piece of the body and at the end.
    void URLSessionDataTaskDidReceiveData(Platform::UrlSession& session, Platform::UrlSessionTask& dataTask,
                                          std::string_view data) override;
    void URLSessionTaskDidCompleteWithError(Platform::UrlSession& session, Platform::UrlSessionTask& task,
                                            const std::optional<Platform::Error>& error) override;

    // The older transport. The response's header fields are read when they arrive.
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

    using AttemptPointer = std::shared_ptr<Attempt>;
    using Claim = std::shared_ptr<ItemClaims::Claim>;

    /// The state of one item between its poll and its acknowledgement.
    struct ItemFetch {
        AttemptPointer attempt = {};
        Claim claim = {};
        /// As the poll offered it.
        Item offered = {};
        ItemPaths paths = {};
        std::uint64_t offset = 0;
    };

    AttemptPointer beginAttempt();
    void attemptEnded(const Attempt& attempt, const AttemptEnd& end, bool isFirst);
    /// The number of the fetch's attempt; 0 if it has none.
    static EngineObserver::AttemptNumber numberOf(const ItemFetch& fetch);
    /// Notifies the observer if an operation got a response.
    void noteResponse(std::int64_t status);
    /// Whether the attempt that began last is under way.
    bool isAttempting() const;
    void runPass(const AttemptPointer& attempt);
    bool isGateOpen() const { return downloadStatus_; }
    void openGate() { downloadStatus_ = true; }
    void closeGate() { downloadStatus_ = false; }
    /// Marks the item as finished, so that it is not acknowledged again.
    void markFinished() { returnStatus_ = "99"; }
    /// Reports the exception that is being handled. Throws nothing.
    void reportException();
    /// Handles the result of a poll that was sent at `sent`.
    void pollCompleted(const Result<GetTopFileUploadResponseData>& result, std::int64_t status,
                       const ItemClaims::Moment& sent, const boost::json::object& params,
                       const AttemptPointer& attempt);
    /// Begins with the item of a poll. Its paths stay as they are now, whatever the stream's header fields say.
    EnginePolicy::FetchPlan beginItem(Item item);
    void refreshPendingUploadIDs();
    std::string settingText(std::string_view key) const;
    /// The final path of the item under the name that it has now.
    std::string finalPath() const;
    void createFolderItem();
    /// The work that makes the folders of this item durable. Notes where the item's own could not be made.
    Platform::Flusher::Work flushOfFolders(const ItemFetch& fetch);
    void download(const ItemFetch& fetch, const boost::json::object& params);
    /// The paths of the current item.
    ItemPaths paths() const;
    /// Makes the folder of an item that the poll calls one, and acknowledges it.
    void placeFolder(const ItemFetch& fetch);
    /// Acknowledges the current item once `work` has made it durable.
    void acknowledgeWhenDurable(Platform::Flusher::Work work, const ItemFetch& fetch);
    /// Runs `work` off the loop and then, on this queue, `next`. Where flushing failed, the attempt ends instead, so
    /// that the item is fetched again; where the work failed otherwise, the policy says.
    void whenDurable(Platform::Flusher::Work work, const ItemFetch& fetch, std::function<void()> next);
    /// Acknowledges an item, which stays claimed until there is a response.
    void acknowledge(const UpdateFileUploadQuery& query, const ItemFetch& fetch);
    /// Called when a stream has ended. Returns its fetch, and resets `fetch_` if no other stream is running.
    ItemFetch finishStreamFetch();
    void readStatus(const Platform::HttpUrlResponse* response);
    int statusValue() const;
    /// Reads a stream's status and item from its header fields and creates a folder item. Returns why the stream is
    /// rejected; nil if it is accepted.
    std::optional<AttemptEnd> readHeaderFields(const Platform::HttpUrlResponse& response, const ItemFetch& fetch);
    /// Has the policy validate a stream of status 0, once. Returns why it is rejected; nil if it is accepted.
    std::optional<AttemptEnd> validateStream(const Platform::HttpUrlResponse& response, const ItemFetch& fetch);
    void finishItem(Platform::UrlSessionTask& task, const ItemFetch& fetch);
    /// Appends a piece of the stream. The end of the download where it has to end there.
    std::optional<AttemptEnd> appendToTemporaryFile(std::string_view data);
    /// Ends the download of the older transport, and the attempt.
    void endStream(Platform::UrlConnection& connection, const AttemptEnd& end);

    ServiceContext context_;
    /// The current item: as the poll described it, and from the stream's header fields on as those do.
    Item item_;
    /// The text of the current download's "ReturnStatus", which is read as a number; "99", the engine's own mark, for a
    /// finished item.
    std::optional<std::string> returnStatus_;
    std::optional<std::string> filePath_;
    std::optional<std::string> tempFilePath_;
    bool isFilePathSet_ = false;
    /// The offset from which the server is to send, in decimal.
    std::optional<std::string> fileLength_;
    /// The shared preferences as of the last pass; nil when there are none.
    std::optional<boost::json::object> iAppsPrefs_;
    MissingSettings missingSettings_;
    std::unique_ptr<EnginePolicy> policy_;
    std::unique_ptr<EngineObserver> observer_;
    AttemptLog attemptLog_;
    /// The attempt that began last, and how many there were.
    std::weak_ptr<Attempt> attempt_;
    EngineObserver::AttemptNumber attempts_ = 0;
    /// What is being downloaded.
    ItemFetch fetch_;
    /// How many downloads are running: one, unless a call has opened the gate meanwhile.
    int streams_ = 0;
    /// Whether the policy has validated the stream, and the stream's error since then.
    bool isStreamValidated_ = false;
    std::optional<AttemptEnd> streamFailure_;
    /// How many bytes of the stream are not on disk yet, where its length was announced.
    std::uint64_t missing_ = 0;
    std::optional<Platform::OutputStream> stream_;
    Platform::WriteBack writeBack_;
    /// Paths of the folders that were made, or were there already, for folder items that are not acknowledged yet.
    std::set<std::string> unflushedFolders_;
    /// The gate. Open (true): the next pass may poll. Closed: a request or a download is in flight, or a failure that
    /// does not open it again has happened: a transport error other than -1004 and -1005 once there is a response, a
    /// "ReturnStatus" other than 0 and 2, an acknowledgement that fails or is refused.
    bool downloadStatus_ = false;
    /// Made at the start; no work is put on it.
    std::optional<OperationQueue> operationQueue_;
    /// Read with every item; nothing depends on it.
    std::optional<boost::json::array> pendingUploadIDArray_;
    std::optional<boost::json::array> allFileUploadIDArray_;
};

} // namespace Quenmark
