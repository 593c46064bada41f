// What templates look at: nothing, the null object, numbers, texts, dates, data, lists, dictionaries (property-list
// values among them) and objects of C++ classes. Copies are cheap.
//
// A value may be borrowed: it then refers to what somebody else keeps, such as the data that a template is rendered
// with. What filters, tag delegates and rendering objects are given is valid during the call; to keep it longer, keep
// retained().
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "Foundation/Value.h"

namespace qs {

class GRMustacheName;
class GRMustacheObject;
class GRMustacheValue;
using GRMustacheArray = std::vector<GRMustacheValue>;
using GRMustacheDictionary = std::map<std::string, GRMustacheValue, std::less<>>;

class GRMustacheValue {
public:
    // Nil is the absence of a value. Null is a value that says "nothing": the nil that stands in an array or
    // dictionary.
    enum class Kind : std::uint8_t {
        Nil,
        Null,
        Boolean,
        Integer,
        Real,
        String,
        Date,
        Data,
        PlistArray,
        PlistDictionary,
        List,   // of such values
        Table,  // of such values
        Object
    };

    GRMustacheValue() {}
    GRMustacheValue(std::nullptr_t) {}
    GRMustacheValue(bool b) : kind_(Kind::Boolean) { held_.boolean = b; }
    GRMustacheValue(int i) : GRMustacheValue(std::int64_t{i}) {}
    GRMustacheValue(std::int64_t i) : kind_(Kind::Integer) { held_.integer = i; }
    GRMustacheValue(double d) : kind_(Kind::Real) { held_.real = d; }
    GRMustacheValue(const char* text) : GRMustacheValue(std::string(text)) {}
    GRMustacheValue(std::string text);
    GRMustacheValue(std::string_view text) : GRMustacheValue(std::string(text)) {}
    GRMustacheValue(Date date) : GRMustacheValue(Value(date)) {}
    GRMustacheValue(Data data) : GRMustacheValue(Value(std::move(data))) {}
    GRMustacheValue(const Value& value);
    GRMustacheValue(qs::Array array) : GRMustacheValue(Value(std::move(array))) {}
    GRMustacheValue(qs::Dictionary dictionary) : GRMustacheValue(Value(std::move(dictionary))) {}
    GRMustacheValue(GRMustacheArray array);
    GRMustacheValue(GRMustacheDictionary dictionary);
    // Null pointers give Nil.
    template <class T, class = std::enable_if_t<std::is_convertible_v<T*, GRMustacheObject*>>>
    GRMustacheValue(std::shared_ptr<T> object) : kind_(object ? Kind::Object : Kind::Nil) {
        held_.object = object.get();
        owner_ = std::move(object);
    }

    static GRMustacheValue null();
    static GRMustacheValue borrowing(const Value& value);
    static GRMustacheValue borrowing(Value&& value) = delete;
    static GRMustacheValue borrowingString(std::string_view text);
    static GRMustacheValue borrowing(GRMustacheObject& object);
    // The same value, kept alive by somebody else.
    GRMustacheValue borrowed() const;
    // The same value, which lives as long as `other` unless it lives by itself.
    GRMustacheValue keptWith(const GRMustacheValue& other) const;
    // A value that depends on nobody else. Objects stay what they are: borrowed, or with borrowed values inside.
    GRMustacheValue retained() const;

    Kind kind() const { return kind_; }
    bool isNil() const { return kind_ == Kind::Nil; }
    bool isNothing() const { return kind_ == Kind::Nil || kind_ == Kind::Null; }
    bool isNumber() const { return kind_ >= Kind::Boolean && kind_ <= Kind::Real; }
    bool isString() const { return kind_ == Kind::String; }
    bool boolValue() const;  // of numbers and texts; false for others
    // Empty unless a string.
    std::string_view string() const {
        return kind_ == Kind::String ? std::string_view(held_.text.start, held_.text.length) : std::string_view();
    }
    // Null unless an object.
    GRMustacheObject* object() const { return kind_ == Kind::Object ? held_.object : nullptr; }
    Value plistValue() const;  // nil for objects, in containers too

    // Arrays, and objects that can be enumerated. Dictionaries are none.
    bool isCollection() const;
    std::size_t count() const;
    GRMustacheValue itemAt(std::size_t index) const;  // kept alive as this value is

    // Dictionaries, and objects that answer keys like one.
    bool isKeyed() const {
        return kind_ == Kind::PlistDictionary || kind_ == Kind::Table || (kind_ == Kind::Object && isKeyedObject());
    }
    // Nil for an unknown key. Kept alive as this value is.
    GRMustacheValue objectForKeyedSubscript(const GRMustacheName& key) const;
    // The same into `value`, which must be Nil; false for an unknown key.
    bool findKeyedSubscript(const GRMustacheName& key, GRMustacheValue& value) const;

    // The entries of a property list's dictionary; null for other values.
    const qs::Dictionary* plistDictionary() const;
    // As findKeyedSubscript(), for who has found the entry; null for none.
    bool takeEntry(const Value* entry, GRMustacheValue& value) const;

    // The keys of a dictionary, in their order; nothing for other values, keyed objects among them.
    std::optional<std::vector<std::string>> keysOfDictionary() const;

    // What a tag shows: text for people as far as the value has one. Nothing for Nil and Null.
    std::string description() const;
    void appendDescription(std::string& out) const;
    // For error texts: the same, but "(null)" for Nil and "<null>" for Null.
    std::string debugDescription() const;

    // The same object, not only an equal one. Numbers and nothing are no objects.
    bool isSameObject(const GRMustacheValue& other) const;

private:
    bool isKeyedObject() const;
    void referTo(const Value& value, const std::shared_ptr<const void>& owner);
    // As an element of a container, in which nil is a value.
    void referToElement(const Value& value, const std::shared_ptr<const void>& owner);

    struct Text {
        const char* start;
        std::size_t length;
    };
    union Held {
        Text text;  // the widest comes first, and so is set to nothing
        bool boolean;
        std::int64_t integer;
        double real;         // numbers, and a date as seconds since 1970
        const Value* plist;  // data and containers of property lists
        const GRMustacheArray* array;
        const GRMustacheDictionary* dictionary;
        GRMustacheObject* object;
    };
    Held held_{};
    std::shared_ptr<const void> owner_;  // null: borrowed
    Kind kind_ = Kind::Nil;
};

}  // namespace qs
