// Several engines, in one process and in two, on one queue of items: every item comes once.

#include "EndToEnd/RealServiceFixture.h"

#include <filesystem>
#include <map>
#include <set>

namespace Quenmark {

namespace fs = std::filesystem;
using TestSupport::BusPeer;

class OneQueueOfItems : public RealServiceFixture {
protected:
    OneQueueOfItems() {
        for (std::size_t index = 0; index < 3'000'000; ++index)
            large += static_cast<char>('a' + index * index % 26);
        contents = {{"first.txt", "first"}, {"Docs/a.txt", "a"}, {"Docs/large.bin", large}, {"Docs/Deep/b.txt", "bb"}};
        for (const auto& [name, content] : contents) {
            const auto made = data.write("made", content);
            fs::create_directories(fs::path(outbox(name)).parent_path());
            fs::rename(made, outbox(name));
        }
    }
    /// Starts one more engine, by a connection of its own.
    void startEngine() { askToStart(*peers.emplace_back(std::make_unique<BusPeer>())); }

    void expectEveryItemOnce(const ServiceProcess& service, const std::function<std::string()>& log) {
        ASSERT_TRUE(pollUntil([&] { return pendingItems(service) == 0; }));
        std::size_t size = 0;
        for (const auto& [name, content] : contents) {
            EXPECT_TRUE(contentOf(placed(name)) == content) << name;
            EXPECT_FALSE(exists(temporary(name))) << name;
            size += content.size();
        }
        EXPECT_EQ(bytesWritten(log()), size) << "nothing was fetched twice";
        const auto acknowledged = acknowledgements(log());
        EXPECT_EQ(acknowledged.size(), contents.size() + 2) << "the files and two folders";
        EXPECT_EQ(std::set(acknowledged.begin(), acknowledged.end()).size(), acknowledged.size())
            << ::testing::PrintToString(acknowledged);
    }

private:
    /// The texts behind a mark, up to the end of each.
    static std::vector<std::string> textsBehind(const std::string& mark, const std::string& log, const char* end) {
        std::vector<std::string> texts;
        for (auto at = log.find(mark); at != std::string::npos; at = log.find(mark, at + 1)) {
            const auto begin = at + mark.size();
            texts.push_back(log.substr(begin, log.find_first_of(end, begin) - begin));
        }
        return texts;
    }
    static std::size_t bytesWritten(const std::string& log) {
        std::size_t sum = 0;
        for (const auto& count : textsBehind("Bytes Written : ", log, "\n"))
            sum += std::stoul(count);
        return sum;
    }
    static std::vector<std::string> acknowledgements(const std::string& log) {
        return textsBehind("\"FileUploadID\" : \"", log, "\"");
    }

    std::string large;
    std::map<std::string, std::string> contents;

protected:
    std::vector<std::unique_ptr<BusPeer>> peers;
};

TEST_P(OneQueueOfItems, IsEmptiedByTwoEngines) {
    ServiceProcess service(data.path());
    deploy(service.host());
    for (int engine = 0; engine < 2; ++engine)
        startEngine();
    expectEveryItemOnce(service, [&] { return bus->log(); });
}

TEST_P(OneQueueOfItems, IsEmptiedByFiveEngines) {
    ServiceProcess service(data.path());
    deploy(service.host());
    for (int engine = 0; engine < 5; ++engine)
        startEngine();
    expectEveryItemOnce(service, [&] { return bus->log(); });
}

TEST_P(OneQueueOfItems, IsEmptiedByFiftyEngines) {
    ServiceProcess service(data.path());
    deploy(service.host());
    for (int engine = 0; engine < 50; ++engine)
        startEngine();
    expectEveryItemOnce(service, [&] { return bus->log(); });
}

TEST_P(OneQueueOfItems, IsEmptiedByTwoProcessesOnTwoBuses) {
    ServiceProcess service(data.path());
    deploy(service.host());
    for (int engine = 0; engine < 3; ++engine)
        startEngine();
    const TestSupport::PrivateBus second(std::vector<TestSupport::PrivateBus::Service>{{busName, QUENMARK_SERVICE}});
    for (int engine = 0; engine < 3; ++engine)
        startEngine();
    expectEveryItemOnce(service, [&] { return bus->log() + second.log(); });
    EXPECT_NE(second.log().find("Connection available"), std::string::npos) << "the second process polls too";
}

INSTANTIATE_TEST_SUITE_P(Variations, OneQueueOfItems, ::testing::Values(modern, wrapper),
                         [](const auto& suite) { return suite.param.name; });

} // namespace Quenmark
