// Agreement with another implementation: the base64 command of the GNU coreutils (base64(1)).

#include "EachKernel.h"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace Quenmark::Base64 {

namespace {

/// Runs `base64 options` on an input through a file of its own.
class Coreutils : public EachKernel {
protected:
    Coreutils() : path(testing::TempDir() + "base64-input-XXXXXX") {
        const int descriptor = ::mkstemp(path.data());
        if (descriptor < 0) {
            throw std::runtime_error("no temporary file");
        }
        ::close(descriptor);
    }
    ~Coreutils() override { std::remove(path.c_str()); }

    std::string base64(const std::string& options, std::span<const std::byte> input) {
        std::FILE* const file = std::fopen(path.c_str(), "wb");
        EXPECT_NE(file, nullptr);
        EXPECT_EQ(std::fwrite(input.data(), 1, input.size(), file), input.size());
        EXPECT_EQ(std::fclose(file), 0);

        std::FILE* const pipe = ::popen(("base64 " + options + " '" + path + "'").c_str(), "r");
        EXPECT_NE(pipe, nullptr);
        std::string output;
        std::array<char, 65536> block{};
        while (const std::size_t size = std::fread(block.data(), 1, block.size(), pipe)) {
            output.append(block.data(), size);
        }
        EXPECT_EQ(::pclose(pipe), 0);
        return output;
    }

    static constexpr std::array<std::size_t, 10> sizes = {1, 2, 3, 55, 56, 57, 1000, 12287, 65537, 1000003};

private:
    std::string path;
};

std::string withLineFeedsAlone(std::string text) {
    std::erase(text, '\r');
    return text;
}

/// Characters that no decoder may take for text, put in at random places.
std::string withDirt(const std::string& text, std::uint64_t seed) {
    std::mt19937_64 random(seed);
    const std::string_view dirt("\r\n\t -_.:\0\x7F\x80\xFF", 12);
    std::string dirty;
    for (const char character : text) {
        dirty += character;
        if (random() % 50 == 0) {
            dirty.append(random() % 3 + 1, dirt[random() % dirt.size()]);
        }
    }
    return dirty;
}

} // namespace

TEST_P(Coreutils, EncodesTheSameLine) {
    for (const std::size_t size : sizes) {
        const Bytes data = randomBytes(size, size);
        EXPECT_TRUE(Codec::encodedText(kernel(), data, 0) == base64("-w 0", data)) << size;
    }
}

TEST_P(Coreutils, EncodesTheSameLinesOf64And76ButForTheLineEnds) {
    for (const std::size_t size : sizes) {
        const Bytes data = randomBytes(size, size);
        for (const std::size_t width : {64U, 76U}) {
            const std::string lines = withLineFeedsAlone(*Codec::encodedText(kernel(), data, width));
            EXPECT_TRUE(lines + "\n" == base64("-w " + std::to_string(width), data)) << size << " at " << width;
        }
    }
}

TEST_P(Coreutils, DecodesWhatThisEncodes) {
    for (const std::size_t size : sizes) {
        const Bytes data = randomBytes(size, size);
        const std::string text = *Codec::encodedText(kernel(), data, 0);
        EXPECT_TRUE(bytesOf(base64("-d", bytesOf(text))) == data) << size;
        const std::string lines = *Codec::encodedText(kernel(), data, 76);
        EXPECT_TRUE(bytesOf(base64("-d -i", bytesOf(lines))) == data) << size;
    }
}

TEST_P(Coreutils, SkipsTheSameForeignCharacters) {
    for (const std::size_t size : sizes) {
        const Bytes data = randomBytes(size, size);
        const std::string dirty = withDirt(base64("-w 76", data), size);
        EXPECT_TRUE(bytesOf(base64("-d -i", bytesOf(dirty))) == data) << size;
        EXPECT_TRUE(Codec::decodedData(kernel(), dirty) == data) << size;
    }
}

INSTANTIATE_TEST_SUITE_P(Beside, Coreutils, testing::ValuesIn(everyKernel()), kernelName);

} // namespace Quenmark::Base64
