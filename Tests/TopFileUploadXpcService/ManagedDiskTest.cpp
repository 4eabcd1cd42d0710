// Managed mode on disks that are full or read-only for a time: the item waits, what was fetched is kept, and it arrives
// once there is room.

#include "Support/Namespaces.h"
#include "TopFileUploadXpcService/RoadFixture.h"

#include <sched.h>
#include <sys/mount.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <system_error>

namespace Quenmark {

namespace {

void mountOn(const std::string& folder, const char* type, unsigned long flags, const char* options) {
    const char* source = (flags & MS_BIND) != 0 ? folder.c_str() : "none";
    if (::mount(source, folder.c_str(), type, flags, options) != 0)
        throw std::system_error(errno, std::generic_category(), folder);
}

void mountMemory(const std::string& folder, const char* options) {
    mountOn(folder, "tmpfs", 0, options);
}

/// An item on its way in a process with mounts of its own.
class RoadWithMounts : public RoadFixture {
public:
    using RoadFixture::bytesOnDisk;
    using RoadFixture::leavePartial;
    using RoadFixture::offerNext;
    using RoadFixture::offsets;
    using RoadFixture::placed;
    using RoadFixture::start;

    RoadWithMounts() {
        // What is mounted here stays here.
        if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            throw std::system_error(errno, std::generic_category(), "/");
    }
    std::string temporaryFolder() const { return home.temporary().path(); }
    std::string quenmarkFolder() const { return home.path("Quenmark"); }
    /// Lets two attempts fail for a reason that begins so.
    void expectFailures(const std::string& reason) {
        const auto fails = [&] {
            return static_cast<std::size_t>(std::ranges::count_if(
                log.entries(), [&](const std::string& entry) { return entry.starts_with(reason); }));
        };
        const auto before = fails();
        EXPECT_TRUE(letTimePassUntil([&] { return fails() >= before + 2; }))
            << reason << ::testing::PrintToString(log.entries());
        EXPECT_EQ(confirmations, 0);
    }
    /// Asserts that the item arrives by one more request, for what follows those bytes.
    void expectArrivalFrom(std::size_t offset) {
        auto expected = offsets();
        expected.push_back(offset);
        expectArrival(expected);
    }
    void expectArrivalWithoutRequest() { expectArrival(offsets()); }

private:
    void TestBody() override {}
};

} // namespace

class ADiskInTrouble : public ::testing::TestWithParam<double> {
protected:
    static void run(const std::function<void(RoadWithMounts&)>& body) {
        EXPECT_TRUE(TestSupport::succeedsInNamespaces(CLONE_NEWNS, [&] {
            RoadWithMounts road;
            body(road);
            return !HasFailure();
        }));
    }
};

TEST_P(ADiskInTrouble, IsFullWhereTheItemIsGatheredAndFreeLater) {
    run([](RoadWithMounts& road) {
        mountMemory(road.temporaryFolder(), "size=64k");
        road.start();
        road.offerNext();
        road.expectFailures("disk full: ");
        const auto kept = road.bytesOnDisk();
        EXPECT_GT(kept, 0U) << "what fits is kept";
        EXPECT_EQ(road.offsets().front(), 0U);
        EXPECT_TRUE(std::ranges::is_sorted(road.offsets())) << "nothing is fetched twice";
        mountOn(road.temporaryFolder(), nullptr, MS_REMOUNT, "size=1m");
        road.expectArrivalFrom(kept);
    });
}

TEST_P(ADiskInTrouble, HasNoRoomForASingleByteAndSomeLater) {
    run([](RoadWithMounts& road) {
        mountMemory(road.temporaryFolder(), "size=64k");
        const std::string filler = road.temporaryFolder() + "/filler";
        std::ofstream(filler) << std::string(1 << 20, 'x');
        road.start();
        road.offerNext();
        road.expectFailures("disk full: 100000 bytes missing (\\Docs\\item");
        EXPECT_EQ(road.bytesOnDisk(), 0U);
        std::filesystem::remove(filler);
        mountOn(road.temporaryFolder(), nullptr, MS_REMOUNT, "size=1m");
        road.expectArrivalFrom(0);
    });
}

TEST_P(ADiskInTrouble, IsFullWhereTheItemIsPlacedAndFreeLater) {
    run([](RoadWithMounts& road) {
        mountMemory(road.quenmarkFolder(), "size=64k");
        road.start();
        road.offerNext();
        road.expectFailures("disk full: 100000 bytes missing (\\Docs\\item");
        EXPECT_EQ(road.offsets(), std::vector<std::size_t>{0});
        EXPECT_FALSE(std::filesystem::exists(road.placed("Docs/item1.bin"))) << "nothing is placed in part";
        mountOn(road.quenmarkFolder(), nullptr, MS_REMOUNT, "size=1m");
        road.expectArrivalWithoutRequest();
    });
}

TEST_P(ADiskInTrouble, IsReadOnlyWhereTheItemIsGatheredAndWritableLater) {
    run([](RoadWithMounts& road) {
        mountOn(road.temporaryFolder(), nullptr, MS_BIND, nullptr);
        road.start();
        road.offerNext();
        road.leavePartial(40'000);
        mountOn(road.temporaryFolder(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr);
        road.expectFailures("not writable: " + road.temporaryFolder());
        EXPECT_EQ(road.bytesOnDisk(), 40'000U);
        mountOn(road.temporaryFolder(), nullptr, MS_BIND | MS_REMOUNT, nullptr);
        road.expectArrivalFrom(40'000);
    });
}

TEST_P(ADiskInTrouble, IsReadOnlyWhereTheItemIsPlacedAndWritableLater) {
    run([](RoadWithMounts& road) {
        mountOn(road.quenmarkFolder(), nullptr, MS_BIND, nullptr);
        mountOn(road.quenmarkFolder(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr);
        road.start();
        road.offerNext();
        road.expectFailures("not writable: " + road.placed("Docs") + " (\\Docs\\item");
        EXPECT_EQ(road.offsets(), std::vector<std::size_t>{0});
        mountOn(road.quenmarkFolder(), nullptr, MS_BIND | MS_REMOUNT, nullptr);
        road.expectArrivalWithoutRequest();
    });
}

TEST_P(ADiskInTrouble, IsReadOnlyWithTheFolderOfTheItemAndWritableLater) {
    run([](RoadWithMounts& road) {
        std::filesystem::create_directories(road.placed("Docs"));
        mountOn(road.quenmarkFolder(), nullptr, MS_BIND, nullptr);
        mountOn(road.quenmarkFolder(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr);
        road.start();
        road.offerNext();
        road.expectFailures("not writable: " + road.placed("Docs") + " (\\Docs\\item");
        mountOn(road.quenmarkFolder(), nullptr, MS_BIND | MS_REMOUNT, nullptr);
        road.expectArrivalWithoutRequest();
        EXPECT_EQ(road.offsets(), std::vector<std::size_t>{0});
    });
}

INSTANTIATE_TEST_SUITE_P(Transports, ADiskInTrouble, ::testing::Values(release10_10, release10_7), transportName);

} // namespace Quenmark
