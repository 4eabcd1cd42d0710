#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Tools {

/// One item that is to be queued at a development web service.
struct Shipment {
    std::string localPath;
    /// Its name for the receiving computer: "\Docs\a.txt".
    std::string name;
    bool isFolder = false;
    /// In bytes; 0 for a folder.
    std::uint64_t size = 0;

    bool operator==(const Shipment&) const = default;
};

/// What there is to send of a file or folder: the item itself and, behind each folder, what is in it, by name.
struct Consignment {
    std::vector<Shipment> shipments;
    /// What of the folder cannot be sent, and is left out: its path, and why. Symbolic links are among it.
    std::vector<std::string> leftOut;
};

/// Lists the file or folder. `name` is its name for the receiving computer, with "\" or "/" between its parts
/// and in front or not; nil is the local name. Throws Failure where there is nothing that can be read, or that can be
/// sent.
Consignment consignmentOf(const std::string& path, const std::optional<std::string>& name);

/// The path at the development web service's HTTP server that queues the item for the computer (percent-encoded as
/// RFC 3986, section 2.1, says; a folder's ends in "/"). Throws Failure for what can be no computer's name.
std::string outboxTarget(const std::string& computer, const Shipment& shipment);

} // namespace Tools
