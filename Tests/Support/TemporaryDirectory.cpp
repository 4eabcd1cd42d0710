#include "Support/TemporaryDirectory.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace TestSupport {

TemporaryDirectory::TemporaryDirectory() {
    std::string path = (std::filesystem::temp_directory_path() / "test-XXXXXX").string();
    if (::mkdtemp(path.data()) == nullptr)
        throw std::system_error(errno, std::generic_category(), path);
    path_ = path;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string TemporaryDirectory::write(std::string_view name, std::string_view content) const {
    std::string target = path(name);
    std::filesystem::create_directories(std::filesystem::path(target).parent_path());
    std::ofstream stream(target, std::ios::binary);
    stream.write(content.data(), static_cast<std::streamsize>(content.size()));
    stream.close();
    if (!stream)
        throw std::runtime_error("cannot write " + target);
    return target;
}

std::string TemporaryDirectory::read(std::string_view name) const {
    std::ifstream stream(path(name), std::ios::binary);
    if (!stream)
        throw std::runtime_error("cannot read " + path(name));
    return {std::istreambuf_iterator<char>(stream), {}};
}

} // namespace TestSupport
