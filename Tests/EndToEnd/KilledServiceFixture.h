#pragma once

#include "EndToEnd/ChildService.h"
#include "EndToEnd/KillPoints.h"
#include "EndToEnd/RealServiceFixture.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Quenmark {

/// What there is when the service starts, and what there has to be once it was killed, started again, and every item is
/// acknowledged.
struct KillCase {
    enum class Partial { None, OneByte, AllBytes, MoreThanAllBytes };
    /// What is in the place of each item.
    enum class Placed { TheItem, AnOlderFile, ThePartialFile, Nothing };
    /// What is in the place of each item's temporary file.
    enum class Left { Nothing, TheItem, TheItemIfItWasPlacedBeforeTheKill };

    /// The files and folders that the web service offers, one after the other; a folder's name ends in "/".
    std::vector<std::string> items{"Docs/a.txt"};
    Partial partial = Partial::None;
    /// Whether the partial file is from a download that the web service cut off, and is known to be the item's.
    bool isFromCutDownload = false;
    bool hasOlderFile = false;
    /// Whether the Quenmark folder is on another file system than the temporary area.
    bool isOnAnotherFileSystem = false;
    /// What compatible mode has to do. In managed mode every item is in its place and nothing is left.
    Placed placed = Placed::TheItem;
    Left left = Left::TheItemIfItWasPlacedBeforeTheKill;
    /// A recording with fewer moments, or without these calls, is not plausible.
    std::size_t fewestKills = 30;
    std::vector<std::string> calls{"sendto", "recvfrom", "write", "fdatasync"};
};

/// Kills the real service at every moment of its work on the items of a case, starts it again, and looks at the result.
class KilledServiceFixture : public RealServiceFixture {
protected:
    KilledServiceFixture();

    /// Whether every item of a case arrives as it has to, wherever the service is killed.
    void killEverywhere(KillCase newCase);

private:
    struct Item {
        /// With "/", in the Quenmark folder.
        std::string name;
        std::string id;
        std::string content;
        bool isFolder = false;
        std::size_t acknowledgements = 0;
        bool wasPlacedBeforeTheKill = false;
    };
    /// The files of a folder, by their paths in it, with their content; folders end in "/".
    using Tree = std::map<std::string, std::string>;

    static Tree treeOf(const std::string& folder, bool withFolders);

    // The web service.
    Item* offered();
    TestSupport::HttpReply reply(const TestSupport::HttpRequest& request);
    TestSupport::HttpReply stream(const TestSupport::HttpRequest& request, const Item& item);
    TestSupport::HttpReply cutDownload(const Item& item) const;
    TestSupport::HttpReply acknowledge(const TestSupport::HttpRequest& request);
    void sendRest();

    // The case.
    void useOtherFileSystem();
    void begin();
    void downloadInPart();
    std::string partialContent(const Item& item) const;
    Tree expectedInPlace() const;
    Tree expectedLeft() const;
    bool isAllAcknowledged() const;
    /// The files of the temporary area, without the one of the claims.
    Tree left() const;
    static bool isRecordOf(const Item& item, const Tree::value_type& file);
    /// How many bytes of the item that is offered need not be fetched again.
    std::size_t fetchedBytes() const;
    /// The records of managed mode for items that are acknowledged.
    Tree recordsOfAcknowledgedItems() const;

    // The service.
    void launch(const std::vector<std::string>& tracer = {});
    void callIfDue();
    void keepSettingsNew();
    /// Does all that is due until `condition` holds, and says whether it did in time.
    bool waitUntil(const std::function<bool()>& condition, Platform::Duration limit = std::chrono::seconds(30));
    void waitUntilItIsGone();
    std::vector<KillPoint> record();
    void killAt(const KillPoint& point);
    void finishAndCompare();
    std::string endOfLog() const;

    KillCase killCase;
    std::optional<TestSupport::TemporaryDirectory> otherFileSystem;
    std::vector<Item> items;
    std::unique_ptr<TestSupport::BusPeer> peer;
    std::unique_ptr<ChildService> service;
    /// What the service cannot know to be of no use any more after the kill.
    Tree keptRecords;
    /// How much of the item that is offered need not be fetched again after the kill.
    std::size_t fetched = 0;
    std::chrono::steady_clock::time_point settingsChanged;
    bool isCallDue = false;
    bool cutsDownloads = false;
    /// The second half of a download, which is sent once the first one is in the temporary file.
    struct Rest {
        std::size_t connection;
        std::string bytes;
        std::string file;
        std::size_t sizeBefore;
    };
    std::optional<Rest> rest;
};

} // namespace Quenmark
