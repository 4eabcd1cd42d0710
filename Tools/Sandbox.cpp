#include "Tools/Sandbox.h"

#include "Platform/Files/Files.h"
#include "Platform/Files/PathState.h"
#include "Platform/Settings/Environment.h"
#include "Platform/Settings/SettingsFile.h"
#include "Tools/SharedPreferences.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <variant>
#include <vector>

namespace Tools::Sandbox {

namespace Files = Platform::Files;

namespace {

/// A line of a section that the service manager does not read.
constexpr std::string_view folderLine = "\nFolder=";

constexpr const char* head =
    "# Written by quenmark setup, which replaces it: settings of your own belong into another file of this folder.\n"
    "[X-Quenmark]";

constexpr const char* settings =
    "\n\n[Service]\n"
    "ProtectSystem=strict\n"
    "# The home is one mount, so that a file is moved into its place by rename(2).\n"
    "ReadWritePaths=%h -%C\n"
    "# What decides on the programs that the user runs, this file among it, as far as it is there.\n"
    "ReadOnlyPaths=-%E -%h/.local -%h/bin -%h/.profile -%h/.bash_profile -%h/.bash_login -%h/.bashrc "
    "-%h/.bash_logout -%h/.zshenv -%h/.zprofile -%h/.zshrc -%h/.zlogin -%h/.zlogout -%h/.xsessionrc -%h/.xprofile\n"
    "ReadWritePaths=-%E/quenmark\n";

bool isIn(const std::string& path, const std::string& folder) {
    return path == folder || folder == "/" || path.starts_with(folder + "/");
}

/// Without links; `otherwise` where nothing is there.
std::string withoutLinks(const std::string& path, const std::string& otherwise) {
    auto found = Platform::pathWithoutLinks(path);
    auto* real = std::get_if<0>(&found);
    return real == nullptr ? otherwise : std::move(*real);
}

/// The folders without links that the service writes to: the one that holds the Quenmark folder, unless it is one that
/// everybody writes to, and the Quenmark folder itself, where that is another one's.
std::vector<std::string> foldersOf(const std::string& path) {
    constexpr std::array<std::string_view, 3> common{"/", "/tmp", "/var/tmp"};
    std::vector<std::string> folders;
    const auto real = withoutLinks(path, path);
    if (std::ranges::find(common, real) == common.end())
        folders.push_back(real);
    const auto inside = withoutLinks(Files::appendingPathComponent(path, quenmarkFolderName),
                                     Files::appendingPathComponent(real, quenmarkFolderName));
    if (folders.empty() || !isIn(inside, folders.front()))
        folders.push_back(inside);
    return folders;
}

/// In quotes, as systemd.syntax(7) has it, with a specifier's sign doubled; missing is no error. A colon would end the
/// first path of BindPaths=.
std::string quoted(const std::string& path, std::string_view escaped) {
    std::string text = "\"-";
    for (const char character : path) {
        if (character == '%')
            text += '%';
        else if (escaped.find(character) != std::string_view::npos)
            text += '\\';
        text += character;
    }
    return text + "\"";
}

std::string lineFor(const std::string& folder) {
    // The service has folders of its own in their places.
    if (isIn(folder, "/tmp") || isIn(folder, "/var/tmp"))
        return "BindPaths=" + quoted(folder, "\\\":") + "\n";
    // A mount below the place where a disk is mounted would keep the disk in use after it was unmounted.
    const auto home = Platform::Environment::homeDirectory();
    const auto disk = isIn(folder, withoutLinks(home, home)) ? "/" : Platform::mountPointOf(folder);
    const auto& writable = disk == "/" ? folder : disk;
    return "ReadWritePaths=" + quoted(writable, "\\\"") + "\n";
}

/// Whether a drop-in of this text lets the service write to a folder without links.
bool letsWrite(const std::string& text, const std::string& folder) {
    const auto home = withoutLinks(Platform::Environment::homeDirectory(), Platform::Environment::homeDirectory());
    const auto settingsFolder = withoutLinks(Platform::Environment::configHome(), Platform::Environment::configHome());
    const std::array readOnly{settingsFolder, Files::appendingPathComponent(home, ".local"),
                              Files::appendingPathComponent(home, "bin")};
    if (isIn(folder, home) && std::ranges::none_of(readOnly, [&](const auto& place) { return isIn(folder, place); }))
        return true;
    for (auto place = folder; place != "/"; place = Files::deletingLastPathComponent(place))
        if (text.find("\n" + lineFor(place)) != std::string::npos)
            return true;
    return false;
}

} // namespace

std::string dropIn() {
    return Files::appendingPathComponent(Platform::Environment::configHome(),
                                         "systemd/user/quenmark.service.d/quenmark-setup.conf");
}

std::string textFor(const std::string& path) {
    std::string text = head + std::string(folderLine) + path + settings;
    for (const auto& folder : foldersOf(path))
        text += lineFor(folder);
    return text;
}

bool covers(const std::string& path) {
    const auto content = Files::contents(dropIn(), Platform::SettingsFile::maximumSize);
    const auto* text = std::get_if<std::string>(&content);
    if (text == nullptr || text->find(folderLine) == std::string::npos)
        return true;
    return std::ranges::all_of(foldersOf(path), [&](const auto& folder) { return letsWrite(*text, folder); });
}

} // namespace Tools::Sandbox
