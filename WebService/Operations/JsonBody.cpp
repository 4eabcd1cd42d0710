#include "WebService/Operations/JsonBody.h"

#include "WebService/Operations/Record.h"

#include <boost/json/monotonic_resource.hpp>

#include <new>
#include <optional>

namespace webservice {

namespace {

constexpr std::size_t mebibyte = 1 << 20;
constexpr std::size_t maxParsedSize = 64 * mebibyte;

/// Hands out memory up to a limit.
class LimitedMemory : public boost::json::memory_resource {
public:
    std::size_t used() const { return used_; }

private:
    void* do_allocate(std::size_t size, std::size_t alignment) override {
        if (size > maxParsedSize - used_)
            throw tooLong("the body needs more than " + std::to_string(maxParsedSize / mebibyte) +
                          " MiB when it is parsed");
        void* memory = ::operator new(size, std::align_val_t(alignment));
        used_ += size;
        return memory;
    }
    void do_deallocate(void* memory, std::size_t size, std::size_t alignment) override {
        ::operator delete(memory, std::align_val_t(alignment));
        used_ -= size;
    }
    bool do_is_equal(const boost::json::memory_resource& other) const noexcept override { return this == &other; }

    std::size_t used_ = 0;
};

} // namespace

class JsonBody::Parts {
public:
    Parts() : parser_(&scratch_) { parser_.reset(&values_); }

    void receive(std::string_view piece) {
        if (error_)
            return;
        try {
            parse(piece);
        } catch (const RequestError& error) {
            error_ = error;
        }
    }

    const boost::json::value& value() {
        if (!error_ && !value_)
            finish();
        if (error_)
            throw RequestError(*error_);
        return *value_;
    }

    std::size_t memory() const { return scratch_.used() + blocks_.used(); }

private:
    void parse(std::string_view piece) {
        boost::json::error_code error;
        // A parser that has reached the end of the value would begin with another one.
        std::size_t read = parser_.done() ? 0 : parser_.write_some(piece.data(), piece.size(), error);
        if (const auto extra = piece.find_first_not_of(" \t\r\n", read); !error && extra != std::string_view::npos) {
            error = boost::json::error::extra_data;
            read = extra;
        }
        if (error)
            throw notJson(error, length_ + read);
        length_ += piece.size();
    }

    void finish() {
        boost::json::error_code error;
        parser_.finish(error);
        if (error)
            error_ = notJson(error, length_);
        else
            value_.emplace(parser_.release());
    }

    static RequestError notJson(const boost::json::error_code& error, std::size_t place) {
        return {"NotJson", "the body is not JSON: " + error.message() + " at byte " + std::to_string(place), 400};
    }

    std::size_t length_ = 0;
    LimitedMemory scratch_;
    LimitedMemory blocks_;
    boost::json::monotonic_resource values_{1024, &blocks_};
    boost::json::stream_parser parser_;
    std::optional<boost::json::value> value_;
    std::optional<RequestError> error_;
};

JsonBody::JsonBody() : parts_(std::make_unique<Parts>()) {}

JsonBody::~JsonBody() = default;

void JsonBody::receive(std::string_view piece) {
    parts_->receive(piece);
}

const boost::json::value& JsonBody::value() {
    return parts_->value();
}

std::size_t JsonBody::memory() const {
    return parts_->memory();
}

} // namespace webservice
