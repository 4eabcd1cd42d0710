#pragma once

#include "Platform/Ipc/ErrorNames.h"

#include <systemd/sd-bus.h>

#include <exception>
#include <new>

namespace Platform::Ipc {

/// Runs what the library calls: an exception must not pass through it. It becomes the error of the call.
template <class Function>
int guarded(sd_bus_error* error, const Function& function) {
    try {
        return function();
    } catch (const std::bad_alloc&) {
        return sd_bus_error_set(error, ErrorName::noMemory, "out of memory");
    } catch (const std::exception& exception) {
        return sd_bus_error_set(error, ErrorName::failed, exception.what());
    } catch (...) {
        return sd_bus_error_set(error, ErrorName::failed, "an unknown exception");
    }
}

} // namespace Platform::Ipc
