// Managed mode on disks that are full or read-only for a time: the item waits, what was fetched is kept, and it arrives
// once there is room.

#include "Support/Namespaces.h"
#include "TopFileUploadXpcService/DeliveryFixture.h"

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
class DeliveryWithMounts : public DeliveryFixture {
public:
    using DeliveryFixture::bytesOnDisk;
    using DeliveryFixture::leavePartial;
    using DeliveryFixture::offerNext;
    using DeliveryFixture::offsets;
    using DeliveryFixture::placed;
    using DeliveryFixture::start;

    DeliveryWithMounts() {
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
    static void run(const std::function<void(DeliveryWithMounts&)>& body) {
        EXPECT_TRUE(TestSupport::succeedsInNamespaces(CLONE_NEWNS, [&] {
            DeliveryWithMounts delivery;
            body(delivery);
            return !HasFailure();
        }));
    }
};

TEST_P(ADiskInTrouble, IsFullWhereTheItemIsGatheredAndFreeLater) {
    run([](DeliveryWithMounts& delivery) {
        mountMemory(delivery.temporaryFolder(), "size=64k");
        delivery.start();
        delivery.offerNext();
        delivery.expectFailures("disk full: ");
        const auto kept = delivery.bytesOnDisk();
        EXPECT_GT(kept, 0U) << "what fits is kept";
        EXPECT_EQ(delivery.offsets().front(), 0U);
        EXPECT_TRUE(std::ranges::is_sorted(delivery.offsets())) << "nothing is fetched twice";
        mountOn(delivery.temporaryFolder(), nullptr, MS_REMOUNT, "size=1m");
        delivery.expectArrivalFrom(kept);
    });
}

TEST_P(ADiskInTrouble, HasNoRoomForASingleByteAndSomeLater) {
    run([](DeliveryWithMounts& delivery) {
        mountMemory(delivery.temporaryFolder(), "size=64k");
        const std::string filler = delivery.temporaryFolder() + "/filler";
        std::ofstream(filler) << std::string(1 << 20, 'x');
        delivery.start();
        delivery.offerNext();
        delivery.expectFailures("disk full: 100000 bytes missing (\\Docs\\item");
        EXPECT_EQ(delivery.bytesOnDisk(), 0U);
        std::filesystem::remove(filler);
        mountOn(delivery.temporaryFolder(), nullptr, MS_REMOUNT, "size=1m");
        delivery.expectArrivalFrom(0);
    });
}

TEST_P(ADiskInTrouble, IsFullWhereTheItemIsPlacedAndFreeLater) {
    run([](DeliveryWithMounts& delivery) {
        mountMemory(delivery.quenmarkFolder(), "size=64k");
        delivery.start();
        delivery.offerNext();
        delivery.expectFailures("disk full: 100000 bytes missing (\\Docs\\item");
        EXPECT_EQ(delivery.offsets(), std::vector<std::size_t>{0});
        EXPECT_FALSE(std::filesystem::exists(delivery.placed("Docs/item1.bin"))) << "nothing is placed in part";
        mountOn(delivery.quenmarkFolder(), nullptr, MS_REMOUNT, "size=1m");
        delivery.expectArrivalWithoutRequest();
    });
}

TEST_P(ADiskInTrouble, IsReadOnlyWhereTheItemIsGatheredAndWritableLater) {
    run([](DeliveryWithMounts& delivery) {
        mountOn(delivery.temporaryFolder(), nullptr, MS_BIND, nullptr);
        delivery.start();
        delivery.offerNext();
        delivery.leavePartial(40'000);
        mountOn(delivery.temporaryFolder(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr);
        delivery.expectFailures("not writable: " + delivery.temporaryFolder());
        EXPECT_EQ(delivery.bytesOnDisk(), 40'000U);
        mountOn(delivery.temporaryFolder(), nullptr, MS_BIND | MS_REMOUNT, nullptr);
        delivery.expectArrivalFrom(40'000);
    });
}

TEST_P(ADiskInTrouble, IsReadOnlyWhereTheItemIsPlacedAndWritableLater) {
    run([](DeliveryWithMounts& delivery) {
        mountOn(delivery.quenmarkFolder(), nullptr, MS_BIND, nullptr);
        mountOn(delivery.quenmarkFolder(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr);
        delivery.start();
        delivery.offerNext();
        delivery.expectFailures("not writable: " + delivery.placed("Docs") + " (\\Docs\\item");
        EXPECT_EQ(delivery.offsets(), std::vector<std::size_t>{0});
        mountOn(delivery.quenmarkFolder(), nullptr, MS_BIND | MS_REMOUNT, nullptr);
        delivery.expectArrivalWithoutRequest();
    });
}

TEST_P(ADiskInTrouble, IsReadOnlyWithTheFolderOfTheItemAndWritableLater) {
    run([](DeliveryWithMounts& delivery) {
        std::filesystem::create_directories(delivery.placed("Docs"));
        mountOn(delivery.quenmarkFolder(), nullptr, MS_BIND, nullptr);
        mountOn(delivery.quenmarkFolder(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr);
        delivery.start();
        delivery.offerNext();
        delivery.expectFailures("not writable: " + delivery.placed("Docs") + " (\\Docs\\item");
        mountOn(delivery.quenmarkFolder(), nullptr, MS_BIND | MS_REMOUNT, nullptr);
        delivery.expectArrivalWithoutRequest();
        EXPECT_EQ(delivery.offsets(), std::vector<std::size_t>{0});
    });
}

INSTANTIATE_TEST_SUITE_P(Transports, ADiskInTrouble, ::testing::Values(release10_10, release10_7), transportName);

} // namespace Quenmark
