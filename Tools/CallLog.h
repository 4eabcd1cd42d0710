#pragma once

#include <string>
#include <string_view>

namespace Tools {

/// A log entry of the library with *** in the place of every password: the value of each quoted key that has "password"
/// in it, in any case of letters, in JSON and in the multi-line form of dictionaries.
std::string withoutPasswords(std::string_view entry);

/// Suppresses the library's log while it lives, or writes it to standard error without passwords.
class CallLog {
public:
    explicit CallLog(bool isVerbose);
    CallLog(const CallLog&) = delete;
    CallLog& operator=(const CallLog&) = delete;
    ~CallLog();
};

} // namespace Tools
