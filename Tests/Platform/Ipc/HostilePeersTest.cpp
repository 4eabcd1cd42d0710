// Peers that send what they should not, or leave when they should not. The service is a process of its own, whose
// descriptors, threads and memory are counted; an innocent peer is served afterwards.

#include "MessageFixture.h"
#include "Platform/Ipc/Message.h"
#include "RawPeer.h"
#include "Support/Polling.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <random>

namespace {

using namespace IpcTests;
using Platform::Ipc::maximumMessageSize;
using TestSupport::BusPeer;

/// What a process uses of the system.
struct Usage {
    std::size_t descriptors = 0;
    std::size_t threads = 0;
    std::size_t residentKibibytes = 0;
};

class AServiceAmongHostilePeers : public testing::Test {
protected:
    AServiceAmongHostilePeers() {
        innocent = std::make_unique<BusPeer>();
        EXPECT_TRUE(serves());
        process = processOfTheService();
        before = usage();
    }

    pid_t processOfTheService() const {
        pid_t result = 0;
        sd_bus_creds* owner = nullptr;
        EXPECT_GE(
            sd_bus_get_name_creds(innocent->handle(), messageMethod.destination.c_str(), SD_BUS_CREDS_PID, &owner), 0);
        EXPECT_GE(sd_bus_creds_get_pid(owner, &result), 0);
        sd_bus_creds_unref(owner);
        return result;
    }
    bool serves() { return innocent->call(messageMethod, text("hello")) == emptyReply; }

    Usage usage() const {
        const auto folder = "/proc/" + std::to_string(process);
        Usage result;
        const std::filesystem::directory_iterator descriptors(folder + "/fd");
        result.descriptors = static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
        std::FILE* status = std::fopen((folder + "/status").c_str(), "re");
        std::array<char, 256> line{};
        while (status != nullptr && std::fgets(line.data(), line.size(), status) != nullptr) {
            std::sscanf(line.data(), "Threads: %zu", &result.threads);
            std::sscanf(line.data(), "VmRSS: %zu", &result.residentKibibytes);
        }
        if (status != nullptr)
            std::fclose(status);
        return result;
    }

    /// The same process serves, and has as many descriptors and threads as before.
    void expectAllWell() {
        EXPECT_TRUE(serves());
        EXPECT_EQ(processOfTheService(), process);
        Usage after;
        // What the service still closes it closes soon.
        EXPECT_TRUE(TestSupport::pollUntil([&] {
            after = usage();
            return after.descriptors == before.descriptors && after.threads == before.threads;
        })) << after.descriptors
            << " descriptors and " << after.threads << " threads instead of " << before.descriptors << " and "
            << before.threads;
    }

    Platform::RunLoop loop;
    TestSupport::PrivateBus bus{{{messageMethod.destination, IPC_TEST_MESSAGE_SERVICE}}};
    std::unique_ptr<BusPeer> innocent;
    pid_t process = 0;
    Usage before;
};

/// Appends values of types that chance picks.
class RandomMessage {
public:
    explicit RandomMessage(unsigned seed) : random_(seed) {}

    void fill(sd_bus_message* call) {
        const auto type = completeType(0);
        sd_bus_message_open_container(call, 'v', type.c_str());
        value(call, type);
        sd_bus_message_close_container(call);
    }

private:
    unsigned pick(unsigned count) { return static_cast<unsigned>(random_() % count); }

    std::string completeType(int depth) {
        static constexpr std::string_view basic = "ybnqiuxtdsogh";
        switch (depth < 6 ? pick(6) : 5) {
        case 0:
            return "a" + completeType(depth + 1);
        case 1:
            return "a{" + std::string(1, basic[pick(basic.size())]) + completeType(depth + 1) + "}";
        case 2:
            return "(" + completeType(depth + 1) + completeType(depth + 1) + ")";
        case 3:
            return "v";
        default:
            return std::string(1, basic[pick(basic.size())]);
        }
    }

    static std::size_t completeLength(std::string_view types) {
        if (types[0] == 'a')
            return 1 + completeLength(types.substr(1));
        if (types[0] != '(' && types[0] != '{')
            return 1;
        int open = 0;
        std::size_t at = 0;
        do {
            open += (types[at] == '(' || types[at] == '{') ? 1 : 0;
            open -= (types[at] == ')' || types[at] == '}') ? 1 : 0;
            ++at;
        } while (open > 0);
        return at;
    }

    void value(sd_bus_message* call, const std::string& type) {
        switch (type[0]) {
        case 'a': {
            const auto element = type.substr(1);
            sd_bus_message_open_container(call, 'a', element.c_str());
            for (unsigned count = pick(3); count > 0; --count)
                value(call, element);
            sd_bus_message_close_container(call);
            return;
        }
        case '(':
        case '{': {
            const auto contents = type.substr(1, type.size() - 2);
            sd_bus_message_open_container(call, type[0] == '(' ? 'r' : 'e', contents.c_str());
            const auto first = completeLength(contents);
            value(call, contents.substr(0, first));
            value(call, contents.substr(first));
            sd_bus_message_close_container(call);
            return;
        }
        case 'v': {
            const auto content = completeType(4);
            sd_bus_message_open_container(call, 'v', content.c_str());
            value(call, content);
            sd_bus_message_close_container(call);
            return;
        }
        default:
            basic(call, type[0]);
        }
    }

    void basic(sd_bus_message* call, char type) {
        static const int device = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        const std::uint64_t bits = random_();
        const int flag = static_cast<int>(bits & 1U);
        if (type == 's')
            sd_bus_message_append_basic(call, type, flag != 0 ? "" : "text");
        else if (type == 'o')
            sd_bus_message_append_basic(call, type, flag != 0 ? "/" : "/a/b");
        else if (type == 'g')
            sd_bus_message_append_basic(call, type, flag != 0 ? "" : "a{sv}");
        else if (type == 'h')
            sd_bus_message_append_basic(call, type, &device);
        else if (type == 'b')
            sd_bus_message_append_basic(call, type, &flag);
        else
            sd_bus_message_append_basic(call, type, &bits);
    }

    std::mt19937_64 random_;
};

TEST_F(AServiceAmongHostilePeers, RepliesToMessagesOfEveryType) {
    BusPeer peer;
    int taken = 0;
    int refused = 0;
    for (unsigned seed = 0; seed < 2000; ++seed) {
        const auto reply = peer.call(messageMethod, [&](sd_bus_message* call) { RandomMessage(seed).fill(call); });
        ASSERT_TRUE(reply) << seed;
        if (*reply == emptyReply)
            ++taken;
        else {
            ++refused;
            EXPECT_EQ(reply->errorName, "org.freedesktop.DBus.Error.InvalidArgs") << seed;
            EXPECT_NE(reply->errorText, "") << seed;
        }
    }
    // Chance picks a good many of each.
    EXPECT_GT(taken, 50);
    EXPECT_GT(refused, 50);
    expectAllWell();
}

TEST_F(AServiceAmongHostilePeers, RepliesToMessagesOfEveryDepth) {
    BusPeer peer;
    for (int depth = 1; depth <= 63; ++depth) {
        const auto nested = [depth](sd_bus_message* call) {
            for (int box = 0; box < depth; ++box)
                sd_bus_message_open_container(call, 'v', box + 1 == depth ? "s" : "v");
            sd_bus_message_append(call, "s", "core");
            for (int box = 0; box < depth; ++box)
                sd_bus_message_close_container(call);
        };
        EXPECT_EQ(peer.call(messageMethod, nested), emptyReply) << depth;
    }
    expectAllWell();
}

TEST_F(AServiceAmongHostilePeers, RefusesMoreValuesThanItHasRoomFor) {
    BusPeer peer;
    const std::vector<std::uint32_t> numbers(1 << 20, 7); // one too many, with the array itself
    const auto reply = peer.call(messageMethod, [&](sd_bus_message* call) {
        sd_bus_message_open_container(call, 'v', "au");
        sd_bus_message_append_array(call, 'u', numbers.data(), numbers.size() * sizeof numbers[0]);
        sd_bus_message_close_container(call);
    });
    EXPECT_EQ(reply, (BusPeer::Reply{"org.freedesktop.DBus.Error.LimitsExceeded",
                                     "more than 1048576 values in one message", "", ""}));
    expectAllWell();
}

TEST_F(AServiceAmongHostilePeers, SurvivesMessagesThatAreLongerThanTheLibraryTakes) {
    const auto bytes = [](std::size_t size) {
        return RawPeer::call(messageMethod.destination, messageMethod.objectPath, messageMethod.interface,
                             messageMethod.method, size);
    };
    const std::size_t header = bytes(1).size() - 1;
    // The bus adds the sender's name to the longest message that may be sent, which is then too long for the library:
    // it cuts its connection to the bus, and the service goes back there.
    for (const std::size_t total : {maximumMessageSize - 1, maximumMessageSize}) {
        const auto owner = innocent->ownerOf(messageMethod.destination);
        RawPeer longest(bus.socketPath());
        longest.introduceItself();
        EXPECT_TRUE(longest.write(bytes(total - header))) << total;
        EXPECT_TRUE(innocent->waitForOwner(messageMethod.destination, owner)) << total;
        expectAllWell();
    }
    RawPeer beyond(bus.socketPath());
    beyond.introduceItself();
    beyond.write(bytes(maximumMessageSize + 1 - header));
    EXPECT_TRUE(beyond.isDropped());
    expectAllWell();
}

TEST_F(AServiceAmongHostilePeers, KeepsNoDescriptorOfMessagesThatAreFullOfThem) {
    const int device = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    BusPeer peer;
    for (int count = 0; count < 300; ++count) {
        const auto full = [&](sd_bus_message* call) {
            sd_bus_message_open_container(call, 'v', "ah");
            sd_bus_message_open_container(call, 'a', "h");
            for (int descriptor = 0; descriptor < 16; ++descriptor)
                sd_bus_message_append(call, "h", device);
            sd_bus_message_close_container(call);
            sd_bus_message_close_container(call);
        };
        const auto refusedAfterwards = [&](sd_bus_message* call) {
            sd_bus_message_append(call, "v", "(hhhi)", device, device, device, 1);
        };
        peer.send(messageMethod, full);
        peer.send(messageMethod, refusedAfterwards);
    }
    EXPECT_EQ(peer.call(messageMethod, text("last")), emptyReply);
    ::close(device);
    expectAllWell();
}

TEST_F(AServiceAmongHostilePeers, IsNotReachedByGarbageOnTheBussSocket) {
    std::mt19937 random(7);
    std::string garbage(4096, '\0');
    for (auto& byte : garbage)
        byte = static_cast<char>(random());
    for (int count = 0; count < 50; ++count) {
        const RawPeer stranger(bus.socketPath());
        stranger.write(garbage);
        RawPeer known(bus.socketPath());
        known.introduceItself();
        known.write(garbage);
        EXPECT_TRUE(known.isDropped());
    }
    expectAllWell();
}

TEST_F(AServiceAmongHostilePeers, IsNotReachedByMessagesThatTheBusFindsInvalid) {
    const auto good = RawPeer::call(messageMethod.destination, messageMethod.objectPath, messageMethod.interface,
                                    messageMethod.method, 64);
    std::mt19937 random(11);
    for (int count = 0; count < 200; ++count) {
        RawPeer peer(bus.socketPath());
        peer.introduceItself();
        auto damaged = good;
        for (int damages = 0; damages < 3; ++damages)
            damaged[random() % damaged.size()] = static_cast<char>(random());
        peer.write(damaged);
    }
    expectAllWell();
}

TEST_F(AServiceAmongHostilePeers, IsNotDisturbedByPeersThatVanishInTheMiddleOfACall) {
    const auto call = RawPeer::call(messageMethod.destination, messageMethod.objectPath, messageMethod.interface,
                                    messageMethod.method, 1000);
    for (std::size_t cut = 0; cut <= call.size(); cut += 37) {
        RawPeer peer(bus.socketPath());
        peer.introduceItself();
        peer.write(std::string_view(call).substr(0, cut));
    }
    for (int count = 0; count < 100; ++count) {
        BusPeer peer;
        peer.start(messageMethod, text("and away"), std::make_shared<std::optional<BusPeer::Reply>>());
        peer.flush();
    }
    expectAllWell();
}

TEST_F(AServiceAmongHostilePeers, IsTheSameAfterTenThousandPeers) {
    const auto call = RawPeer::call(messageMethod.destination, messageMethod.objectPath, messageMethod.interface,
                                    messageMethod.method, 8);
    const auto visit = [&](int times) {
        for (int count = 0; count < times; ++count) {
            RawPeer peer(bus.socketPath());
            peer.introduceItself();
            ASSERT_TRUE(peer.write(call));
        }
    };
    visit(100);
    ASSERT_TRUE(serves());
    before = usage();
    visit(10'000);
    expectAllWell();
#ifndef HAS_ADDRESS_SANITIZER
    // The sanitizer keeps freed memory for a while.
    EXPECT_LE(usage().residentKibibytes, before.residentKibibytes + 1024);
#endif
}

} // namespace
