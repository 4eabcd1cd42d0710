// The outbox where no file can be opened any more: nothing of it is lost.

#include "Support/RefusedCalls.h"
#include "Support/TestState.h"

#include <sys/syscall.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>
#include <system_error>

namespace webservice::test {

namespace {

/// Tests in a process of their own, which has as many files open as it may from some point on.
class AnOutboxWithoutDescriptors : public WithState {
protected:
    AnOutboxWithoutDescriptors() {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        // A process that can open nothing cannot remove its folder either; this one removes it with its own.
        ::setenv("TMPDIR", folder.path().c_str(), 1);
        folder.write("data/outbox/7/Docs/a.txt", "a");
        EXPECT_EQ(take("7"), "\\Docs");
        EXPECT_EQ(next("7"), "\\Docs\\a.txt");
    }

    ~AnOutboxWithoutDescriptors() override { before_ ? ::setenv("TMPDIR", before_->c_str(), 1) : ::unsetenv("TMPDIR"); }

    /// Ends the process with 0 where the request is an error and the item is pending still.
    [[noreturn]] void refuse(const std::function<void()>& request) {
        refuseCall(SYS_openat, EMFILE);
        bool isError = false;
        try {
            request();
        } catch (const std::system_error& error) {
            isError = error.code().value() == EMFILE;
        }
        const std::string counts = this->request("GET", "/status?computer=7").body;
        const bool isKept = counts == R"({"pending":1,"acknowledged":1,"withdrawn":0})";
        std::fprintf(stderr, "%d %s\n", int{isError}, counts.c_str());
        std::_Exit(isError && isKept ? 0 : 1);
    }

private:
    const char* const given_ = std::getenv("TMPDIR");
    const std::optional<std::string> before_ = given_ != nullptr ? std::optional<std::string>(given_) : std::nullopt;
};

} // namespace

TEST_F(AnOutboxWithoutDescriptors, KeepsAnItemThatAPollCannotLookAt) {
    EXPECT_EXIT(refuse([this] { next("7"); }), testing::ExitedWithCode(0), "");
}

TEST_F(AnOutboxWithoutDescriptors, KeepsAnItemThatCannotBeOpenedForItsDownload) {
    EXPECT_EXIT(refuse([this] { call("Uploads.svc/GetTopFileUploadWithStream", R"({"ToComputerID":"7"})"); }),
                testing::ExitedWithCode(0), "");
}

TEST_F(AnOutboxWithoutDescriptors, FailsWhereItCannotLookAtWhatHasComeSoThatItIsScannedLater) {
    folder.write("elsewhere", "b");
    EXPECT_EXIT(refuse([this] {
                    folder.move("elsewhere", "data/outbox/7/b.txt");
                    state->watcher.process();
                }),
                testing::ExitedWithCode(0), "");
}

} // namespace webservice::test
