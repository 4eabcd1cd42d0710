// How a plan of faults is read, replaced and cleared.

#include "Support/HttpClient.h"
#include "Support/ServiceProcess.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <sysexits.h>

#include <filesystem>

namespace webservice::test {

namespace {

constexpr const char* none = R"({"faults":[]})";
constexpr const char* delayPlan = R"({"faults":[{"path":"*","action":{"kind":"delay","seconds":1}}]})";
constexpr const char* counted =
    R"({"faults":[{"path":"*","action":{"kind":"delay","seconds":1},"seen":0,"applied":0}]})";

} // namespace

TEST(TheFaults, AreReadReplacedAndCleared) {
    TemporaryFolder folder;
    const ServiceProcess service(folder.path("data").string());
    HttpClient client(service.port());
    EXPECT_EQ(client.exchange("GET", "/faults", "").body, none);
    const HttpResponse replaced = client.exchange("PUT", "/faults", delayPlan);
    EXPECT_EQ(replaced.status, 200);
    EXPECT_EQ(replaced.headers.at("Content-Type"), "application/json");
    EXPECT_EQ(replaced.body, counted);
    EXPECT_EQ(client.exchange("GET", "/faults", "").body, counted);
    const HttpResponse refused = client.exchange("PUT", "/faults", R"({"faults":[{"action":{"kind":"boom"}}]})");
    EXPECT_EQ(refused.status, 400);
    EXPECT_EQ(refused.body, R"({"ReturnStatus":"1","error":{"code":"BadPlan",)"
                            R"("message":"faults[0].action.kind: there is no kind \"boom\""}})");
    client = HttpClient(service.port());
    EXPECT_EQ(client.exchange("GET", "/faults", "").body, counted) << "a refused plan changes nothing";
    EXPECT_EQ(client.exchange("DELETE", "/faults", "").body, none);
    EXPECT_EQ(client.exchange("GET", "/faults", "").body, none);
    const HttpResponse wrong = client.exchange("POST", "/faults", delayPlan);
    EXPECT_EQ(wrong.status, 405);
    EXPECT_EQ(wrong.headers.at("Allow"), "GET, PUT, DELETE");
    EXPECT_EQ(HttpClient(service.port()).exchange("PUT", "/faults", delayPlan, "Origin: http://evil.test\r\n").status,
              403);
    EXPECT_EQ(HttpClient(service.port()).exchange("PUT", "/faults", std::string((1 << 20) + 1, ' ')).status, 413);
}

TEST(AProgram, BeginsWithThePlanOfAFile) {
    TemporaryFolder folder;
    folder.write("plan.json", delayPlan);
    Program program(
        {"--listen", "0", "--data", folder.path("data").string(), "--faults", folder.path("plan.json").string()});
    const std::string ready = program.line();
    const auto port = static_cast<std::uint16_t>(std::stoi(ready.substr(ready.rfind(':') + 1)));
    EXPECT_EQ(HttpClient(port).exchange("GET", "/faults", "").body, counted);
    HttpClient(port).exchange("PUT", "/faults", R"({"faults":[{"action":{"kind":"delay","seconds":0}}]})");
    EXPECT_EQ(HttpClient(port).post("Uploads.svc/GetTopFileUpload", R"({"ToComputerID":"7"})").status, 200);
    program.signal(SIGTERM);
    EXPECT_EQ(program.exitStatus(), 0);
    const std::string log = program.errors();
    EXPECT_NE(log.find("Z faults[0] is applied to Uploads.svc/GetTopFileUpload\n"), std::string::npos) << log;
}

TEST(AProgram, DoesNotBeginWithAPlanThatIsNotValid) {
    TemporaryFolder folder;
    const std::string data = folder.path("data").string();
    const std::string file = folder.path("plan.json").string();
    folder.write("plan.json", "{\"faults\":[{\"action\":{\"kind\":\"a\\nb\"}}]}");
    Program invalid({"--data", data, "--faults", file});
    EXPECT_EQ(invalid.exitStatus(), EX_DATAERR);
    EXPECT_EQ(invalid.errors(),
              "quenmark-webservice: " + file + ": faults[0].action.kind: there is no kind \"a\\x0ab\"\n");
    Program absent({"--data", data, "--faults", file + ".no"});
    EXPECT_EQ(absent.exitStatus(), EX_NOINPUT);
    EXPECT_EQ(absent.errors(), "quenmark-webservice: " + file + ".no: No such file or directory\n");
    Program folderAsPlan({"--data", data, "--faults", folder.path("").string()});
    EXPECT_EQ(folderAsPlan.exitStatus(), EX_NOINPUT);
    Program endless({"--data", data, "--faults", "/dev/zero"});
    EXPECT_EQ(endless.exitStatus(), EX_DATAERR);
    EXPECT_FALSE(std::filesystem::exists(data));
}

} // namespace webservice::test
