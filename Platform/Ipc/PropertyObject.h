#pragma once

#include "Platform/Ipc/Value.h"

#include <concepts>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace Platform::Ipc {

class Bus;

/// Dictionaries in order: aa{sv} (D-Bus Specification, "Type System").
using Dictionaries = std::vector<Dictionary>;
/// The value of a property: t, x, s or aa{sv}.
using PropertyValue = std::variant<std::uint64_t, std::int64_t, std::string, Dictionaries>;

/// A property that other programs may read.
struct BusProperty {
    /// How readers learn of another value (D-Bus Specification, org.freedesktop.DBus.Property.EmitsChangedSignal).
    enum class Change {
        /// There is none.
        Never,
        /// It is announced.
        Announced,
        /// They read it again.
        Unannounced,
    };

    /// `read` returns the value as it is at the moment: exactly one of the types of `PropertyValue`. It runs while the
    /// bus dispatches a call, and an exception that leaves it becomes that call's error. A string that is no
    /// well-formed UTF-8, or holds a zero byte, makes the call fail.
    template <std::invocable Read>
    BusProperty(std::string propertyName, Change howItChanges, Read read)
        : name(std::move(propertyName)), change(howItChanges), signature(signatureOf<std::invoke_result_t<Read>>()),
          value([read = std::move(read)] { return PropertyValue(read()); }) {}

    std::string name;
    Change change;
    const char* signature;
    std::function<PropertyValue()> value;

private:
    template <class Type>
    static constexpr const char* signatureOf() {
        if constexpr (std::same_as<Type, std::uint64_t>) {
            return "t";
        } else if constexpr (std::same_as<Type, std::int64_t>) {
            return "x";
        } else if constexpr (std::same_as<Type, std::string>) {
            return "s";
        } else {
            static_assert(std::same_as<Type, Dictionaries>);
            return "aa{sv}";
        }
    }
};

/// An object that a service publishes beside its own one: an interface of properties that every program may read and
/// none may write. Programs that read it are no peers of the service. One service publishes it.
class PropertyObject {
public:
    PropertyObject(std::string path, std::string interface, std::vector<BusProperty> properties);

    const std::string& path() const { return path_; }
    const std::string& interface() const { return interface_; }
    const std::vector<BusProperty>& properties() const { return properties_; }

    /// Called, while the bus dispatches a message, whenever the service that publishes the object has got its name.
    void setReachableHandler(std::function<void()> handler) { reachable_ = std::move(handler); }
    /// Announces that the properties whose changes are announced may have other values. Nothing where the object is not
    /// on the bus at the moment.
    void announceChanges() const;

private:
    friend class BusService;

    const std::string path_;
    const std::string interface_;
    const std::vector<BusProperty> properties_;
    std::function<void()> reachable_;
    /// The connection on which it is published now.
    std::weak_ptr<Bus> bus_;
};

} // namespace Platform::Ipc
