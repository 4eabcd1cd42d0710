#pragma once

#include "Support/TemporaryFolder.h"
#include "WebService/State.h"
#include "WebService/WebApplication.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace webservice::test {

/// The service without its sockets, on a folder of its own.
class WithState : public ::testing::Test {
protected:
    WithState();

    /// Closes the state and opens it again, as a new process would.
    void restart();

    /// The response to one request, headers and all.
    Response request(std::string_view method, std::string_view target, std::string_view body = "",
                     std::vector<std::pair<std::string, std::string>> headers = {});

    /// Begins a POST of JSON to an operation, for the test to step or finish it.
    std::unique_ptr<Exchange> begin(std::string_view operation, std::string_view json);

    /// The response's body to a POST of JSON to an operation.
    std::string call(std::string_view operation, std::string_view json);

    /// Checks that an operation, asked with the JSON text, responses exactly the other one.
    void expect(std::string_view operation, std::string_view json, std::string_view response);

    /// Checks that an operation refuses with this code and message.
    void expectRefusal(std::string_view operation, std::string_view json, std::string_view code,
                       std::string_view message);

    /// Asks for the computer's next item: its "FileName", or "" when nothing waits.
    std::string next(std::string_view computer);
    /// The same, and acknowledges it.
    std::string take(std::string_view computer);
    /// Takes everything that waits, in order.
    std::vector<std::string> acknowledgeAll(std::string_view computer);

    /// The body and a header of a stream response.
    static std::string bodyOf(const Response& response);
    static std::string header(const Response& response, std::string_view name);

    TemporaryFolder folder;
    std::optional<State> state;
};

/// The text under a key of a JSON object, "(none)" when the key is absent, "(null)" for null.
std::string field(std::string_view json, std::string_view key);

} // namespace webservice::test
