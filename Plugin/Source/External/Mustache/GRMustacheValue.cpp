#include "GRMustacheValue.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "Foundation/Format.h"
#include "GRMustacheObject.h"

namespace qs {

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
    case ValueType::Date: *this = borrowing(value); break;
    default: {
        const auto kept = std::make_shared<const Value>(value);
        *this = referring(*kept, kept);
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

GRMustacheValue GRMustacheValue::borrowing(const Value& value) { return referring(value, nullptr); }

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

GRMustacheValue GRMustacheValue::referring(const Value& value, const std::shared_ptr<const void>& owner) {
    GRMustacheValue result;
    switch (value.type()) {
    case ValueType::Nil: return result;
    case ValueType::Boolean: return value.boolValue();
    case ValueType::Integer: return value.integerValue();
    case ValueType::Real: return value.doubleValue();
    case ValueType::String: result = borrowingString(value.string()); break;
    case ValueType::Date:
        result.kind_ = Kind::Date;
        result.held_.real = value.dateValue()->secondsSince1970;
        return result;
    case ValueType::Data: result.kind_ = Kind::Data; break;
    case ValueType::Array: result.kind_ = Kind::PlistArray; break;
    case ValueType::Dictionary: result.kind_ = Kind::PlistDictionary; break;
    }
    if (result.kind_ != Kind::String) result.held_.plist = &value;
    result.owner_ = owner;
    return result;
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

std::string_view GRMustacheValue::string() const {
    return kind_ == Kind::String ? std::string_view(held_.text.start, held_.text.length) : std::string_view();
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

GRMustacheObject* GRMustacheValue::object() const { return kind_ == Kind::Object ? held_.object : nullptr; }

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
        const Value& item = held_.plist->array()[index];
        return item.isNil() ? null() : referring(item, owner_);
    }
    if (kind_ == Kind::List) {
        const GRMustacheValue& item = (*held_.array)[index];
        return item.isNil() ? null() : item.keptWith(*this);
    }
    if (kind_ == Kind::Object && held_.object->asFastEnumeration())
        return held_.object->asFastEnumeration()->itemAt(index).keptWith(*this);
    return {};
}

bool GRMustacheValue::isKeyed() const {
    return kind_ == Kind::PlistDictionary || kind_ == Kind::Table ||
           (kind_ == Kind::Object && held_.object->asKeyedSubscript());
}

GRMustacheValue GRMustacheValue::objectForKeyedSubscript(std::string_view key) const {
    if (kind_ == Kind::PlistDictionary) {
        const qs::Dictionary& entries = held_.plist->dictionary();
        const auto found = entries.find(key);
        if (found == entries.end()) return {};
        return found->second.isNil() ? null() : referring(found->second, owner_);
    }
    if (kind_ == Kind::Table) {
        const auto found = held_.dictionary->find(key);
        if (found == held_.dictionary->end()) return {};
        return found->second.isNil() ? null() : found->second.keptWith(*this);
    }
    if (kind_ == Kind::Object && held_.object->asKeyedSubscript())
        return held_.object->asKeyedSubscript()->objectForKeyedSubscript(key).keptWith(*this);
    return {};
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
