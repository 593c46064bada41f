// What a fetch looks for, as typed C++: QSNote::kMessageID.is(id) && QSNote::kIsRemote.is(false).
//
// Nothing but isNil() holds for an attribute without a value; !condition holds wherever the condition does not. Texts
// are compared byte by byte.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Value.h"

namespace qs {

struct Condition {
    enum class Kind { All, Is, IsOneOf, IsBelow, IsAbove, CountIs, LinksTo, IsRow, And, Or, Not };

    Kind kind = Kind::All;
    std::string_view property;     // outlives the condition: a constant, or a name in the model
    std::vector<Value> values;     // of the attribute's type; CountIs: the number; LinksTo, IsRow: the row
    std::vector<Condition> parts;  // of And, Or, Not

    friend Condition operator&&(Condition a, Condition b) { return {Kind::And, {}, {}, {std::move(a), std::move(b)}}; }
    friend Condition operator||(Condition a, Condition b) { return {Kind::Or, {}, {}, {std::move(a), std::move(b)}}; }
    friend Condition operator!(Condition a) { return {Kind::Not, {}, {}, {std::move(a)}}; }
};

// Ascending order as the store knows it: no value first, false before true, texts byte by byte.
int compareValues(const Value& a, const Value& b);

using TextArray = std::vector<std::string>;
using TextSet = std::set<std::string>;
using TextDictionary = std::map<std::string, std::string>;

// An attribute of a class of objects: its name in the model and the type of its values, one of bool, std::int64_t,
// double, std::string, Date, TextArray, TextSet, TextDictionary.
template <class T>
class Attribute {
public:
    constexpr explicit Attribute(std::string_view name) : name_(name) {}
    constexpr std::string_view name() const { return name_; }

    Condition is(const T& value) const { return {Condition::Kind::Is, name_, {Value(value)}, {}}; }
    // Holds for no object when the list is empty.
    Condition isOneOf(const std::vector<T>& values) const {
        return {Condition::Kind::IsOneOf, name_, {values.begin(), values.end()}, {}};
    }
    Condition isBelow(const T& value) const { return {Condition::Kind::IsBelow, name_, {Value(value)}, {}}; }
    Condition isAbove(const T& value) const { return {Condition::Kind::IsAbove, name_, {Value(value)}, {}}; }
    Condition isNil() const { return {Condition::Kind::Is, name_, {Value()}, {}}; }

private:
    std::string_view name_;
};

// A relationship to one object, or none, of class T.
template <class T>
class ToOne {
public:
    constexpr explicit ToOne(std::string_view name) : name_(name) {}
    constexpr std::string_view name() const { return name_; }

private:
    std::string_view name_;
};

template <class T>
class ToMany {
public:
    constexpr explicit ToMany(std::string_view name) : name_(name) {}
    constexpr std::string_view name() const { return name_; }
    Condition countIs(std::size_t count) const {
        return {Condition::Kind::CountIs, name_, {Value(static_cast<std::int64_t>(count))}, {}};
    }

private:
    std::string_view name_;
};

}  // namespace qs
