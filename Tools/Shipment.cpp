#include "Tools/Shipment.h"

#include "Platform/Files/Files.h"
#include "Platform/Utf8.h"
#include "Tools/Failure.h"
#include "Tools/PercentEncoding.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <variant>

namespace Tools {

namespace Files = Platform::Files;
namespace fs = std::filesystem;

namespace {

constexpr char separator = '\\';

bool isControl(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20 || byte == 0x7f;
}

/// Why the text can be no part of an item's name; nil where it can.
std::optional<std::string> objection(std::string_view part) {
    if (part.empty() || part == "." || part == "..")
        return "a part of a name cannot be empty, \".\" or \"..\"";
    if (part.find_first_of("\\/") != std::string_view::npos)
        return "a part of a name cannot hold a slash or backslash";
    if (std::ranges::any_of(part, isControl))
        return "a name cannot hold control characters";
    if (Platform::firstInvalidUtf8(part) != std::string_view::npos)
        return "a name must be UTF-8";
    return std::nullopt;
}

std::optional<Failure> refusal(std::string_view part, std::string_view whole, ExitStatus status) {
    const auto why = objection(part);
    return why ? std::optional(Failure(status, "\"" + std::string(whole) + "\": " + *why)) : std::nullopt;
}

void require(std::string_view part, std::string_view whole, ExitStatus status) {
    if (const auto failure = refusal(part, whole, status))
        throw Failure(*failure);
}

std::vector<std::string> partsOf(std::string name) {
    std::ranges::replace(name, '/', separator);
    if (name.starts_with(separator))
        name.erase(0, 1);
    std::vector<std::string> parts;
    for (std::size_t start = 0; start <= name.size();) {
        const auto end = std::min(name.find(separator, start), name.size());
        parts.push_back(name.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}

std::string givenName(const std::string& name) {
    std::string wire;
    for (const auto& part : partsOf(name)) {
        require(part, name, ExitStatus::Usage);
        wire += separator + part;
    }
    return wire;
}

std::string localName(const std::string& path) {
    std::error_code failure;
    const auto name = Files::lastPathComponent(fs::absolute(path, failure).lexically_normal().string());
    require(name, path, ExitStatus::DataError);
    return separator + name;
}

Failure unreadable(const std::string& path, const std::error_code& failure) {
    return {ExitStatus::NoInput, path + ": " + failure.message()};
}

class Collector {
public:
    explicit Collector(Consignment& into) : into_(into) {}

    /// Adds the item, and what is in it; why it cannot be sent, where it cannot.
    std::optional<Failure> add(const std::string& path, const std::string& name, const fs::file_status& status) {
        if (fs::is_regular_file(status))
            return addFile(path, name);
        if (fs::is_directory(status))
            return addFolder(path, name);
        return Failure(ExitStatus::DataError, path + " is neither a file nor a folder");
    }

private:
    std::optional<Failure> addFile(const std::string& path, const std::string& name) {
        std::error_code failure;
        const auto size = fs::file_size(path, failure);
        if (failure)
            return unreadable(path, failure);
        into_.shipments.push_back({path, name, false, size});
        return std::nullopt;
    }

    std::optional<Failure> addFolder(const std::string& folder, const std::string& name) {
        const auto contents = Files::contentsOfDirectory(folder);
        if (const auto* error = std::get_if<Platform::Error>(&contents))
            return Failure(ExitStatus::NoInput, error->localizedDescription);
        into_.shipments.push_back({folder, name, true, 0});
        for (const auto& child : std::get<std::vector<std::string>>(contents)) {
            if (const auto failure = addChild(Files::appendingPathComponent(folder, child), child, name))
                into_.leftOut.emplace_back(failure->what());
        }
        return std::nullopt;
    }

    std::optional<Failure> addChild(const std::string& path, const std::string& child, const std::string& folder) {
        if (const auto failure = refusal(child, path, ExitStatus::DataError))
            return failure;
        std::error_code failure;
        const auto status = fs::symlink_status(path, failure);
        if (failure)
            return unreadable(path, failure);
        std::string name = folder;
        return add(path, name.append(1, separator).append(child), status);
    }

    Consignment& into_;
};

} // namespace

Consignment consignmentOf(const std::string& path, const std::optional<std::string>& name) {
    std::error_code failure;
    const auto status = fs::status(path, failure);
    if (!fs::exists(status))
        throw Failure(unreadable(path, failure ? failure : std::make_error_code(std::errc::no_such_file_or_directory)));
    Consignment consignment;
    if (const auto problem = Collector(consignment).add(path, name ? givenName(*name) : localName(path), status))
        throw Failure(*problem);
    return consignment;
}

std::string outboxTarget(const std::string& computer, const Shipment& shipment) {
    require(computer, computer, ExitStatus::Usage);
    std::string target = "/outbox/" + percentEncoded(computer);
    for (const auto& part : partsOf(shipment.name))
        target += "/" + percentEncoded(part);
    return shipment.isFolder ? target + "/" : target;
}

} // namespace Tools
