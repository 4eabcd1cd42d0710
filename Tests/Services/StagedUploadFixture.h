#pragma once

#include "ConnectorReports.h"
#include "ServiceFixture.h"
#include "Services/RestConnector.h"

#include <boost/json/object.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace ServicesTests {

/// The upload of a file whose description travels in header fields, by way of a copy in the home directory.
class StagedUploadFixture : public ServiceFixture {
protected:
    /// The path as the web service writes it: "\" between the components and none in front.
    static std::string windowsForm(const std::string& path) {
        std::string result = path.substr(1);
        std::replace(result.begin(), result.end(), '/', '\\');
        return result;
    }
    static boost::json::object params(const std::string& filePath) {
        return {{"FilePath", filePath}, {"FileRequestID", "601"}, {"TransitDownloadPath", "transit/601"}};
    }
    std::shared_ptr<Quenmark::RestConnector> upload(const boost::json::object& parameters) {
        auto connector = std::make_shared<Quenmark::RestConnector>(context);
        connector->startAsyncUploadWithStreamRequest("Downloads.svc/UpdateFileRequestWithStream", parameters, nullptr,
                                                     reports.handler());
        return connector;
    }
    [[nodiscard]] bool awaitReport() {
        return runUntil([&] { return !reports.all.empty(); });
    }
    bool homeIsEmpty() const { return std::filesystem::is_empty(home.path()); }
    /// That the upload ends like one of a file that is not there, and that nothing is sent or staged.
    void expectNoFile() {
        ASSERT_TRUE(awaitReport());
        EXPECT_EQ(reports.all[0].status, 2U);
        ASSERT_NE(reports.all[0].result.error(), nullptr);
        EXPECT_EQ(reports.all[0].result.error()->code, -1100);
        EXPECT_EQ(reports.all[0].queue, Platform::Queue::main());
        EXPECT_TRUE(homeIsEmpty());
        EXPECT_TRUE(everyRequest().empty());
    }

    TestSupport::TemporaryDirectory folder;
    Reports<boost::json::value> reports{log};
};

} // namespace ServicesTests
