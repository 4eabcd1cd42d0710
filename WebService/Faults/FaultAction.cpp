#include "WebService/Faults/FaultAction.h"

namespace webservice {

namespace {

void change(Response& response, const std::shared_ptr<const Transmission>& transmission) {
    response.transmission = transmission;
}

void change(Response& response, const StatusFault& fault) {
    response = {.status = fault.code, .headers = {}, .body = fault.body, .file = std::nullopt};
}

void change(Response& response, const BodyFault& fault) {
    response.body = fault.text;
    response.file.reset();
}

void change(Response& response, const CorruptFault& fault) {
    if (fault.atByte >= response.length())
        return;
    if (response.file)
        response.file->corruptOffset = response.file->offset + fault.atByte;
    else
        response.body[fault.atByte] ^= 1;
}

} // namespace

void applyFault(const FaultAction& action, Response& response) {
    std::visit([&](const auto& fault) { change(response, fault); }, action);
}

} // namespace webservice
