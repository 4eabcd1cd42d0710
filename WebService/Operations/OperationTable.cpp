#include "WebService/Operations/OperationTable.h"

#include "WebService/Log.h"
#include "WebService/Operations/ErrorLog.h"
#include "WebService/Operations/Uploads.h"

#include <algorithm>
#include <array>

namespace webservice {

namespace {

constexpr std::size_t longestBody = 16 << 20;

constexpr std::array table = {
    Operation{"Uploads.svc/GetTopFileUpload", &getTopFileUpload},
    Operation{"Uploads.svc/UpdateFileUpload", &updateFileUpload},
    Operation{"Uploads.svc/GetTopFileUploadWithStream", &getTopFileUploadWithStream},
    Operation{"MAC/ErrorLog.svc/LogError", &logError},
};

// Everything that an operation changes, it changes at once or not at all.
class OperationExchange : public Exchange {
public:
    OperationExchange(State& state, const Operation& operation) : state_(state), operation_(operation) {}

    void receive(std::string_view piece) override {
        if (body_.size() + piece.size() > longestBody) {
            throw Refused{errorResponse(413, "TooLong", "the body is longer than 16 MiB")};
        }
        body_.append(piece);
    }

    Response finish() override {
        // What has happened in the outbox up to now counts, whatever becomes of this operation.
        state_.watcher.drain();
        try {
            Transaction transaction(state_.db);
            Response response = std::visit([this](auto answer) { return run(answer); }, operation_.answer);
            transaction.commit();
            return response;
        } catch (const Refusal& refusal) {
            logLine(std::string(operation_.path) + " refused: " + refusal.code() + ": " + refusal.what());
            const bool malformed = refusal.code() == "NotJson" || refusal.code() == "NotAnObject";
            return jsonResponse(malformed ? 400 : 200, boost::json::serialize(refused(refusal)));
        }
    }

private:
    Response run(ObjectOperation answer) {
        return jsonResponse(200, boost::json::serialize(answer(state_, Record::parse(body_))));
    }

    Response run(ResponseOperation answer) { return answer(state_, Record::parse(body_)); }

    State& state_;
    const Operation& operation_;
    std::string body_;
};

} // namespace

std::span<const Operation> operations() {
    return table;
}

const Operation* findOperation(std::string_view path) {
    const auto* const found = std::ranges::find(table, path, &Operation::path);
    return found == table.end() ? nullptr : found;
}

std::unique_ptr<Exchange> beginOperation(State& state, const Operation& operation) {
    return std::make_unique<OperationExchange>(state, operation);
}

} // namespace webservice
