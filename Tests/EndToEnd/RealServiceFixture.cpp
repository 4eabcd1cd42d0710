#include "EndToEnd/RealServiceFixture.h"

#include "Platform/Files/Files.h"
#include "Support/HttpClient.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <variant>

namespace Quenmark {

namespace fs = std::filesystem;
using TestSupport::BusPeer;
using TestSupport::runCommand;

namespace {

/// A file of /proc, whose entries end in zero bytes; empty where the process has ended meanwhile.
std::string procFile(const fs::path& process, const char* name) {
    auto content = Platform::Files::contents(process / name);
    const auto* text = std::get_if<std::string>(&content);
    return text != nullptr ? *text : "";
}

} // namespace

RealServiceFixture::RealServiceFixture() {
    fs::create_directories(placed(""));
    setPreferences("7", home.path());
    server.setHandler([](const auto&) { return TestSupport::HttpReply::json(nothing); });
}

void RealServiceFixture::configure(const std::string& serviceHost) {
    home.setDeployment(R"({"serviceHost":")" + serviceHost + R"(","appKitVersionNumber":)" +
                       std::to_string(GetParam().release) + R"(,"mode":")" + GetParam().mode + "\"}");
}

void RealServiceFixture::deploy(const std::string& serviceHost, const std::string& launcher) {
    configure(serviceHost);
    bus = std::make_unique<TestSupport::PrivateBus>(
        std::vector<TestSupport::PrivateBus::Service>{{busName, launcher + QUENMARK_SERVICE}});
}

void RealServiceFixture::setPreferences(const std::string& computer, const std::string& folder) {
    home.setPreferences(home.preferencesFor(folder, computer));
}

void RealServiceFixture::start() {
    const auto result = runCommand({QUENMARK_TOOL, "start"});
    ASSERT_EQ(result.status, 0) << result.errors;
}

void RealServiceFixture::askToStart(BusPeer& peer) {
    const std::string object = "/Velkarin/Quenmark/TopFileUploadXpcService";
    if (!GetParam().isWrapper)
        return peer.send({busName, object, "Velkarin.Quenmark.TopFileUploadXpcServiceProtocol", "GetTopFileUpload"});
    peer.send({busName, object, "Velkarin.Quenmark.XPC", "Message"}, [](sd_bus_message* message) {
        if (sd_bus_message_append(message, "v", "s", "GetTopFileUpload") < 0)
            throw std::runtime_error("the message cannot be filled");
    });
}

std::optional<pid_t> RealServiceFixture::serviceProcess() const {
    // The settings' folder is this test's own, and so is a service that was started with it.
    // Under valgrind it is an argument of another program.
    const std::string program = '\0' + std::string(QUENMARK_SERVICE) + '\0';
    const std::string setting = "XDG_CONFIG_HOME=" + home.config().path() + '\0';
    for (const auto& entry : fs::directory_iterator("/proc")) {
        const std::string name = entry.path().filename();
        if (name.find_first_not_of("0123456789") == std::string::npos &&
            ('\0' + procFile(entry.path(), "cmdline")).find(program) != std::string::npos &&
            procFile(entry.path(), "environ").find(setting) != std::string::npos)
            return static_cast<pid_t>(std::stol(name));
    }
    return std::nullopt;
}

std::size_t RealServiceFixture::count(std::string_view target) const {
    const auto& requests = server.requests();
    return static_cast<std::size_t>(
        std::count_if(requests.begin(), requests.end(), [&](const auto& request) { return request.target == target; }));
}

const TestSupport::HttpRequest& RealServiceFixture::last(std::string_view target) const {
    const auto& requests = server.requests();
    const auto found =
        std::find_if(requests.rbegin(), requests.rend(), [&](const auto& request) { return request.target == target; });
    if (found == requests.rend())
        throw std::out_of_range("no request came for " + std::string(target));
    return *found;
}

std::optional<std::string> RealServiceFixture::contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file || fs::is_directory(path))
        return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(file), {});
}

bool RealServiceFixture::exists(const std::string& path) {
    return fs::exists(path);
}

long RealServiceFixture::pendingItems(const ServiceProcess& service) {
    const auto result = runCommand({"curl", "-sf", "http://" + service.host() + "/status?computer=7"});
    const std::string mark = "\"pending\":";
    const auto place = result.output.find(mark);
    return place == std::string::npos ? -1 : std::stol(result.output.substr(place + mark.size()));
}

std::string RealServiceFixture::fault(std::string_view operation, std::string_view action, int skip, int times) {
    std::string text = R"({"path":")";
    text.append(operation).append(R"(","skip":)").append(std::to_string(skip));
    text.append(R"(,"times":)").append(std::to_string(times)).append(R"(,"action":)").append(action);
    return text + '}';
}

void RealServiceFixture::planFaults(const ServiceProcess& service, const std::vector<std::string>& faults) {
    std::string list;
    for (const std::string& fault : faults)
        list += (list.empty() ? "" : ",") + fault;
    const auto response =
        webservice::test::HttpClient(service.port()).exchange("PUT", "/faults", R"({"faults":[)" + list + "]}");
    ASSERT_EQ(response.status, 200) << response.body;
}

std::size_t RealServiceFixture::downloadHeaderSize(const ServiceProcess& service) {
    webservice::test::HttpClient client(service.port());
    return client.post(streamOperation, R"({"ToComputerID":"7"})").headerText.size();
}

std::string RealServiceFixture::sentBytes(const ServiceProcess& service, std::string_view operation) {
    std::string all;
    std::istringstream lines(service.errors());
    const std::string mark = std::string(operation) + " 200 ";
    for (std::string line; std::getline(lines, line);) {
        if (const auto place = line.find(mark); place != std::string::npos)
            all += line.substr(place + mark.size(), line.find(' ', place + mark.size()) - place - mark.size()) + ' ';
    }
    return all;
}

std::string RealServiceFixture::item(std::string_view name, std::string_view isFile, std::string_view id) {
    return R"({"FileName":")" + std::string(name) + R"(","FileUploadID":")" + std::string(id) + R"(","IsFile":")" +
           std::string(isFile) +
           R"(","ReturnStatus":"0","ServerPath":"s","ToComputerID":"7","TransitUploadPath":"t",)"
           R"("UploadProcessed":"False","error":null})";
}

TestSupport::Headers RealServiceFixture::streamHeaders(std::string_view name, std::string_view id) {
    return {{"ReturnStatus", "0"},
            {"IsFile", "True"},
            {"FileName", std::string(name)},
            {"FileUploadID", std::string(id)},
            {"ServerPath", "s"},
            {"TransitUploadPath", "t"},
            {"ToComputerID", "7"},
            {"UploadProcessed", "False"}};
}

} // namespace Quenmark
