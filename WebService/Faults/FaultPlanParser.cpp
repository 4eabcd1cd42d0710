#include "WebService/Faults/FaultPlanParser.h"

#include "WebService/Common/RequestError.h"
#include "WebService/Faults/PlanValue.h"

#include <algorithm>
#include <array>
#include <set>

namespace webservice {

namespace {

constexpr std::size_t maxFaults = 1000;

std::shared_ptr<const Transmission> transmission(Transmission how) {
    return std::make_shared<const Transmission>(std::move(how));
}

FaultAction cut(PlanMembers& members, Transmission::End end) {
    return transmission({.cut = Transmission::Cut{.afterBytes = members.required("afterBytes").integer(), .end = end}});
}

FaultAction reset(PlanMembers& members) {
    return cut(members, Transmission::End::Reset);
}

FaultAction close(PlanMembers& members) {
    return cut(members, Transmission::End::Close);
}

FaultAction stall(PlanMembers& members) {
    const std::uint64_t bytes = members.required("afterBytes").integer();
    const auto time = members.required("seconds").seconds();
    return transmission(
        {.cut = Transmission::Cut{.afterBytes = bytes, .end = Transmission::End::Stall, .stall = time}});
}

FaultAction delay(PlanMembers& members) {
    return transmission({.delay = members.required("seconds").seconds()});
}

FaultAction throttle(PlanMembers& members) {
    return transmission({.bytesPerSecond = members.required("bytesPerSecond").integer(1)});
}

FaultAction status(PlanMembers& members) {
    const auto code = static_cast<int>(members.required("code").integer(200, 599));
    const auto body = members.required("body");
    auto text = body.text();
    // A client would read what follows as the next response (RFC 9110, section 6.4.1).
    if ((code == 204 || code == 304) && !text.empty())
        body.refuse("must be empty with 204 and 304");
    return StatusFault{.code = code, .body = std::move(text)};
}

FaultAction body(PlanMembers& members) {
    return BodyFault{.text = members.required("text").text()};
}

/// A field name is a token (RFC 9110, section 5.6.2).
void checkFieldName(const PlanValue& place, std::string_view name) {
    constexpr std::string_view marks = "!#$%&'*+-.^_`|~";
    const auto isTokenCharacter = [&](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
               marks.find(c) != std::string_view::npos;
    };
    if (name.empty() || !std::ranges::all_of(name, isTokenCharacter))
        place.refuse("is no name of a header field");
}

std::string fieldValue(const PlanValue& place) {
    std::string value = place.text();
    if (std::ranges::any_of(value, [](unsigned char c) { return c < 0x20 || c == 0x7f; }))
        place.refuse("must not have control characters");
    return value;
}

FaultAction headers(PlanMembers& members) {
    Transmission::HeaderChanges changes;
    const PlanValue set = members.required("set");
    for (const auto& field : set.object()) {
        const PlanValue value = set.member(field.key());
        checkFieldName(value, field.key());
        changes.set.emplace_back(field.key(), fieldValue(value));
    }
    const PlanValue remove = members.required("remove");
    for (std::size_t index = 0; index < remove.list().size(); ++index) {
        const PlanValue name = remove.entry(index);
        changes.remove.push_back(name.text());
        checkFieldName(name, changes.remove.back());
    }
    return transmission({.headers = std::move(changes)});
}

FaultAction corrupt(PlanMembers& members) {
    return CorruptFault{.atByte = members.required("atByte").integer()};
}

struct Kind {
    std::string_view name;
    FaultAction (*parse)(PlanMembers& members);
};

constexpr std::array kinds = {
    Kind{"reset", &reset}, Kind{"close", &close},       Kind{"stall", &stall},
    Kind{"delay", &delay}, Kind{"throttle", &throttle}, Kind{"status", &status},
    Kind{"body", &body},   Kind{"headers", &headers},   Kind{"corrupt", &corrupt},
};

FaultAction parseAction(const PlanValue& value) {
    PlanMembers members(value);
    const PlanValue kind = members.required("kind");
    const std::string name = kind.text();
    const auto* const found = std::ranges::find(kinds, name, &Kind::name);
    if (found == kinds.end())
        kind.refuse("there is no kind \"" + shortened(name) + '"');
    FaultAction action = found->parse(members);
    members.refuseOthers();
    return action;
}

Fault parseFault(const PlanValue& value) {
    PlanMembers members(value);
    Fault fault;
    if (const auto path = members.optional("path"))
        fault.path = path->selector();
    if (const auto computer = members.optional("computer"))
        fault.computer = computer->selector();
    if (const auto skip = members.optional("skip"))
        fault.skip = skip->integer();
    if (const auto times = members.optional("times"))
        fault.times = times->integer();
    fault.action = parseAction(members.required("action"));
    // A plan that was read from the service has its counters.
    members.optional("seen");
    members.optional("applied");
    members.refuseOthers();
    fault.source = value.object();
    return fault;
}

/// The line and the column of a byte, counted from 1.
std::string placeOfByte(std::string_view text, std::size_t byte) {
    const std::string_view before = text.substr(0, byte);
    const auto lines = std::ranges::count(before, '\n');
    return "line " + std::to_string(lines + 1) + ", column " + std::to_string(byte - (before.rfind('\n') + 1) + 1);
}

boost::json::value parseJson(std::string_view text) {
    if (text.size() > maxFaultPlanSize)
        refusePlan(placeOfByte(text, maxFaultPlanSize), faultPlanIsTooLong);
    boost::json::stream_parser parser;
    boost::json::error_code error;
    const std::size_t read = parser.write(text.data(), text.size(), error);
    if (!error)
        parser.finish(error);
    if (error)
        refusePlan(placeOfByte(text, read), error.message());
    return parser.release();
}

/// The string that begins at a byte of a valid JSON text, with its quotes.
std::string_view stringAt(std::string_view text, std::size_t begin) {
    std::size_t end = begin + 1;
    while (text[end] != '"')
        end += text[end] == '\\' ? 2 : 1;
    return text.substr(begin, end + 1 - begin);
}

/// The parser keeps the last of two members of one name, so that a fault would not be the one that is read first. The
/// text is valid JSON.
void refuseRepeatedMembers(std::string_view text) {
    std::vector<std::set<std::string>> names; // of the objects that have not ended
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '{')
            names.emplace_back();
        else if (text[at] == '}')
            names.pop_back();
        if (text[at] != '"')
            continue;
        const std::string_view token = stringAt(text, at);
        const std::size_t next = text.find_first_not_of(" \t\r\n", at + token.size());
        if (next != std::string_view::npos && text[next] == ':' &&
            !names.back().insert(boost::json::value_to<std::string>(boost::json::parse(token))).second)
            refusePlan(placeOfByte(text, at), "this member is already there");
        at += token.size() - 1;
    }
}

} // namespace

FaultPlan parseFaultPlan(std::string_view text) {
    const boost::json::value value = parseJson(text);
    refuseRepeatedMembers(text);
    if (!value.is_object())
        refusePlan(placeOfByte(text, 0), "a plan is an object");
    PlanMembers members(PlanValue(value, ""));
    const PlanValue list = members.required("faults");
    if (list.list().size() > maxFaults)
        list.refuse("has more than " + std::to_string(maxFaults) + " entries");
    std::vector<Fault> faults;
    for (std::size_t index = 0; index < list.list().size(); ++index)
        faults.push_back(parseFault(list.entry(index)));
    members.refuseOthers();
    return FaultPlan(std::move(faults));
}

} // namespace webservice
