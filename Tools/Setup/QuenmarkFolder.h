#pragma once

#include <string>
#include <vector>

namespace Tools {

/// The Quenmark folder in a folder, made where it is missing, and removed again where `keep` is not called.
class QuenmarkFolder {
public:
    /// Throws Failure where it cannot be made.
    explicit QuenmarkFolder(const std::string& path);
    QuenmarkFolder(const QuenmarkFolder&) = delete;
    QuenmarkFolder& operator=(const QuenmarkFolder&) = delete;
    ~QuenmarkFolder();

    const std::string& path() const { return path_; }
    void keep() { made_.clear(); }

private:
    void remove();

    std::string path_;
    /// The folders that were missing, outermost first.
    std::vector<std::string> made_;
};

} // namespace Tools
