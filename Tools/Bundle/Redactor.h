#pragma once

#include <boost/json/value.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace Tools {

/// Removes from texts what a person does not want to show to others: the secrets that were added, mail addresses, the
/// user's home directory, credentials, and the names of items: what begins with a backslash, and what lies in the
/// Quenmark folder or the temporary area. Their replacements are in brackets. Where the end of a name is not
/// clear, the rest of the line is removed too.
class Redactor {
public:
    /// A value that is replaced by the label, also where JSON or a URL escapes it. One of fewer than six bytes is
    /// replaced only where it is a word of its own, since "7" is also a part of other numbers.
    void addSecret(std::string_view value, const std::string& label);
    /// The home directory, which is written as "~"; to be set before secrets that lie in it are added.
    void setHome(const std::string& path) { home_ = path; }

    std::string redacted(std::string_view text) const;
    /// As above, in each string of the value; its keys and numbers stay.
    boost::json::value withRedactedStrings(const boost::json::value& value) const;

private:
    struct Secret {
        std::string value;
        std::string label;
    };

    void addForm(std::string value, const std::string& label);
    std::string withoutSecrets(std::string text) const;

    /// The longest first, so that none is hidden by a part of it.
    std::vector<Secret> secrets_;
    std::string home_;
};

} // namespace Tools
