#include "GRMustacheValue.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "Foundation/Format.h"
#include "GRMustacheName.h"
#include "GRMustacheObject.h"

namespace qs {

namespace {

// Null for an unknown key.
template <class Entries>
const typename Entries::mapped_type* findIn(const Entries& entries, const GRMustacheName& key) {
    constexpr std::size_t few = 8;
    if (entries.size() > few) {
        const auto found = entries.find(key);
        return found == entries.end() ? nullptr : &found->second;
    }
    // A look at the lengths is quicker than a search.
    for (const auto& [name, value] : entries)
        if (name == key.text()) return &value;
    return nullptr;
}

}  // namespace

GRMustacheValue::GRMustacheValue(std::string text) : kind_(Kind::String) {
    auto kept = std::make_shared<const std::string>(std::move(text));
    held_.text = {kept->data(), kept->size()};
    owner_ = std::move(kept);
}

GRMustacheValue::GRMustacheValue(const Value& value) {
    switch (value.type()) {
    case ValueType::Nil:
    case ValueType::Boolean:
    case ValueType::Integer:
    case ValueType::Real:
    case ValueType::Date: referTo(value, nullptr); break;
    default: {
        const auto kept = std::make_shared<const Value>(value);
        referTo(*kept, kept);
    }
    }
}

GRMustacheValue::GRMustacheValue(GRMustacheArray array) : kind_(Kind::List) {
    auto kept = std::make_shared<const GRMustacheArray>(std::move(array));
    held_.array = kept.get();
    owner_ = std::move(kept);
}

GRMustacheValue::GRMustacheValue(GRMustacheDictionary dictionary) : kind_(Kind::Table) {
    auto kept = std::make_shared<const GRMustacheDictionary>(std::move(dictionary));
    held_.dictionary = kept.get();
    owner_ = std::move(kept);
}

GRMustacheValue GRMustacheValue::null() {
    GRMustacheValue null;
    null.kind_ = Kind::Null;
    return null;
}

GRMustacheValue GRMustacheValue::borrowing(const Value& value) {
    GRMustacheValue borrowed;
    borrowed.referTo(value, nullptr);
    return borrowed;
}

GRMustacheValue GRMustacheValue::borrowingString(std::string_view text) {
    GRMustacheValue string;
    string.kind_ = Kind::String;
    string.held_.text = {text.data(), text.size()};
    return string;
}

GRMustacheValue GRMustacheValue::borrowing(GRMustacheObject& object) {
    GRMustacheValue value;
    value.kind_ = Kind::Object;
    value.held_.object = &object;
    return value;
}

void GRMustacheValue::referTo(const Value& value, const std::shared_ptr<const void>& owner) {
    switch (value.type()) {
    case ValueType::Nil: kind_ = Kind::Nil; return;
    case ValueType::Boolean:
        kind_ = Kind::Boolean;
        held_.boolean = value.boolValue();
        return;
    case ValueType::Integer:
        kind_ = Kind::Integer;
        held_.integer = value.integerValue();
        return;
    case ValueType::Real:
        kind_ = Kind::Real;
        held_.real = value.doubleValue();
        return;
    case ValueType::Date:
        kind_ = Kind::Date;
        held_.real = value.dateValue()->secondsSince1970;
        return;
    case ValueType::String: {
        const std::string& text = value.string();
        kind_ = Kind::String;
        held_.text = {text.data(), text.size()};
        break;
    }
    case ValueType::Data:
        kind_ = Kind::Data;
        held_.plist = &value;
        break;
    case ValueType::Array:
        kind_ = Kind::PlistArray;
        held_.plist = &value;
        break;
    case ValueType::Dictionary:
        kind_ = Kind::PlistDictionary;
        held_.plist = &value;
        break;
    }
    owner_ = owner;
}

void GRMustacheValue::referToElement(const Value& value, const std::shared_ptr<const void>& owner) {
    if (value.isNil())
        kind_ = Kind::Null;
    else
        referTo(value, owner);
}

GRMustacheValue GRMustacheValue::keptWith(const GRMustacheValue& other) const {
    GRMustacheValue value = *this;
    if (!value.owner_) value.owner_ = other.owner_;
    return value;
}

GRMustacheValue GRMustacheValue::borrowed() const {
    GRMustacheValue value;
    value.kind_ = kind_;
    value.held_ = held_;
    return value;
}

GRMustacheValue GRMustacheValue::retained() const {
    switch (kind_) {
    case Kind::String: return owner_ ? *this : string();
    case Kind::Data:
    case Kind::PlistArray:
    case Kind::PlistDictionary: return owner_ ? *this : *held_.plist;
    case Kind::List: {
        GRMustacheArray items;
        std::transform(held_.array->begin(), held_.array->end(), std::back_inserter(items),
                       [](const GRMustacheValue& item) { return item.retained(); });
        return items;
    }
    case Kind::Table: {
        GRMustacheDictionary entries;
        for (const auto& [key, value] : *held_.dictionary)
            entries.emplace(key, value.retained());
        return entries;
    }
    default: return *this;
    }
}

bool GRMustacheValue::boolValue() const {
    switch (kind_) {
    case Kind::Boolean: return held_.boolean;
    case Kind::Integer: return held_.integer != 0;
    case Kind::Real: return held_.real != 0;
    case Kind::String: return Value(string()).boolValue();
    default: return false;
    }
}

Value GRMustacheValue::plistValue() const {
    switch (kind_) {
    case Kind::Boolean: return held_.boolean;
    case Kind::Integer: return held_.integer;
    case Kind::Real: return held_.real;
    case Kind::String: return string();
    case Kind::Date: return Date{held_.real};
    case Kind::Data:
    case Kind::PlistArray:
    case Kind::PlistDictionary: return *held_.plist;
    case Kind::List: {
        qs::Array items;
        std::transform(held_.array->begin(), held_.array->end(), std::back_inserter(items),
                       [](const GRMustacheValue& item) { return item.plistValue(); });
        return items;
    }
    case Kind::Table: {
        qs::Dictionary entries;
        for (const auto& [key, value] : *held_.dictionary)
            entries.emplace(key, value.plistValue());
        return entries;
    }
    default: return {};
    }
}

bool GRMustacheValue::isCollection() const {
    return kind_ == Kind::PlistArray || kind_ == Kind::List ||
           (kind_ == Kind::Object && held_.object->asFastEnumeration());
}

std::size_t GRMustacheValue::count() const {
    switch (kind_) {
    case Kind::PlistArray: return held_.plist->array().size();
    case Kind::List: return held_.array->size();
    case Kind::Object: return held_.object->asFastEnumeration() ? held_.object->asFastEnumeration()->count() : 0;
    default: return 0;
    }
}

GRMustacheValue GRMustacheValue::itemAt(std::size_t index) const {
    if (kind_ == Kind::PlistArray) {
        GRMustacheValue item;
        item.referToElement(held_.plist->array()[index], owner_);
        return item;
    }
    if (kind_ == Kind::List) {
        const GRMustacheValue& item = (*held_.array)[index];
        return item.isNil() ? null() : item.keptWith(*this);
    }
    if (kind_ == Kind::Object && held_.object->asFastEnumeration())
        return held_.object->asFastEnumeration()->itemAt(index).keptWith(*this);
    return {};
}

bool GRMustacheValue::isKeyedObject() const { return held_.object->asKeyedSubscript() != nullptr; }

GRMustacheValue GRMustacheValue::objectForKeyedSubscript(const GRMustacheName& key) const {
    GRMustacheValue value;
    findKeyedSubscript(key, value);
    return value;
}

bool GRMustacheValue::findKeyedSubscript(const GRMustacheName& key, GRMustacheValue& value) const {
    if (kind_ == Kind::PlistDictionary) return takeEntry(findIn(held_.plist->dictionary(), key), value);
    if (kind_ == Kind::Table) {
        const GRMustacheValue* found = findIn(*held_.dictionary, key);
        if (!found) return false;
        value = found->isNil() ? null() : found->keptWith(*this);
        return true;
    }
    if (isKeyed()) value = held_.object->asKeyedSubscript()->objectForKeyedSubscript(key.text()).keptWith(*this);
    return !value.isNil();
}

const qs::Dictionary* GRMustacheValue::plistDictionary() const {
    return kind_ == Kind::PlistDictionary ? &held_.plist->dictionary() : nullptr;
}

bool GRMustacheValue::takeEntry(const Value* entry, GRMustacheValue& value) const {
    if (!entry) return false;
    value.referToElement(*entry, owner_);
    return true;
}

std::optional<std::vector<std::string>> GRMustacheValue::keysOfDictionary() const {
    std::vector<std::string> keys;
    if (kind_ == Kind::PlistDictionary)
        for (const auto& [key, value] : held_.plist->dictionary())
            keys.push_back(key);
    else if (kind_ == Kind::Table)
        for (const auto& [key, value] : *held_.dictionary)
            keys.push_back(key);
    else
        return {};
    return keys;
}

std::string GRMustacheValue::description() const {
    std::string text;
    appendDescription(text);
    return text;
}

std::string GRMustacheValue::debugDescription() const {
    if (isNil()) return "(null)";
    return kind_ == Kind::Null ? "<null>" : description();
}

void GRMustacheValue::appendDescription(std::string& out) const {
    switch (kind_) {
    case Kind::Nil:
    case Kind::Null: break;
    case Kind::String: out.append(held_.text.start, held_.text.length); break;
    case Kind::Boolean: out += held_.boolean ? '1' : '0'; break;
    case Kind::Integer: {
        std::array<char, 24> digits;
        out.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), held_.integer).ptr);
        break;
    }
    case Kind::Object: out += held_.object->description(); break;
    default: out += stringWithFormat("%@", {plistValue()}); break;
    }
}

bool GRMustacheValue::isSameObject(const GRMustacheValue& other) const {
    if (kind_ != other.kind_) return false;
    switch (kind_) {
    case Kind::String:
        return held_.text.start == other.held_.text.start && held_.text.length == other.held_.text.length;
    case Kind::Data: return &held_.plist->dataValue() == &other.held_.plist->dataValue();
    // Copies of a container share its content.
    case Kind::PlistArray: return &held_.plist->array() == &other.held_.plist->array();
    case Kind::PlistDictionary: return &held_.plist->dictionary() == &other.held_.plist->dictionary();
    case Kind::List: return held_.array == other.held_.array;
    case Kind::Table: return held_.dictionary == other.held_.dictionary;
    case Kind::Object: return held_.object == other.held_.object;
    default: return false;
    }
}

}  // namespace qs
