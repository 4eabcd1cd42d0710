#include "EndToEnd/SystemCalls.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>

namespace Quenmark {

namespace {

constexpr const char* tracedCalls =
    "write,fdatasync,fsync,syncfs,rename,renameat,renameat2,link,linkat,mkdir,mkdirat,unlink,"
    "unlinkat,sendto,sendmsg,copy_file_range,sendfile,sync_file_range";

constexpr std::string_view unfinishedMark = "<unfinished ...>";

bool matches(const SystemCall& call, std::string_view name, const std::vector<std::string>& parts) {
    return call.text.starts_with(std::string(name) + "(") &&
           std::ranges::all_of(parts, [&](const auto& part) { return call.text.find(part) != std::string::npos; });
}

bool isSuccess(std::string_view text) {
    const auto result = text.rfind(" = ");
    return result != std::string_view::npos && text.substr(result + 3, 1) != "-" && text.substr(result + 3, 1) != "?";
}

} // namespace

std::string SystemCalls::launcher(const std::string& file, const std::string& options) {
    // The leak sanitizer cannot work in a process that is traced.
    return "/usr/bin/env ASAN_OPTIONS=detect_leaks=0 strace -f --seccomp-bpf -y -s 200 -o " + file +
           " -e trace=" + tracedCalls + " " + options + " ";
}

SystemCalls::SystemCalls(const std::string& file) {
    std::ifstream trace(file);
    std::map<std::string, std::size_t, std::less<>> unfinished;
    std::string line;
    for (std::size_t number = 1; std::getline(trace, line); ++number) {
        const auto blank = line.find(' ');
        const std::string process = line.substr(0, blank);
        std::string text = line.substr(std::min(line.find_first_not_of(' ', blank), line.size()));
        if (text.starts_with("<... ")) {
            if (const auto begun = unfinished.find(process); begun != unfinished.end()) {
                auto& call = calls_[begun->second];
                call.text.replace(call.text.rfind(unfinishedMark), std::string::npos, text.substr(text.find('>') + 1));
                call.end = number;
                call.succeeded = isSuccess(text);
                unfinished.erase(begun);
            }
            continue;
        }
        const bool isUnfinished = text.ends_with(unfinishedMark);
        if (isUnfinished)
            unfinished[process] = calls_.size();
        calls_.push_back({text, number, isUnfinished ? SIZE_MAX : number, isSuccess(text)});
    }
}

std::optional<SystemCall> SystemCalls::first(std::string_view name, const std::vector<std::string>& parts,
                                             std::size_t from) const {
    const auto found =
        std::ranges::find_if(calls_, [&](const auto& call) { return call.begin > from && matches(call, name, parts); });
    return found == calls_.end() ? std::nullopt : std::optional(*found);
}

std::optional<SystemCall> SystemCalls::last(std::string_view name, const std::vector<std::string>& parts) const {
    const auto found =
        std::find_if(calls_.rbegin(), calls_.rend(), [&](const auto& call) { return matches(call, name, parts); });
    return found == calls_.rend() ? std::nullopt : std::optional(*found);
}

std::size_t SystemCalls::count(std::string_view name, const std::vector<std::string>& parts) const {
    return static_cast<std::size_t>(
        std::ranges::count_if(calls_, [&](const auto& call) { return matches(call, name, parts); }));
}

void SystemCalls::expectOrder(const std::vector<Step>& steps) const {
    std::size_t line = 0;
    for (const auto& [name, parts] : steps) {
        const auto call = first(name, parts, line);
        if (!call) {
            ADD_FAILURE() << "there is no " << name << " of " << parts.front() << " after line " << line << " of\n"
                          << ::testing::PrintToString(lines());
            return;
        }
        EXPECT_TRUE(call->succeeded) << call->text;
        line = call->end;
    }
}

std::vector<std::string> SystemCalls::lines() const {
    std::vector<std::string> lines;
    for (const auto& call : calls_)
        lines.push_back(call.text);
    return lines;
}

} // namespace Quenmark
