#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <stdlib.h>

#include <fstream>
#include <iterator>

namespace webservice::test {

TemporaryFolder::TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "webservice-XXXXXX").string();
    path_ = ::mkdtemp(name.data());
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path TemporaryFolder::path(std::string_view relative) const {
    return relative.empty() ? path_ : path_ / relative;
}

void TemporaryFolder::write(std::string_view relative, std::string_view content) const {
    std::filesystem::create_directories(path(relative).parent_path());
    std::ofstream file(path(relative), std::ios::binary | std::ios::trunc);
    file << content;
    file.close();
    ASSERT_TRUE(file) << "cannot write " << path(relative);
}

void TemporaryFolder::makeFolder(std::string_view relative) const {
    std::filesystem::create_directories(path(relative));
}

void TemporaryFolder::move(std::string_view from, std::string_view to) const {
    std::filesystem::rename(path(from), path(to));
}

void TemporaryFolder::remove(std::string_view relative) const {
    std::filesystem::remove_all(path(relative));
}

std::string contentOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << "cannot read " << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace webservice::test
