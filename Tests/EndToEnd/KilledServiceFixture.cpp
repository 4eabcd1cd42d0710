#include "EndToEnd/KilledServiceFixture.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <utility>

namespace Quenmark {

namespace fs = std::filesystem;
using TestSupport::HttpRequest;

namespace {

std::string contentFor(std::size_t number) {
    std::string content;
    for (int line = 0; line < 40; ++line)
        content += "item " + std::to_string(number) + ", line " + std::to_string(line) + "\n";
    return content;
}

} // namespace

KilledServiceFixture::KilledServiceFixture() {
    // The leak sanitizer cannot work in a process that is traced.
    environment.set("ASAN_OPTIONS", "detect_leaks=0");
    server.setHandler([this](const HttpRequest& request) { return reply(request); });
}

void KilledServiceFixture::killEverywhere(KillCase newCase) {
    killCase = std::move(newCase);
    configure(server.host());
    bus = std::make_unique<TestSupport::PrivateBus>();
    peer = std::make_unique<TestSupport::BusPeer>();
    if (killCase.isOnAnotherFileSystem)
        useOtherFileSystem();
    const auto points = record();
    if (HasFailure())
        return;
    ASSERT_GE(points.size(), killCase.fewestKills);
    for (const auto& call : killCase.calls)
        ASSERT_NE(std::ranges::find(points, call, &KillPoint::call), points.end()) << call;
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    for (const auto& point : KillPoints::drawn(points, test->name())) {
        SCOPED_TRACE(::testing::PrintToString(point));
        killAt(point);
        if (HasFailure())
            return;
    }
}

KilledServiceFixture::Tree KilledServiceFixture::treeOf(const std::string& folder, bool withFolders) {
    Tree tree;
    if (!fs::exists(folder))
        return tree;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        const std::string name = entry.path().lexically_relative(folder);
        if (!entry.is_directory())
            tree[name] = contentOf(entry.path()).value_or("(cannot be read)");
        else if (withFolders)
            tree[name + "/"] = "";
    }
    return tree;
}

void KilledServiceFixture::useOtherFileSystem() {
    const TestSupport::ScopedEnvironment memory{{"TMPDIR", "/dev/shm"}};
    otherFileSystem.emplace();
    fs::remove_all(placed(""));
    fs::create_directory_symlink(otherFileSystem->path(), home.path() + "/Quenmark");
}

void KilledServiceFixture::begin() {
    service.reset();
    waitUntilItIsGone();
    keepSettingsNew();
    fs::remove_all(temporary(""));
    for (const auto& entry : fs::directory_iterator(placed("")))
        fs::remove_all(entry.path());
    fs::create_directories(placed("Docs"));
    fs::remove(data.path("log"));
    keptRecords.clear();
    fetched = 0;
    items.clear();
    for (const auto& name : killCase.items) {
        const auto number = items.size() + 1;
        const bool isFolder = name.ends_with('/');
        items.push_back({.name = name.substr(0, name.size() - (isFolder ? 1 : 0)),
                         .id = std::to_string(11 + number),
                         .content = isFolder ? "" : contentFor(number),
                         .isFolder = isFolder});
    }
    const auto& item = items.front();
    if (killCase.hasOlderFile)
        home.write("Quenmark/" + item.name, "older");
    if (killCase.isFromCutDownload)
        downloadInPart();
    else if (killCase.partial != KillCase::Partial::None)
        home.temporary().write("QuenmarkTemp/" + item.name, partialContent(item));
}

void KilledServiceFixture::downloadInPart() {
    const auto& item = items.front();
    cutsDownloads = true;
    launch();
    ASSERT_TRUE(waitUntil([&] { return contentOf(temporary(item.name)) == partialContent(item); }));
    service.reset();
    waitUntilItIsGone();
    cutsDownloads = false;
}

std::string KilledServiceFixture::partialContent(const Item& item) const {
    std::string content;
    if (killCase.partial == KillCase::Partial::OneByte)
        content = item.content.substr(0, 1);
    else if (killCase.partial == KillCase::Partial::AllBytes)
        content = item.content;
    else if (killCase.partial == KillCase::Partial::MoreThanAllBytes)
        content = item.content + "and more";
    // Compatible mode continues whatever file it finds; in managed mode the bytes of another one must not arrive.
    return isManaged() && !killCase.isFromCutDownload ? std::string(content.size(), '#') : content;
}

KilledServiceFixture::Tree KilledServiceFixture::expectedInPlace() const {
    Tree expected{{"Docs/", ""}};
    const auto placed = isManaged() ? KillCase::Placed::TheItem : killCase.placed;
    for (const auto& item : items) {
        if (item.isFolder)
            expected[item.name + "/"] = "";
        else if (placed == KillCase::Placed::TheItem)
            expected[item.name] = item.content;
        else if (placed == KillCase::Placed::AnOlderFile)
            expected[item.name] = "older";
        else if (placed == KillCase::Placed::ThePartialFile)
            expected[item.name] = partialContent(item);
        if (isManaged() && !item.isFolder)
            expected[item.name.substr(0, item.name.find('/') + 1)] = "";
    }
    return expected;
}

KilledServiceFixture::Tree KilledServiceFixture::expectedLeft() const {
    Tree expected = keptRecords;
    for (const auto& item : items) {
        const bool isLeft =
            killCase.left == KillCase::Left::TheItem ||
            (killCase.left == KillCase::Left::TheItemIfItWasPlacedBeforeTheKill && item.wasPlacedBeforeTheKill);
        if (isLeft && !isManaged())
            expected[item.name] = item.content;
    }
    return expected;
}

bool KilledServiceFixture::isAllAcknowledged() const {
    return std::ranges::none_of(items, [](const auto& item) { return item.acknowledgements == 0; });
}

void KilledServiceFixture::launch(const std::vector<std::string>& tracer) {
    service = std::make_unique<ChildService>(data.path("log"), tracer);
    isCallDue = !isManaged();
}

void KilledServiceFixture::callIfDue() {
    if (!isCallDue || peer->ownerOf(busName).empty())
        return;
    askToStart(*peer);
    isCallDue = false;
}

void KilledServiceFixture::keepSettingsNew() {
    // Settings that changed lately are read at each use, older ones are not: each run has to make the same calls.
    const auto now = std::chrono::steady_clock::now();
    if (now - settingsChanged < std::chrono::milliseconds(500))
        return;
    settingsChanged = now;
    for (const auto& file : {home.preferencesFile(), home.config().path("quenmark/deployment.json")})
        fs::last_write_time(file, fs::file_time_type::clock::now());
}

bool KilledServiceFixture::waitUntil(const std::function<bool()>& condition, Platform::Duration limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        keepSettingsNew();
        sendRest();
        callIfDue();
        loop.runOnce(std::chrono::milliseconds(3));
    }
    return true;
}

void KilledServiceFixture::waitUntilItIsGone() {
    isCallDue = false;
    rest.reset();
    // What it has sent is taken before another one sends.
    ASSERT_TRUE(waitUntil([&] { return server.openConnections() == 0 && peer->ownerOf(busName).empty(); }));
    isCallDue = false;
    rest.reset();
}

bool KilledServiceFixture::isRecordOf(const Item& item, const Tree::value_type& file) {
    return file.first.starts_with(".records\\/") &&
           file.second.find("\"FileUploadID\":\"" + item.id + "\"") != std::string::npos;
}

KilledServiceFixture::Tree KilledServiceFixture::recordsOfAcknowledgedItems() const {
    Tree records = left();
    std::erase_if(records, [this](const auto& file) {
        return std::ranges::none_of(
            items, [&](const auto& item) { return item.acknowledgements != 0 && isRecordOf(item, file); });
    });
    return records;
}

std::size_t KilledServiceFixture::fetchedBytes() const {
    const auto item = std::ranges::find(items, 0U, &Item::acknowledgements);
    const Tree tree = left();
    const auto isOfTheItem = [&](const auto& file) { return isRecordOf(*item, file); };
    if (item == items.end() || (isManaged() && std::ranges::none_of(tree, isOfTheItem)))
        return 0;
    const auto partial = tree.find(item->name);
    if (partial != tree.end())
        return partial->second.size() > item->content.size() ? 0 : partial->second.size();
    return isManaged() && contentOf(placed(item->name)) == item->content ? item->content.size() : 0;
}

KilledServiceFixture::Tree KilledServiceFixture::left() const {
    auto tree = treeOf(temporary(""), false);
    tree.erase(".claims\\");
    return tree;
}

std::string KilledServiceFixture::endOfLog() const {
    constexpr std::size_t most = 4000;
    const auto log = contentOf(data.path("log")).value_or("");
    return log.substr(log.size() - std::min(log.size(), most));
}

std::vector<KillPoint> KilledServiceFixture::record() {
    const std::string file = data.path("recording");
    std::vector<KillPoint> points;
    begin();
    launch(KillPoints::recorder(file));
    EXPECT_TRUE(waitUntil([&] {
        points = KillPoints::ofDelivery(file, "GetTopFileUpload HTTP", "UpdateFileUpload HTTP", items.size());
        return !points.empty();
    })) << endOfLog();
    finishAndCompare();
    return points;
}

void KilledServiceFixture::killAt(const KillPoint& point) {
    begin();
    launch(point.tracer(data.path("trace")));
    ASSERT_TRUE(waitUntil([&] {
        // Where it makes a few calls less than it did in the recording, further passes come to that number.
        isCallDue = isCallDue || isAllAcknowledged();
        return service->hasEnded();
    })) << "the service was not killed";
    ASSERT_EQ(service->endSignal(), SIGKILL);
    waitUntilItIsGone();
    for (auto& item : items)
        item.wasPlacedBeforeTheKill = item.acknowledgements == 0 && exists(placed(item.name));
    keptRecords = recordsOfAcknowledgedItems();
    fetched = fetchedBytes();
    launch();
    finishAndCompare();
}

void KilledServiceFixture::finishAndCompare() {
    EXPECT_TRUE(waitUntil([&] { return isAllAcknowledged() && left() == expectedLeft(); })) << endOfLog();
    for (const auto& item : items)
        EXPECT_EQ(item.acknowledgements, 1U) << item.name;
    EXPECT_EQ(treeOf(placed(""), true), expectedInPlace());
    EXPECT_EQ(left(), expectedLeft());
    EXPECT_EQ(contentOf(data.path("log")).value_or("").find("Sanitizer"), std::string::npos);
}

} // namespace Quenmark
