#include "Tools/Bundle/Archive.h"

#include <boost/beast/zlib/deflate_stream.hpp>
#include <boost/crc.hpp>

#include <algorithm>
#include <array>
#include <cstdio>
#include <stdexcept>

namespace Tools {

namespace {

constexpr std::size_t blockSize = 512;

/// Writes a number in octal digits, with a zero byte behind them.
void putOctal(std::string& header, std::size_t offset, std::size_t length, std::uint64_t number) {
    std::array<char, 32> digits{};
    const int count = std::snprintf(digits.data(), digits.size(), "%0*llo", static_cast<int>(length - 1),
                                    static_cast<unsigned long long>(number));
    if (count != static_cast<int>(length - 1))
        throw std::length_error("a number does not fit into an archive");
    header.replace(offset, length - 1, digits.data(), length - 1);
}

std::string headerOf(const ArchivedFile& file, std::int64_t time) {
    std::string header(blockSize, '\0');
    if (file.path.empty() || file.path.size() > 99)
        throw std::length_error("the path " + file.path + " does not fit into an archive");
    header.replace(0, file.path.size(), file.path);
    putOctal(header, 100, 8, 0600);
    putOctal(header, 108, 8, 0);
    putOctal(header, 116, 8, 0);
    putOctal(header, 124, 12, file.content.size());
    putOctal(header, 136, 12, static_cast<std::uint64_t>(std::max<std::int64_t>(time, 0)));
    header[156] = '0';
    header.replace(257, 8, std::string_view("ustar\00000", 8));
    // The sum is that of the header with blanks in its own place.
    header.replace(148, 8, 8, ' ');
    std::uint64_t sum = 0;
    for (const char byte : header)
        sum += static_cast<unsigned char>(byte);
    putOctal(header, 148, 7, sum);
    header[154] = '\0';
    return header;
}

void putLittleEndian(std::string& bytes, std::uint32_t number) {
    for (int byte = 0; byte < 4; ++byte)
        bytes += static_cast<char>(number >> (8 * byte) & 0xFFU);
}

/// The bytes in the format of RFC 1951.
std::string deflated(std::string_view bytes) {
    namespace zlib = boost::beast::zlib;
    zlib::deflate_stream stream;
    zlib::z_params parameters;
    std::array<char, 16384> piece{};
    std::string result;
    parameters.next_in = bytes.data();
    parameters.avail_in = bytes.size();
    boost::beast::error_code error;
    while (!error) {
        parameters.next_out = piece.data();
        parameters.avail_out = piece.size();
        stream.write(parameters, zlib::Flush::finish, error);
        result.append(piece.data(), piece.size() - parameters.avail_out);
    }
    if (error != zlib::error::end_of_stream)
        throw std::runtime_error("an archive cannot be compressed: " + error.message());
    return result;
}

} // namespace

std::string tarArchive(const std::vector<ArchivedFile>& files, std::int64_t time) {
    std::string archive;
    for (const auto& file : files) {
        archive += headerOf(file, time) + file.content;
        archive.append((blockSize - archive.size() % blockSize) % blockSize, '\0');
    }
    return archive.append(2 * blockSize, '\0');
}

std::string gzipped(std::string_view bytes) {
    boost::crc_32_type sum;
    sum.process_bytes(bytes.data(), bytes.size());
    // Deflated, without flags and time, by an unknown system.
    std::string result("\x1f\x8b\x08\0\0\0\0\0\0\xff", 10);
    result += deflated(bytes);
    putLittleEndian(result, sum.checksum());
    putLittleEndian(result, static_cast<std::uint32_t>(bytes.size()));
    return result;
}

} // namespace Tools
