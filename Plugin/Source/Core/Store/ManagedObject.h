// One record of the store as an object: the ground of QSNote and its like, which add names and types to its properties.
//
// An object belongs to one context, and there is one object for a row at a time. Touching it away from the main thread
// is an assertion failure, reading included; only letting go of a reference is allowed elsewhere. An object that was
// deleted, or whose context is gone, keeps its values and can be written without effect.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "Core/Store/Condition.h"
#include "Foundation/Value.h"

namespace qs {

struct EntityDescription;
class ManagedObject;
class ManagedObjectContext;

using ManagedObjectRef = std::shared_ptr<ManagedObject>;

class ManagedObject : public std::enable_shared_from_this<ManagedObject> {
public:
    ManagedObject() = default;  // for its context, which makes it part of itself
    virtual ~ManagedObject() = default;
    ManagedObject(const ManagedObject&) = delete;
    ManagedObject& operator=(const ManagedObject&) = delete;

    const EntityDescription& entity() const { return *entity_; }
    std::int64_t row() const { return row_; }  // never another object's while the program runs
    ManagedObjectContext* managedObjectContext() const { return context_; }  // null when it belongs to none any more
    bool isInserted() const { return state_ == State::Inserted; }            // and not saved yet; likewise the next two
    bool isUpdated() const { return state_ == State::Updated; }
    bool isDeleted() const { return state_ == State::Deleted || state_ == State::Gone; }

    // By name. An assertion failure for a property that the entity does not have, or a value of another type; nil takes
    // the value away.
    Value valueForKey(std::string_view attribute) const;
    void setValue(Value value, std::string_view forKey);
    ManagedObjectRef relatedObject(std::string_view relationship) const;  // of one to one object; null for none
    void setRelatedObject(const ManagedObjectRef& object, std::string_view relationship);
    std::vector<ManagedObjectRef> relatedObjects(std::string_view relationship) const;  // of one to many; oldest first

    // Whether the condition holds for the object as it is now.
    bool satisfies(const Condition& condition) const;

protected:
    template <class T>
    std::optional<T> get(const Attribute<T>& attribute) const;
    template <class T>
    void set(const Attribute<T>& attribute, const std::optional<T>& value);
    template <class T>
    std::shared_ptr<T> get(const ToOne<T>& relationship) const {
        return std::dynamic_pointer_cast<T>(relatedObject(relationship.name()));
    }
    template <class T>
    void set(const ToOne<T>& relationship, const std::shared_ptr<T>& object) {
        setRelatedObject(object, relationship.name());
    }
    template <class T>
    std::vector<std::shared_ptr<T>> get(const ToMany<T>& relationship) const {
        std::vector<std::shared_ptr<T>> objects;
        for (const auto& object : relatedObjects(relationship.name()))
            objects.push_back(std::dynamic_pointer_cast<T>(object));
        return objects;
    }

    // A flag that lives in memory alone, and as long as the context: an object with such a flag set stays, whether or
    // not anybody holds it. `bit` counts from 0.
    bool flag(unsigned bit) const;
    void setFlag(unsigned bit, bool value);

    // Called once, when the object was made new, with its defaults set; or when it was read from the store.
    virtual void awakeFromInsert() {}
    virtual void awakeFromFetch() {}

private:
    friend class ManagedObjectContext;
    // Touched: nothing to save, but what the store would answer about its relationships is out of date.
    enum class State { Clean, Touched, Inserted, Updated, Deleted, Gone };

    void checkThread() const;
    const Value& valueAt(std::size_t index) const { return values_[index]; }

    std::shared_ptr<const EntityDescription> entity_;  // keeps the model
    ManagedObjectContext* context_ = nullptr;
    std::int64_t row_ = 0;
    std::int64_t version_ = 0;         // counts the saves of the row
    std::vector<Value> values_;        // by the attribute's place in the entity
    std::vector<std::int64_t> links_;  // by the relationship's place; 0 for none, and for those to many
    std::uint64_t changed_ = 0;        // a bit for each attribute, then each relationship
    unsigned flags_ = 0;
    State state_ = State::Clean;
};

// Between the types of accessors and values.
template <class T>
T fromValue(const Value& value);
template <class T>
Value toValue(const T& value) {
    return Value(value);
}
template <>
inline bool fromValue<bool>(const Value& value) {
    return value.boolValue();
}
template <>
inline std::int64_t fromValue<std::int64_t>(const Value& value) {
    return value.integerValue();
}
template <>
inline double fromValue<double>(const Value& value) {
    return value.doubleValue();
}
template <>
inline std::string fromValue<std::string>(const Value& value) {
    return value.stringValue();
}
template <>
inline Date fromValue<Date>(const Value& value) {
    return value.dateValue().value_or(Date{});
}
template <>
TextArray fromValue<TextArray>(const Value& value);
template <>
TextSet fromValue<TextSet>(const Value& value);
template <>
TextDictionary fromValue<TextDictionary>(const Value& value);
template <>
Value toValue<TextArray>(const TextArray& value);
template <>
Value toValue<TextSet>(const TextSet& value);
template <>
Value toValue<TextDictionary>(const TextDictionary& value);

template <class T>
std::optional<T> ManagedObject::get(const Attribute<T>& attribute) const {
    const Value value = valueForKey(attribute.name());
    if (value.isNil()) return {};
    return fromValue<T>(value);
}

template <class T>
void ManagedObject::set(const Attribute<T>& attribute, const std::optional<T>& value) {
    setValue(value ? toValue(*value) : Value(), attribute.name());
}

}  // namespace qs
