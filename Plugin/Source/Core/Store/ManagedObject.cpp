#include "Core/Store/ManagedObject.h"

#include <algorithm>
#include <cstring>

#include "Core/Store/ManagedObjectContext.h"
#include "Core/Store/ObjectModel.h"
#include "Foundation/Assertion.h"
#include "Foundation/Format.h"

namespace qs {

namespace {

std::size_t indexOr(std::optional<std::size_t> index, const EntityDescription& entity, std::string_view name) {
    if (!index) raiseAssertion(stringWithFormat("The entity %@ has no property %@ of that kind", {entity.name, name}));
    return *index;
}

template <class T>
int order(const T& a, const T& b) {
    return a < b ? -1 : b < a ? 1 : 0;
}

}  // namespace

int compareValues(const Value& a, const Value& b) {
    if (a.type() != b.type()) return order(a.type(), b.type());
    switch (a.type()) {
    case Value::Type::Boolean: return order(a.boolValue(), b.boolValue());
    case Value::Type::Integer: return order(a.integerValue(), b.integerValue());
    case Value::Type::Real: return order(a.doubleValue(), b.doubleValue());
    case Value::Type::String: return a.stringValue().compare(b.stringValue());
    case Value::Type::Date: return order(*a.dateValue(), *b.dateValue());
    default: return 0;  // lists have no order
    }
}

void ManagedObject::checkThread() const {
    if (context_) context_->assertMainThread();
}

Value ManagedObject::valueForKey(std::string_view attribute) const {
    checkThread();
    return values_[indexOr(entity_->attributeIndex(attribute), *entity_, attribute)];
}

void ManagedObject::setValue(Value value, std::string_view forKey) {
    checkThread();
    const std::size_t index = indexOr(entity_->attributeIndex(forKey), *entity_, forKey);
    auto fitting = valueOfType(value, entity_->attributes[index].type);
    if (!fitting)
        raiseAssertion(
            stringWithFormat("The property %@ of the entity %@ takes no value of that type", {forKey, entity_->name}));
    if (*fitting == values_[index]) return;
    values_[index] = std::move(*fitting);
    if (context_ && !isDeleted()) context_->attributeDidChange(*this, index);
}

ManagedObjectRef ManagedObject::relatedObject(std::string_view relationship) const {
    checkThread();
    const std::size_t index = indexOr(entity_->relationshipIndex(relationship), *entity_, relationship);
    if (!context_ || links_[index] == 0) return nullptr;
    return context_->objectAtRow(entity_->relationships[index].destination, links_[index]);
}

void ManagedObject::setRelatedObject(const ManagedObjectRef& object, std::string_view relationship) {
    checkThread();
    const std::size_t index = indexOr(entity_->relationshipIndex(relationship), *entity_, relationship);
    const RelationshipDescription& description = entity_->relationships[index];
    assertThat(!description.isToMany, "A relationship to many objects is set at its other side");
    // A deleted object can't be linked to: as if it had been deleted afterwards.
    const bool isThere = object && !object->isDeleted();
    assertThat(!isThere || (object->entity_->name == description.destination && object->context_ == context_),
               "A relationship can't lead to an object of another entity or context");
    const std::int64_t row = isThere ? object->row_ : 0;
    if (links_[index] == row) return;
    if (!context_ || isDeleted()) {
        links_[index] = row;
        return;
    }
    context_->linkWillChange(*this, index);
    links_[index] = row;
    context_->linkDidChange(*this, index);
}

std::vector<ManagedObjectRef> ManagedObject::relatedObjects(std::string_view relationship) const {
    checkThread();
    const std::size_t index = indexOr(entity_->relationshipIndex(relationship), *entity_, relationship);
    assertThat(entity_->relationships[index].isToMany, "The relationship leads to one object, not to many");
    if (!context_ || isDeleted()) return {};
    return context_->objectsLinkingTo(*this, entity_->relationships[index]);
}

bool ManagedObject::satisfies(const Condition& condition) const {
    using Kind = Condition::Kind;
    const auto holds = [this](const Condition& part) { return satisfies(part); };
    switch (condition.kind) {
    case Kind::All: return true;
    case Kind::And: return std::ranges::all_of(condition.parts, holds);
    case Kind::Or: return std::ranges::any_of(condition.parts, holds);
    case Kind::Not: return !holds(condition.parts.front());
    case Kind::CountIs:
        return relatedObjects(condition.property).size() ==
               static_cast<std::size_t>(condition.values.front().integerValue());
    case Kind::LinksTo:
        return links_[indexOr(entity_->relationshipIndex(condition.property), *entity_, condition.property)] ==
               condition.values.front().integerValue();
    case Kind::IsRow: return row_ == condition.values.front().integerValue();
    default: break;
    }
    const Value& value = values_[indexOr(entity_->attributeIndex(condition.property), *entity_, condition.property)];
    switch (condition.kind) {
    case Kind::Is: return value == condition.values.front();
    case Kind::IsOneOf: return !value.isNil() && std::ranges::find(condition.values, value) != condition.values.end();
    case Kind::IsBelow: return !value.isNil() && compareValues(value, condition.values.front()) < 0;
    default: return !value.isNil() && compareValues(value, condition.values.front()) > 0;
    }
}

bool ManagedObject::flag(unsigned bit) const {
    checkThread();
    return (flags_ >> bit & 1) != 0;
}

void ManagedObject::setFlag(unsigned bit, bool value) {
    checkThread();
    flags_ = value ? flags_ | 1u << bit : flags_ & ~(1u << bit);
    if (context_ && !isDeleted()) context_->keep(*this, flags_ != 0);
}

template <>
TextArray fromValue<TextArray>(const Value& value) {
    TextArray strings;
    for (const Value& each : value.array())
        strings.push_back(each.stringValue());
    return strings;
}

template <>
TextSet fromValue<TextSet>(const Value& value) {
    TextSet strings;
    for (const Value& each : value.array())
        strings.insert(each.stringValue());
    return strings;
}

template <>
TextDictionary fromValue<TextDictionary>(const Value& value) {
    TextDictionary strings;
    for (const auto& [key, each] : value.dictionary())
        strings[key] = each.stringValue();
    return strings;
}

template <>
Value toValue<TextArray>(const TextArray& value) {
    return Array(value.begin(), value.end());
}

template <>
Value toValue<TextSet>(const TextSet& value) {
    return Array(value.begin(), value.end());
}

template <>
Value toValue<TextDictionary>(const TextDictionary& value) {
    return Dictionary(value.begin(), value.end());
}

}  // namespace qs
