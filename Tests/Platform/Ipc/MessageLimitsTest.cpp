// Where messages end: how deep, how long and how full they may be; who a peer is; and in which order a connection
// handles what it has received.

#include "MessageMaker.h"
#include "Platform/Ipc/Bus.h"
#include "Platform/Ipc/Mailbox.h"
#include "Platform/Ipc/MessageConnection.h"
#include "Platform/Ipc/PeerIdentity.h"
#include "Platform/Loop/RunLoop.h"
#include "Support/LogCapture.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <list>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace Platform::Ipc;
using IpcTests::MessageMaker;
using Texts = std::vector<std::string>;

constexpr std::size_t oneMebibyte = 1 << 20;

class TheLimitsOfAMessage : public testing::Test {
protected:
    /// "fine", or why the value cannot be written or read.
    std::string outcome(const Value& value) const { return outcomeOf(maker.travel(value)); }
    std::string outcomeOfReading(const std::function<void(sd_bus_message*)>& fill) const {
        return outcomeOf(maker.read(fill));
    }
    static std::string outcomeOf(const std::variant<Value, MessageFailure>& result) {
        const auto* failure = std::get_if<MessageFailure>(&result);
        return failure == nullptr ? "fine" : failure->text;
    }
    static Value within(int arrays, Value value) {
        for (int level = 0; level < arrays; ++level)
            value = Array{std::move(value)};
        return value;
    }

    const MessageMaker maker;
    static inline const std::string tooDeep = "containers nest deeper than 64";
    const Descriptor device = Descriptor::adopt(::open("/dev/null", O_RDWR | O_CLOEXEC));
};

TEST_F(TheLimitsOfAMessage, AllowAsManyArraysAroundAValueAsItsOwnContainersLeave) {
    const std::vector<std::pair<Value, int>> values{
        {"core", 31},       {Data{1}, 31},       {Array{}, 31},
        {Dictionary{}, 30}, {Null(), 30},        {Date{1}, 30},
        {Uuid{}, 30},       {Array{"core"}, 30}, {Dictionary{{"a", "core"}}, 30},
    };
    for (const auto& [value, most] : values) {
        int allowed = 0;
        while (allowed < 40 && outcome(within(allowed + 1, value)) == "fine")
            ++allowed;
        EXPECT_EQ(allowed, most) << value.storage().index();
        EXPECT_EQ(outcome(within(allowed + 1, value)), tooDeep) << value.storage().index();
    }
}

TEST_F(TheLimitsOfAMessage, AreHeldForDictionariesThatAreRead) {
    const auto boxed = [&](int boxes) {
        return outcomeOfReading([boxes](sd_bus_message* message) {
            for (int box = 0; box < boxes; ++box)
                ASSERT_GE(sd_bus_message_open_container(message, 'v', box + 1 == boxes ? "a{ss}" : "v"), 0);
            ASSERT_GE(sd_bus_message_append(message, "a{ss}", 1, "a", "b"), 0);
            for (int box = 0; box < boxes; ++box)
                ASSERT_GE(sd_bus_message_close_container(message), 0);
        });
    };
    EXPECT_EQ(boxed(62), "fine");
    EXPECT_EQ(boxed(63), tooDeep);
}

TEST_F(TheLimitsOfAMessage, AllowAnArrayOf64Mebibytes) {
    EXPECT_EQ(outcome(Data(64 * oneMebibyte)), "fine");
    EXPECT_EQ(outcome(Data(64 * oneMebibyte + 1)), "an array is larger than 64 MiB");
}

TEST_F(TheLimitsOfAMessage, CountTheElementsOfAnArrayWithWhatTheyTakeBesides) {
    const Data half(32 * oneMebibyte);
    const Data rest(32 * oneMebibyte - 48);
    const Data more(32 * oneMebibyte - 47);
    EXPECT_EQ(outcome(Array{half, rest}), "fine");
    EXPECT_EQ(outcome(Array{half, more}), "an array is larger than 64 MiB");
    const Data restWithNames(32 * oneMebibyte - 98);
    const Data moreWithNames(32 * oneMebibyte - 97);
    EXPECT_EQ(outcome(Dictionary{{"a", half}, {"b", restWithNames}}), "fine");
    EXPECT_EQ(outcome(Dictionary{{"a", half}, {"b", moreWithNames}}), "an array is larger than 64 MiB");
}

TEST_F(TheLimitsOfAMessage, CountForAnArrayNothingThatStandsBeforeIt) {
    const Data before(20 * oneMebibyte);
    const Data content(30 * oneMebibyte);
    EXPECT_EQ(outcome(Array{before, Array{content}}), "fine");
    EXPECT_EQ(outcome(Array{before, Dictionary{{"a", content}}}), "fine");
}

TEST_F(TheLimitsOfAMessage, AllowAStringThatFillsTheMessage) {
    constexpr std::size_t most = 128 * oneMebibyte - 4096 - 24;
    EXPECT_EQ(outcome(std::string(most, 'a')), "fine");
    EXPECT_EQ(outcome(std::string(most + 1, 'a')), "a message is larger than 128 MiB");
}

TEST_F(TheLimitsOfAMessage, AllowSixteenDescriptorsWrittenAnd253Read) {
    EXPECT_EQ(outcome(Array(16, Value(SharedMemory{device, 1}))), "fine");
    EXPECT_EQ(outcome(Array(17, Value(SharedMemory{device, 1}))), "more than 16 descriptors for one message");
    const auto read = [&](int count) {
        return outcomeOfReading([this, count](sd_bus_message* message) {
            ASSERT_GE(sd_bus_message_open_container(message, 'a', "h"), 0);
            for (int number = 0; number < count; ++number)
                ASSERT_GE(sd_bus_message_append(message, "h", device.number()), 0);
            ASSERT_GE(sd_bus_message_close_container(message), 0);
        });
    };
    EXPECT_EQ(read(253), "fine");
    EXPECT_EQ(read(254), "more than 253 descriptors in one message");
}

TEST_F(TheLimitsOfAMessage, IncludeTheDescriptorsOfThisProcess) {
    const auto message =
        maker.sealed([this](sd_bus_message* made) { ASSERT_GE(sd_bus_message_append(made, "h", device.number()), 0); });
    rlimit usual{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &usual), 0);
    const int next = ::dup(device.number());
    ::close(next);
    const rlimit none{static_cast<rlim_t>(next), usual.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    const auto result = readValue(*message);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &usual), 0);
    ASSERT_TRUE(std::holds_alternative<MessageFailure>(result));
    EXPECT_STREQ(std::get<MessageFailure>(result).errorName, "org.freedesktop.DBus.Error.LimitsExceeded");
    EXPECT_EQ(outcomeOf(result), "a descriptor cannot be kept (Too many open files)");
}

TEST(ADuplicateOfADescriptor, IsNoStandardStreamWhereThoseAreClosed) {
    const pid_t child = ::fork();
    if (child == 0) {
        const int original = ::fcntl(0, F_DUPFD, 10);
        for (int stream = 0; stream < 3; ++stream)
            ::close(stream);
        const auto copy = Descriptor::duplicate(original);
        ::_exit(copy && copy->number() >= 3 ? 0 : 1);
    }
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST(ABusName, IsAServicesWhereItHasADotAndIsNobodysOwn) {
    for (const char* name : {"org.example.Worker", "a.b", "org.example.Worker-1_x"})
        EXPECT_TRUE(Bus::isServiceName(name)) << name;
    for (const char* name : {"", "nodots", ":1.5", ".a.b", "a..b", "a.b.", "1a.b", "a.b c"})
        EXPECT_FALSE(Bus::isServiceName(name)) << name;
    EXPECT_FALSE(Bus::isServiceName(std::string("a.b\0c", 5)));
}

PeerIdentity identityOf(std::uint64_t user, std::uint64_t process) {
    return peerIdentity(Dictionary{{"UnixUserID", user}, {"ProcessID", process}});
}

TEST(TheIdentityOfAPeer, HasTheGroupOfAProcessThatIsStillItsUsers) {
    const auto mine = identityOf(::geteuid(), static_cast<std::uint64_t>(::getpid()));
    EXPECT_EQ(mine.effectiveUser, ::geteuid());
    EXPECT_EQ(mine.process, static_cast<std::uint32_t>(::getpid()));
    EXPECT_EQ(mine.effectiveGroup, ::getegid());
    const auto others = identityOf(::geteuid() + 1, static_cast<std::uint64_t>(::getpid()));
    EXPECT_EQ(others.effectiveUser, ::geteuid() + 1);
    EXPECT_EQ(others.process, static_cast<std::uint32_t>(::getpid()));
    EXPECT_EQ(others.effectiveGroup, 4294967295U);
    EXPECT_EQ(others.auditSession, 4294967295U);
    // No process has this number (proc(5), /proc/sys/kernel/pid_max).
    const auto gone = identityOf(::geteuid(), 1U << 30);
    EXPECT_EQ(gone.effectiveUser, ::geteuid());
    EXPECT_EQ(gone.process, 1U << 30);
    EXPECT_EQ(gone.effectiveGroup, 4294967295U);
}

TEST(TheIdentityOfAPeer, IsUnsetWhereTheBusTellsNone) {
    const PeerIdentity unknown{4294967295U, 4294967295U, 4294967295U, 4294967295U};
    EXPECT_EQ(peerIdentity("text"), unknown);
    EXPECT_EQ(peerIdentity(Dictionary{}), unknown);
    EXPECT_EQ(peerIdentity(Dictionary{{"UnixUserID", "0"}, {"ProcessID", std::int64_t{1}}}), unknown);
    EXPECT_EQ(identityOf(std::uint64_t{1} << 32, std::uint64_t{1} << 32), unknown);
    const auto highest = identityOf(4294967295U, 4294967295U);
    EXPECT_EQ(highest, unknown);
    const auto user = peerIdentity(Dictionary{{"UnixUserID", std::uint64_t{7}}});
    EXPECT_EQ(user.effectiveUser, 7U);
    EXPECT_EQ(user.process, 4294967295U);
}

TEST(AnErrorOfAConnection, SaysWhatHasHappened) {
    using Kind = ConnectionError::Kind;
    EXPECT_EQ(ConnectionError::of(Kind::Interrupted).description, "Connection interrupted");
    EXPECT_EQ(ConnectionError::of(Kind::Invalid).description, "Connection invalid");
    EXPECT_EQ(ConnectionError::of(Kind::TerminationImminent).description, "Process termination imminent");
    for (const auto kind : {Kind::Interrupted, Kind::Invalid, Kind::TerminationImminent})
        EXPECT_EQ(ConnectionError::of(kind).kind, kind);
}

/// Notes what it handles, and on which queue.
class NotingMailbox : public Mailbox<std::string> {
public:
    explicit NotingMailbox(Platform::Queue queue) : Mailbox(std::move(queue)) {}
    using Mailbox::post;
    using Mailbox::queue;
    using Mailbox::setOpen;
    using Mailbox::setQueue;
    using Mailbox::takeEvents;

    Texts handled;
    std::function<void(const std::string&)> during = [](const std::string&) {};

private:
    void handle(std::string event) override {
        handled.push_back(Platform::Queue::current().label() + " " + event);
        during(event);
    }
};

class AMailbox : public testing::Test {
protected:
    void settle() {
        for (int turn = 0; turn < 5; ++turn)
            loop.runOnce(Platform::Duration::zero());
    }

    Platform::RunLoop loop;
    const std::shared_ptr<NotingMailbox> mailbox = std::make_shared<NotingMailbox>(Platform::Queue::serial("one"));
};

TEST_F(AMailbox, HandlesInOrderAndLaterWhatItReceivedOnceItIsOpen) {
    mailbox->post("a");
    mailbox->post("b");
    settle();
    EXPECT_EQ(mailbox->handled, Texts{});
    mailbox->setOpen(true);
    EXPECT_EQ(mailbox->handled, Texts{});
    settle();
    EXPECT_EQ(mailbox->handled, (Texts{"one a", "one b"}));
    mailbox->post("c");
    EXPECT_EQ(mailbox->handled.size(), 2U);
    settle();
    EXPECT_EQ(mailbox->handled.back(), "one c");
    mailbox->setOpen(false);
    mailbox->post("d");
    settle();
    EXPECT_EQ(mailbox->handled.size(), 3U);
    EXPECT_EQ(mailbox->takeEvents(), std::list<std::string>{"d"});
    mailbox->setOpen(true);
    settle();
    EXPECT_EQ(mailbox->handled.size(), 3U);
}

TEST_F(AMailbox, KeepsTheRestWhereItIsClosedMeanwhile) {
    mailbox->during = [this](const std::string& event) { mailbox->setOpen(event != "a"); };
    mailbox->setOpen(true);
    mailbox->post("a");
    mailbox->post("b");
    settle();
    EXPECT_EQ(mailbox->handled, Texts{"one a"});
    mailbox->setOpen(true);
    settle();
    EXPECT_EQ(mailbox->handled, (Texts{"one a", "one b"}));
}

TEST_F(AMailbox, GoesOnWithTheNextEventAfterAnException) {
    const TestSupport::LogCapture log;
    mailbox->during = [](const std::string& event) { throw std::runtime_error(event); };
    mailbox->setOpen(true);
    mailbox->post("a");
    mailbox->post("b");
    settle();
    EXPECT_EQ(mailbox->handled, (Texts{"one a", "one b"}));
    EXPECT_EQ(log.entries(), (Texts{"Uncaught exception on one: a", "Uncaught exception on one: b"}));
}

TEST_F(AMailbox, HandlesOnItsNewQueueWhatIsNotOnItsWay) {
    mailbox->setQueue(Platform::Queue::serial("two"));
    EXPECT_EQ(mailbox->queue().label(), "two");
    mailbox->setOpen(true);
    mailbox->post("a");
    settle();
    EXPECT_EQ(mailbox->handled, Texts{"two a"});
}

TEST_F(AMailbox, IsKeptByWhatItIsAboutToHandleAndNotByWhatItHolds) {
    auto waiting = std::make_shared<NotingMailbox>(Platform::Queue::main());
    const std::weak_ptr<NotingMailbox> watch = waiting;
    waiting->post("a");
    waiting->setOpen(true);
    waiting.reset();
    EXPECT_FALSE(watch.expired());
    settle();
    EXPECT_TRUE(watch.expired());
    waiting = std::make_shared<NotingMailbox>(Platform::Queue::main());
    const std::weak_ptr<NotingMailbox> closed = waiting;
    waiting->post("a");
    waiting.reset();
    EXPECT_TRUE(closed.expired());
}

} // namespace
