#include "WebService/Http/BodyDecoder.h"

#include <algorithm>
#include <charconv>

namespace webservice {

namespace {

constexpr std::size_t longestLine = 8192;

} // namespace

BodyDecoder::BodyDecoder(const RequestHead& head)
    : state_(head.chunked      ? State::ChunkSize
             : head.length > 0 ? State::Data
                               : State::Done),
      chunked_(head.chunked), left_(head.length) {}

std::string_view BodyDecoder::take(std::string_view& input) {
    while (!input.empty() && state_ != State::Done) {
        if (state_ == State::Data) {
            const std::string_view piece =
                input.substr(0, static_cast<std::size_t>(std::min<std::uint64_t>(left_, input.size())));
            input.remove_prefix(piece.size());
            left_ -= piece.size();
            if (left_ == 0) {
                state_ = chunked_ ? State::ChunkEnd : State::Done;
            }
            return piece;
        }
        const std::size_t end = input.find('\n');
        line_.append(input.substr(0, end));
        if (line_.size() > longestLine) {
            throw BadRequest(400, "a line of the chunked body is too long");
        }
        input.remove_prefix(end == std::string_view::npos ? input.size() : end + 1);
        if (end != std::string_view::npos) {
            endOfLine();
        }
    }
    return {};
}

void BodyDecoder::endOfLine() {
    if (line_.ends_with('\r')) {
        line_.pop_back();
    }
    if (state_ == State::ChunkSize) {
        chunkSize();
    } else if (state_ == State::ChunkEnd) {
        if (!line_.empty()) {
            throw BadRequest(400, "a chunk is longer than announced");
        }
        state_ = State::ChunkSize;
    } else if (line_.empty()) {
        state_ = State::Done;
    }
    line_.clear();
}

void BodyDecoder::chunkSize() {
    const char* end = line_.data() + line_.size();
    const auto [after, error] = std::from_chars(line_.data(), end, left_, 16);
    if (error != std::errc() || (after != end && *after != ';' && *after != ' ' && *after != '\t')) {
        throw BadRequest(400, "a chunk's size is malformed");
    }
    state_ = left_ > 0 ? State::Data : State::Trailer;
}

} // namespace webservice
