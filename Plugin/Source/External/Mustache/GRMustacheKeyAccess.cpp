#include "GRMustacheKeyAccess.h"

#include <algorithm>
#include <span>

#include "GRMustacheCase.h"
#include "GRMustacheObject.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

using Kind = GRMustacheValue::Kind;

// One thing that values of a kind tell about themselves.
struct Getter {
    std::string_view key;
    GRMustacheValue (*get)(const GRMustacheValue& value);
};

// A surrogate pair counts as two, so that lengths are those of the string type that templates were written for.
GRMustacheValue utf16Length(const GRMustacheValue& value) {
    std::int64_t length = 0;
    for (std::string_view rest = value.string(); !rest.empty();) {
        const std::size_t bytes = std::max<std::size_t>(1, utf8CharacterLength(rest));
        length += bytes == 4 ? 2 : 1;
        rest.remove_prefix(bytes);
    }
    return length;
}

std::string_view lastComponent(std::string_view path) {
    while (path.size() > 1 && path.back() == '/')
        path.remove_suffix(1);
    const auto slash = path.rfind('/');
    return slash == std::string_view::npos || path.size() == 1 ? path : path.substr(slash + 1);
}

std::string_view extension(std::string_view path) {
    const std::string_view name = lastComponent(path);
    const auto dot = name.rfind('.');
    return dot == std::string_view::npos || dot == 0 ? std::string_view() : name.substr(dot + 1);
}

constexpr double kReferenceDate = 978'307'200;  // 2001-01-01, in seconds since 1970

GRMustacheValue asBoolean(const GRMustacheValue& value) { return value.boolValue(); }
GRMustacheValue asInteger(const GRMustacheValue& value) { return value.plistValue().integerValue(); }
GRMustacheValue asReal(const GRMustacheValue& value) { return value.plistValue().doubleValue(); }

constexpr Getter kNumberKeys[] = {
    {"boolValue", asBoolean},
    {"intValue", asInteger},
    {"integerValue", asInteger},
    {"longLongValue", asInteger},
    {"floatValue", asReal},
    {"doubleValue", asReal},
    {"stringValue", [](const GRMustacheValue& value) -> GRMustacheValue { return value.description(); }},
};
constexpr Getter kStringKeys[] = {
    {"length", utf16Length},
    {"boolValue", asBoolean},
    {"intValue", asInteger},
    {"integerValue", asInteger},
    {"longLongValue", asInteger},
    {"floatValue", asReal},
    {"doubleValue", asReal},
    {"lowercaseString",
     [](const GRMustacheValue& value) -> GRMustacheValue { return mustacheLowercase(value.string()); }},
    {"uppercaseString",
     [](const GRMustacheValue& value) -> GRMustacheValue { return mustacheUppercase(value.string()); }},
    {"capitalizedString",
     [](const GRMustacheValue& value) -> GRMustacheValue { return mustacheCapitalized(value.string()); }},
    {"lastPathComponent",
     [](const GRMustacheValue& value) -> GRMustacheValue { return lastComponent(value.string()); }},
    {"pathExtension", [](const GRMustacheValue& value) -> GRMustacheValue { return extension(value.string()); }},
};
constexpr Getter kDateKeys[] = {
    {"timeIntervalSince1970",
     [](const GRMustacheValue& value) -> GRMustacheValue { return value.plistValue().dateValue()->secondsSince1970; }},
    {"timeIntervalSinceReferenceDate",
     [](const GRMustacheValue& value) -> GRMustacheValue {
         return value.plistValue().dateValue()->secondsSince1970 - kReferenceDate;
     }},
};
constexpr Getter kDataKeys[] = {
    {"length",
     [](const GRMustacheValue& value) -> GRMustacheValue {
         return static_cast<std::int64_t>(value.plistValue().dataValue().bytes.size());
     }},
};
constexpr Getter kCollectionKeys[] = {
    {"count", [](const GRMustacheValue& value) -> GRMustacheValue { return static_cast<std::int64_t>(value.count()); }},
    {"firstObject",
     [](const GRMustacheValue& value) { return value.count() == 0 ? GRMustacheValue() : value.itemAt(0); }},
    {"lastObject",
     [](const GRMustacheValue& value) {
         return value.count() == 0 ? GRMustacheValue() : value.itemAt(value.count() - 1);
     }},
};

std::span<const Getter> keysOf(const GRMustacheValue& value) {
    switch (value.kind()) {
    case Kind::Boolean:
    case Kind::Integer:
    case Kind::Real: return kNumberKeys;
    case Kind::String: return kStringKeys;
    case Kind::Date: return kDateKeys;
    case Kind::Data: return kDataKeys;
    default: return value.isCollection() ? std::span<const Getter>(kCollectionKeys) : std::span<const Getter>();
    }
}

}  // namespace

GRMustacheValue GRMustacheKeyAccess::valueForMustacheKey(const GRMustacheName& key, const GRMustacheValue& inObject,
                                                         bool unsafeKeyAccess) {
    GRMustacheValue value;
    findValueForMustacheKey(key, inObject, unsafeKeyAccess, value);
    return value;
}

bool GRMustacheKeyAccess::findExposed(std::string_view key, const GRMustacheValue& inObject, bool unsafeKeyAccess,
                                      GRMustacheValue& value) {
    if (const GRMustacheObject* object = inObject.object()) {
        value = object->valueForMustacheKey(key, unsafeKeyAccess).keptWith(inObject);
        if (!value.isNil()) return true;
    }
    for (const Getter& each : keysOf(inObject)) {
        if (each.key != key) continue;
        value = each.get(inObject);
        return !value.isNil();
    }
    return false;
}

}  // namespace qs
