#include "Tools/Status/Advice.h"

#include "Platform/Printable.h"
#include "Platform/UrlLoading/UrlRequest.h"
#include "Tools/Output.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace Tools {

namespace UrlError = Platform::UrlError;

namespace {

constexpr std::size_t longestText = 200;

/// What happened, and what a person can look at. "@" stands for the web service's address.
struct Cause {
    std::string what;
    std::string check;
};

constexpr const char* checkAddress = "check that the web service runs at @, the address of deployment.json";
constexpr const char* checkNetwork = "check the network between this machine and @";
constexpr const char* checkTrust = "check the certificate of @, and the authorities that deployment.json names";
constexpr const char* checkServer = "check computerIdKey, and that @ is the right web service";

/// The number behind a prefix, which must be all of the rest; nil where the text is another.
template <class Number>
std::optional<Number> numberBehind(std::string_view text, std::string_view prefix, std::string_view suffix = "") {
    if (!text.starts_with(prefix) || !text.ends_with(suffix) || text.size() < prefix.size() + suffix.size())
        return std::nullopt;
    text.remove_prefix(prefix.size());
    text.remove_suffix(suffix.size());
    Number number{};
    const auto [end, error] = std::from_chars(text.begin(), text.end(), number);
    return error == std::errc() && end == text.end() ? std::optional(number) : std::nullopt;
}

Cause transportCause(int code) {
    switch (code) {
    case UrlError::BadUrl:
        return {"The web service's address cannot be used", checkAddress};
    case UrlError::TimedOut:
        return {"The web service did not respond in time", checkNetwork};
    case UrlError::CannotFindHost:
        return {"The web service's host name was not found", checkAddress};
    case UrlError::CannotConnectToHost:
        return {"The web service cannot be connected to", checkAddress};
    case UrlError::NetworkConnectionLost:
        return {"The connection to the web service was lost", checkNetwork};
    case UrlError::TooManyRedirects:
        return {"The web service redirects without end", checkAddress};
    case UrlError::BadServerResponse:
        return {"The web service does not speak HTTP", checkAddress};
    case UrlError::SecureConnectionFailed:
        return {"No TLS connection to the web service can be made", checkTrust};
    case UrlError::ServerCertificateUntrusted:
        return {"The web service's certificate is not accepted", checkTrust};
    default:
        return {"The transfer failed with error " + std::to_string(code), checkNetwork};
    }
}

Cause causeOf(const std::string& reason) {
    if (reason == "no network")
        return {"This machine has no network", "connect it"};
    if (const auto code = numberBehind<int>(reason, "transport "))
        return transportCause(*code);
    if (const auto number = numberBehind<int>(reason, "status "))
        return {"The web service refused with status " + std::to_string(*number), checkServer};
    if (const auto number = numberBehind<int>(reason, "acknowledgement refused "))
        return {"The web service refused an item's acknowledgement with status " + std::to_string(*number),
                checkServer};
    if (reason == "acknowledgement failed")
        return {"The web service did not confirm an item's acknowledgement", checkNetwork};
    if (reason == "bad response")
        return {"The web service's response cannot be read", checkServer};
    if (reason == "not flushed")
        return {"An item could not be flushed to disk", "check the disk of the Quenmark folder"};
    return {reason.empty() ? "Something failed" : "It failed (" + shown(reason) + ")", "look into the service's log"};
}

std::string sentence(const Cause& cause, const std::string& serviceRoot, const char* next) {
    std::string check = cause.check;
    if (const auto place = check.find('@'); place != std::string::npos)
        check.replace(place, 1, shown(serviceRoot));
    return cause.what + ": " + check + "; " + next;
}

std::string blockedSentence(const std::string& reason) {
    constexpr const char* next = "; the item then arrives by itself";
    if (reason == "name leaves the folder")
        return "The item's name leads out of the Quenmark folder: remove the item at the web service";
    if (reason == "folder in the way")
        return std::string("A folder has the item's name: move or rename it") + next;
    if (reason == "file in the way")
        return std::string("A file is where a folder of the item has to be: move or rename it") + next;
    if (const auto missing = numberBehind<std::uint64_t>(reason, "disk full: ", " bytes missing"))
        return "The disk is full: free " + byteCount(*missing) + " or more on that of the Quenmark folder" + next;
    constexpr std::string_view notWritable = "not writable: ";
    if (reason.starts_with(notWritable))
        return shown(std::string_view(reason).substr(notWritable.size())) +
               " cannot be written to: let this user write there, or mount its disk" + next;
    return "The item cannot be placed (" + shown(reason) + "): look into the service's log";
}

} // namespace

std::string shown(std::string_view text) {
    if (text.size() <= longestText)
        return Platform::printable(text);
    return Platform::printable(beginning(text, longestText)) + "…";
}

std::optional<std::string> adviceOn(const EngineStatus& engine, const std::string& serviceRoot) {
    constexpr const char* byItself = "it is tried again by itself";
    if (engine.state == "created")
        return adviceToStart;
    if (engine.state == "unconfigured")
        return shown(engine.reason) + " is not set, so that nothing is asked for: run: quenmark prefs set " +
               shown(engine.reason) + " VALUE";
    if (engine.state == "blocked")
        return blockedSentence(engine.reason);
    if (engine.state == "stalled")
        return sentence(causeOf(engine.reason), serviceRoot, "then run: quenmark start");
    const bool hasFailedBefore = engine.state == "idle" && !engine.reason.empty();
    if (engine.state == "offline" || engine.state == "retrying" || hasFailedBefore)
        return sentence(causeOf(engine.reason), serviceRoot, byItself);
    return std::nullopt;
}

std::optional<std::string> adviceOnLostItems(const EngineStatus& engine) {
    const std::uint64_t count = engine.itemsLost.value_or(0);
    if (count == 0)
        return std::nullopt;
    std::string text = count == 1 ? "1 item was" : std::to_string(count) + " items were";
    text += " acknowledged and not placed";
    if (engine.lastLostItem)
        text += ", at last " + shown(*engine.lastLostItem);
    if (engine.lastLostReason)
        text += " (" + shown(*engine.lastLostReason) + ")";
    return text + ": send again what is missing; managed mode loses nothing";
}

} // namespace Tools
