#pragma once

#include <string>
#include <vector>

namespace Tools::Completion {

/// What the word at the cursor may be completed to.
struct Candidates {
    enum class Kind { Words, Files, Folders };
    struct Word {
        std::string text;
        /// For shells that show one; may be empty.
        std::string description;
    };

    Kind kind = Kind::Words;
    /// Empty for files and folders, which the shell knows.
    std::vector<Word> words = {};
};

} // namespace Tools::Completion
