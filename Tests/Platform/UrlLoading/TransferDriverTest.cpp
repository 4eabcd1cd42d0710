// The order in which changes of transfers are reported.

#include "Platform/UrlLoading/TransferDriver.h"

#include "Platform/UrlLoading/Transfer.h"
#include "UrlLoadingFixture.h"

#include <map>

namespace Platform {
namespace {

using Events = std::vector<std::string>;

/// Transfers with names, whose reports are written down in order.
class ATransferDriver : public UrlLoadingTest {
protected:
    /// Makes a transfer that has not been started; `duringReport` runs at each of its reports.
    void make(
        const std::string& name, std::function<void()> duringReport = [] {}) {
        transfers[name] = std::make_unique<Transfer>(driver, Transfer::Request{target, headers, {}},
                                                     [this, name, duringReport = std::move(duringReport)] {
                                                         events.push_back(name);
                                                         duringReport();
                                                         events.push_back("end of " + name);
                                                     });
    }
    void change(const std::string& name) { driver.addChanged(*transfers.at(name)); }
    Events reports() {
        driver.reportChanges();
        return events;
    }

    TransferDriver& driver = loop.attachment<TransferDriver>();
    const Url target = url("/");
    const RequestHeaders headers = std::get<RequestHeaders>(RequestHeaders::of(get("/"), {}));
    Events events;
    std::map<std::string, std::unique_ptr<Transfer>> transfers;
};

TEST_F(ATransferDriver, ReportsTheFirstChangeFirst) {
    for (const char* name : {"a", "b", "c"})
        make(name);
    change("c");
    change("a");
    change("b");
    EXPECT_EQ(events, Events{}) << "nothing is reported before the call";
    EXPECT_EQ(reports(), (Events{"c", "end of c", "a", "end of a", "b", "end of b"}));
}

TEST_F(ATransferDriver, ReportsNoProgressOfATransferThatHasMadeNone) {
    make("a");
    change("a");
    reports();
    EXPECT_FALSE(transfers.at("a")->takeProgress());
}

TEST_F(ATransferDriver, ReportsATransferOnceThatHasChangedTwice) {
    make("a");
    make("b");
    change("a");
    change("b");
    change("a");
    EXPECT_EQ(reports(), (Events{"a", "end of a", "b", "end of b"}));
    change("a");
    EXPECT_EQ(reports(), (Events{"a", "end of a", "b", "end of b", "a", "end of a"}));
}

TEST_F(ATransferDriver, ReportsChangesThatAReportCausesAfterTheEarlierOnes) {
    make("a", [this] { change("c"); });
    make("b");
    make("c");
    change("a");
    change("b");
    EXPECT_EQ(reports(), (Events{"a", "end of a", "b", "end of b", "c", "end of c"}));
}

TEST_F(ATransferDriver, ReportsATransferAgainThatChangesDuringItsReport) {
    int changes = 0;
    make("a", [&] {
        if (++changes == 1)
            change("a");
    });
    make("b");
    change("a");
    change("b");
    EXPECT_EQ(reports(), (Events{"a", "end of a", "b", "end of b", "a", "end of a"}));
}

TEST_F(ATransferDriver, ReportsNothingInsideAnotherReport) {
    make("a", [this] {
        change("c");
        driver.reportChanges();
        driver.perform();
    });
    make("b");
    make("c");
    change("a");
    change("b");
    EXPECT_EQ(reports(), (Events{"a", "end of a", "b", "end of b", "c", "end of c"}));
}

TEST_F(ATransferDriver, DoesNotReportATransferThatAReportHasEnded) {
    make("a", [this] { transfers.erase("b"); });
    make("b");
    make("c");
    for (const char* name : {"a", "b", "c"})
        change(name);
    EXPECT_EQ(reports(), (Events{"a", "end of a", "c", "end of c"}));
}

} // namespace
} // namespace Platform
