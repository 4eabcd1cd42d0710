#include "Support/TestState.h"

#include <boost/json.hpp>

#include <csignal>

namespace webservice::test {

WithState::WithState() {
    // As the program does; the leases that files are tested with make it needful.
    std::signal(SIGIO, SIG_IGN);
    state.emplace(folder.path("data").string());
}

void WithState::restart() {
    state.reset();
    state.emplace(folder.path("data").string());
}

Response WithState::request(std::string_view method, std::string_view target, std::string_view body,
                            std::vector<std::pair<std::string, std::string>> headers) {
    Request request;
    request.method = method;
    request.target = target;
    request.headers = std::move(headers);
    WebApplication application(*state);
    try {
        const auto exchange = application.begin(request);
        if (!body.empty())
            exchange->receive(body);
        return exchange->finish();
    } catch (const RequestError& error) {
        return application.errorFor(request, error);
    }
}

std::unique_ptr<Exchange> WithState::begin(std::string_view operation, std::string_view json) {
    Request head;
    head.method = "POST";
    head.target = "/QuenmarkRestService/" + std::string(operation);
    auto exchange = WebApplication(*state).begin(head);
    exchange->receive(json);
    return exchange;
}

std::string WithState::call(std::string_view operation, std::string_view json) {
    return request("POST", "/QuenmarkRestService/" + std::string(operation), json).body;
}

void WithState::expect(std::string_view operation, std::string_view json, std::string_view response) {
    EXPECT_EQ(call(operation, json), response) << operation << ' ' << json;
}

void WithState::expectRefusal(std::string_view operation, std::string_view json, std::string_view code,
                              std::string_view message) {
    const boost::json::object error = {{"code", code}, {"message", message}};
    expect(operation, json, R"({"ReturnStatus":"1","error":)" + boost::json::serialize(error) + "}");
}

std::string WithState::next(std::string_view computer) {
    const std::string response =
        call("Uploads.svc/GetTopFileUpload", R"({"ToComputerID":")" + std::string(computer) + R"("})");
    return field(response, "ReturnStatus") == "0" ? field(response, "FileName") : "";
}

std::string WithState::take(std::string_view computer) {
    const std::string response =
        call("Uploads.svc/GetTopFileUpload", R"({"ToComputerID":")" + std::string(computer) + R"("})");
    if (field(response, "ReturnStatus") != "0")
        return "";
    EXPECT_EQ(call("Uploads.svc/UpdateFileUpload", R"({"FileUploadID":")" + field(response, "FileUploadID") + R"("})"),
              R"({"ReturnStatus":"0","error":null})");
    return field(response, "FileName");
}

std::vector<std::string> WithState::acknowledgeAll(std::string_view computer) {
    std::vector<std::string> names;
    for (std::string name = take(computer); !name.empty(); name = take(computer))
        names.push_back(name);
    return names;
}

std::string WithState::bodyOf(const Response& response) {
    if (!response.file)
        return response.body;
    std::string body(response.file->length, '\0');
    const ssize_t read =
        ::pread(response.file->file.get(), body.data(), body.size(), static_cast<off_t>(response.file->offset));
    EXPECT_EQ(read, static_cast<ssize_t>(body.size()));
    return body;
}

std::string WithState::header(const Response& response, std::string_view name) {
    for (const auto& [key, value] : response.headers) {
        if (key == name)
            return value;
    }
    return "(none)";
}

std::string field(std::string_view json, std::string_view key) {
    boost::json::error_code error;
    const boost::json::value parsed = boost::json::parse(json, error);
    EXPECT_FALSE(error) << json;
    const boost::json::value* value = parsed.is_object() ? parsed.get_object().if_contains(key) : nullptr;
    if (value == nullptr)
        return "(none)";
    if (value->is_null())
        return "(null)";
    return value->is_string() ? std::string(value->get_string()) : boost::json::serialize(*value);
}

} // namespace webservice::test
