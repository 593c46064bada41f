// The base of C++ objects that templates may look at, and the protocols that such an object may answer: keys by an
// explicit table, keys like a dictionary, enumeration. Rendering, filters and tag delegates have headers of their own.
#pragma once

#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "GRMustacheValue.h"

namespace qs {

class GRMustacheFastEnumeration;
class GRMustacheFilter;
class GRMustacheKeyedSubscript;
class GRMustacheRendering;
class GRMustacheTagDelegate;

class GRMustacheObject {
public:
    virtual ~GRMustacheObject() = default;

    // What a variable tag shows.
    virtual std::string description() const { return "<object>"; }
    // Nil for a key that the object doesn't expose. With `unsafeKeyAccess` also keys that it holds back from templates.
    virtual GRMustacheValue valueForMustacheKey(std::string_view /*key*/, bool /*unsafeKeyAccess*/) const { return {}; }

    // The protocols that it answers. Classes derive from the protocols, which answer these.
    virtual const GRMustacheKeyedSubscript* asKeyedSubscript() const { return nullptr; }
    virtual const GRMustacheFastEnumeration* asFastEnumeration() const { return nullptr; }
    virtual const GRMustacheRendering* asRendering() const { return nullptr; }
    virtual const GRMustacheFilter* asFilter() const { return nullptr; }
    virtual GRMustacheTagDelegate* asTagDelegate() { return nullptr; }
};

// Answers any key by itself, like a dictionary: no key is unsafe.
class GRMustacheKeyedSubscript : public virtual GRMustacheObject {
public:
    virtual GRMustacheValue objectForKeyedSubscript(std::string_view key) const = 0;
    // Nothing when the keys can't be listed.
    virtual std::optional<std::vector<std::string>> allKeys() const { return std::nullopt; }
    const GRMustacheKeyedSubscript* asKeyedSubscript() const final { return this; }
};

// A list of values.
class GRMustacheFastEnumeration : public virtual GRMustacheObject {
public:
    virtual std::size_t count() const = 0;
    virtual GRMustacheValue itemAt(std::size_t index) const = 0;
    const GRMustacheFastEnumeration* asFastEnumeration() const final { return this; }
};

template <class T>
struct GRMustacheKey {
    std::string_view name;
    GRMustacheValue (T::*value)() const;
};

// Exposes the keys of a table: class Person : public GRMustacheKeyTable<Person>, with
//     static std::span<const GRMustacheKey<Person>> mustacheKeys();
// All of them are safe, unless the class also has
//     static std::span<const std::string_view> safeMustacheKeys();
// which then lists the safe ones; the others need unsafe key access.
template <class T>
class GRMustacheKeyTable : public virtual GRMustacheObject {
public:
    GRMustacheValue valueForMustacheKey(std::string_view key, bool unsafeKeyAccess) const override {
        for (const GRMustacheKey<T>& each : T::mustacheKeys())
            if (each.name == key && (unsafeKeyAccess || isSafe(key)))
                return (static_cast<const T*>(this)->*each.value)();
        return {};
    }

private:
    static bool isSafe([[maybe_unused]] std::string_view key) {
        if constexpr (requires { T::safeMustacheKeys(); }) {
            for (const std::string_view safe : T::safeMustacheKeys())
                if (safe == key) return true;
            return false;
        } else {
            return true;
        }
    }
};

}  // namespace qs
