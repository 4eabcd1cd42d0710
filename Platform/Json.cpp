#include "Platform/Json.h"

#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/value_stack.hpp>

#include <sys/mman.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Platform::Json {

namespace {

/// Freeing the values of a long text one by one takes as long as reading it.
constexpr std::size_t longText = 1 << 20;

Error errorOf(std::string description) {
    return Error{errorDomain, errorCode, "Not JSON: " + std::move(description)};
}

std::string atByte(std::size_t offset) {
    return " at byte " + std::to_string(offset);
}

/// Leaves the reading of a text; it never leaves this file.
class Refusal : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

[[noreturn]] void refuseSize() {
    throw Refusal("the value takes more than " + std::to_string(maximumValueSize >> 20) + " MiB");
}

/// The memory of one value: blocks that are freed in one go with the last part of the value.
class ValueMemory final : public boost::json::memory_resource {
public:
    /// `self` is set to this: the storage pointer that shares it does not tell where it is.
    explicit ValueMemory(ValueMemory*& self) { self = this; }

    std::size_t used() const { return closed_ + static_cast<std::size_t>(next_ - begin_); }
    /// The value is complete; what its owner adds to it has no limit.
    void lift() { limit_ = SIZE_MAX; }

protected:
    void* do_allocate(std::size_t size, std::size_t alignment) override {
        const std::size_t padding = -reinterpret_cast<std::uintptr_t>(next_) & (alignment - 1);
        if (size + padding > static_cast<std::size_t>(end_ - next_))
            return allocateBlock(size);
        return std::exchange(next_, next_ + padding + size) + padding;
    }
    void do_deallocate(void*, std::size_t, std::size_t) override {}
    bool do_is_equal(const memory_resource& other) const noexcept override { return this == &other; }

private:
    static constexpr std::size_t largestBlock = 64 << 20;

    /// What does not fit: a large part has a block of its own, a small one begins the next common block. Pages of a
    /// block that nothing was written to take no memory.
    void* allocateBlock(std::size_t size) {
        if (size > limit_ || used() > limit_ - size)
            refuseSize();
        const bool isLarge = size > blockSize_ / 4;
        auto& block = blocks_.emplace_back(std::make_unique_for_overwrite<std::byte[]>(isLarge ? size : blockSize_));
        if (isLarge) {
            closed_ += size;
        } else {
            closed_ = used();
            begin_ = block.get();
            next_ = begin_ + size;
            end_ = begin_ + blockSize_;
            blockSize_ = std::min(2 * blockSize_, largestBlock);
        }
        return block.get();
    }

    std::vector<std::unique_ptr<std::byte[]>> blocks_;
    std::byte* begin_ = nullptr;
    std::byte* next_ = nullptr;
    std::byte* end_ = nullptr;
    std::size_t blockSize_ = 1 << 20;
    /// Bytes in blocks other than the one from `begin_` to `end_`.
    std::size_t closed_ = 0;
    std::size_t limit_ = maximumValueSize;
};

} // namespace

} // namespace Platform::Json

template <>
struct boost::json::is_deallocate_trivial<Platform::Json::ValueMemory> {
    static constexpr bool value = true;
};

namespace Platform::Json {

namespace {

/// Address space whose pages take memory once they are written to (mmap(2)); null where there is none.
class LazyBuffer {
public:
    explicit LazyBuffer(std::size_t size) : size_(size) {
        if (size_ == 0)
            return;
        void* mapped =
            ::mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (mapped == MAP_FAILED)
            size_ = 0;
        else
            data_ = static_cast<unsigned char*>(mapped);
    }
    ~LazyBuffer() {
        if (data_ != nullptr)
            ::munmap(data_, size_);
    }
    LazyBuffer(const LazyBuffer&) = delete;
    LazyBuffer& operator=(const LazyBuffer&) = delete;

    unsigned char* data() const { return data_; }
    std::size_t size() const { return size_; }

private:
    unsigned char* data_ = nullptr;
    std::size_t size_;
};

/// Builds the value that the parser reads. Parts whose container is still open wait on a stack.
class Builder {
public:
    static constexpr std::size_t max_object_size = boost::json::object::max_size();
    static constexpr std::size_t max_array_size = boost::json::array::max_size();
    static constexpr std::size_t max_key_size = boost::json::string::max_size();
    static constexpr std::size_t max_string_size = boost::json::string::max_size();

    using Code = boost::json::error_code;
    using Text = boost::json::string_view;

    /// `memory` is the value's, or nullptr for a value whose parts have memory of their own.
    Builder(ValueMemory* memory, boost::json::storage_ptr storage, const LazyBuffer& stack)
        : memory_(memory), stack_({}, stack.data(), stack.size()) {
        stack_.reset(std::move(storage));
    }

    boost::json::value release() { return stack_.release(); }

    bool on_document_begin(Code&) { return true; }
    bool on_document_end(Code&) { return true; }
    bool on_object_begin(Code&) { return true; }
    bool on_array_begin(Code&) { return true; }
    bool on_comment_part(Text, Code&) { return true; }
    bool on_comment(Text, Code&) { return true; }
    bool on_number_part(Text, Code&) { return true; }

    bool on_object_end(std::size_t entries, Code&) {
        stack_.push_object(entries);
        waiting_ -= 2 * entries;
        return pushed();
    }
    bool on_array_end(std::size_t elements, Code&) {
        stack_.push_array(elements);
        waiting_ -= elements;
        return pushed();
    }
    bool on_key_part(Text part, std::size_t, Code&) {
        stack_.push_chars(part);
        return true;
    }
    bool on_key(Text rest, std::size_t, Code&) {
        stack_.push_key(rest);
        return pushed();
    }
    bool on_string_part(Text part, std::size_t, Code&) {
        stack_.push_chars(part);
        return true;
    }
    bool on_string(Text rest, std::size_t, Code&) {
        stack_.push_string(rest);
        return pushed();
    }
    bool on_int64(std::int64_t number, Text, Code&) {
        stack_.push_int64(number);
        return pushed();
    }
    bool on_uint64(std::uint64_t number, Text, Code&) {
        stack_.push_uint64(number);
        return pushed();
    }
    bool on_double(double number, Text, Code&) {
        // The parser takes a number that is too large for infinity.
        if (!std::isfinite(number))
            throw Refusal("a number that is too large");
        stack_.push_double(number);
        return pushed();
    }
    bool on_bool(bool boolean, Code&) {
        stack_.push_bool(boolean);
        return pushed();
    }
    bool on_null(Code&) {
        stack_.push_null();
        return pushed();
    }

private:
    bool pushed() {
        // The stack grows by one part at a time, and never past a multiple unseen.
        if (++waiting_ % 4096 == 0)
            checkSize();
        return true;
    }

    void checkSize() const {
        const std::size_t used = memory_ == nullptr ? 0 : memory_->used();
        if (waiting_ * sizeof(boost::json::value) > maximumValueSize - used)
            refuseSize();
    }

    ValueMemory* memory_;
    boost::json::value_stack stack_;
    std::size_t waiting_ = 0;
};

/// A value takes two bytes of the text, so that a long text's stack never outgrows this: growing would copy it.
std::size_t stackSize(std::size_t textSize) {
    if (textSize < longText)
        return 0;
    return std::min(textSize / 2 * sizeof(boost::json::value), maximumValueSize + textSize) + longText;
}

boost::json::value read(std::string_view text, std::size_t skipped) {
    boost::json::storage_ptr storage;
    ValueMemory* memory = nullptr;
    if (text.size() >= longText)
        storage = boost::json::make_shared_resource<ValueMemory>(memory);
    const LazyBuffer stack(stackSize(text.size()));
    boost::json::parse_options options;
    options.max_depth = maximumDepth;
    boost::json::basic_parser<Builder> parser(options, memory, storage, stack);
    boost::json::error_code failure;
    const std::size_t consumed = parser.write_some(false, text.data(), text.size(), failure);
    if (failure)
        throw Refusal(failure.message() + atByte(skipped + consumed));
    const std::size_t more = text.find_first_not_of(" \t\r\n", consumed);
    if (more != std::string_view::npos)
        throw Refusal("something follows the value" + atByte(skipped + more));
    auto value = parser.handler().release();
    if (!value.is_structured())
        throw Refusal("the top level is neither an object nor an array" +
                      atByte(skipped + text.find_first_not_of(" \t\r\n")));
    if (memory != nullptr)
        memory->lift();
    return value;
}

} // namespace

std::variant<boost::json::value, Error> parse(std::string_view text) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    const std::size_t skipped = text.starts_with(byteOrderMark) ? byteOrderMark.size() : 0;
    text.remove_prefix(skipped);
    try {
        return read(text, skipped);
    } catch (const Refusal& refusal) {
        return errorOf(refusal.what());
    } catch (const std::bad_alloc&) {
        return errorOf("there is not enough memory for the value");
    }
}

} // namespace Platform::Json
