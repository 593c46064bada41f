// Unsaved changes: how they are noted, found, validated and saved.
#include <algorithm>
#include <optional>
#include <string>

#include "Core/Store/ContextState.h"
#include "Core/Store/PersistentStore.h"
#include "Core/Store/StoreErrors.h"
#include "Foundation/Format.h"

namespace qs {

namespace {

std::size_t keyOf(std::size_t property, std::size_t hash) { return hash * 67 + property; }

std::size_t hashOf(const Value& value) {
    return value.type() == Value::Type::String ? std::hash<std::string>()(value.stringValue())
                                               : std::hash<double>()(value.doubleValue());
}

// The keys that objects have for which the condition may hold; nothing when it does not ask for a key.
std::optional<std::vector<std::size_t>> keysFor(const Condition& condition, const EntityDescription& entity) {
    using Kind = Condition::Kind;
    if (condition.kind == Kind::And) {
        for (const Condition& part : condition.parts)
            if (auto keys = keysFor(part, entity)) return keys;
        return {};
    }
    if (condition.kind == Kind::LinksTo) {
        const auto index = entity.relationshipIndex(condition.property);
        if (!index) return {};
        return {{keyOf(entity.attributes.size() + *index, hashOf(condition.values.front()))}};
    }
    if (condition.kind != Kind::Is && condition.kind != Kind::IsOneOf) return {};
    const auto index = entity.attributeIndex(condition.property);
    if (!index || !entity.attributes[*index].isIndexed) return {};
    std::vector<std::size_t> keys;
    for (const Value& value : condition.values)
        keys.push_back(keyOf(*index, hashOf(value)));
    return keys;
}

Error missingValue(const ManagedObject& object, const AttributeDescription& attribute) {
    return storeError(StoreErrorCode::MissingMandatory,
                      stringWithFormat("%@ is a required value (%@).", {attribute.name, object.entity().name}),
                      {{std::string(NSValidationKeyErrorKey), attribute.name},
                       {"NSValidationErrorObject", stringWithFormat("%@ %ld", {object.entity().name, object.row()})}});
}

}  // namespace

bool ManagedObjectContext::hasChanges() const {
    assertMainThread();
    return changes_ != 0;
}

void ManagedObjectContext::addPending(ManagedObject& object, State newState) {
    EntityState& state = stateOf(*object.entity_);
    object.state_ = newState;
    state.pending.push_back(object.shared_from_this());
    for (std::size_t i = 0; i < object.values_.size(); ++i)
        indexPending(object, i);
    for (std::size_t i = 0; i < object.links_.size(); ++i)
        indexPendingLink(object, i);
    if (newState != State::Touched) ++changes_;
}

void ManagedObjectContext::indexPending(ManagedObject& object, std::size_t attribute) {
    if (!object.entity_->attributes[attribute].isIndexed) return;
    stateOf(*object.entity_).pendingByKey.emplace(keyOf(attribute, hashOf(object.values_[attribute])), &object);
}

void ManagedObjectContext::indexPendingLink(ManagedObject& object, std::size_t relationship) {
    if (object.links_[relationship] == 0) return;
    stateOf(*object.entity_)
        .pendingByKey.emplace(keyOf(object.values_.size() + relationship, hashOf(object.links_[relationship])),
                              &object);
}

std::vector<ManagedObjectRef> ManagedObjectContext::pendingWith(EntityState& state, const Condition& condition) {
    std::vector<ManagedObjectRef> candidates;
    if (const auto keys = keysFor(condition, *state.entity)) {
        for (const std::size_t key : *keys)
            for (auto [at, end] = state.pendingByKey.equal_range(key); at != end; ++at)
                candidates.push_back(at->second->shared_from_this());
    } else {
        candidates = state.pending;
    }
    const auto byRow = [](const auto& object) { return object->row_; };
    std::ranges::sort(candidates, {}, byRow);
    candidates.erase(std::ranges::unique(candidates).begin(), candidates.end());
    std::erase_if(candidates, [&](const auto& object) { return object->isDeleted() || !object->satisfies(condition); });
    return candidates;
}

void ManagedObjectContext::markUpdated(ManagedObject& object) {
    if (object.state_ == State::Clean) {
        addPending(object, State::Updated);
    } else if (object.state_ == State::Touched) {
        object.state_ = State::Updated;
        ++changes_;
    }
}

void ManagedObjectContext::attributeDidChange(ManagedObject& object, std::size_t attribute) {
    object.changed_ |= std::uint64_t{1} << attribute;
    markUpdated(object);
    indexPending(object, attribute);
    tellChangeOf(object);
}

void ManagedObjectContext::tellChangeOf(const ManagedObject& object) {
    if (changeHandler_) changeHandler_(object.entity_->name);
}

// The object at the other end has one object more or less, which the store does not know yet.
void ManagedObjectContext::touchLinked(ManagedObject& object, std::size_t relationship) {
    if (object.links_[relationship] == 0) return;
    const auto other =
        objectAtRow(object.entity_->relationships[relationship].destination, object.links_[relationship]);
    if (other && other->state_ == State::Clean) addPending(*other, State::Touched);
}

void ManagedObjectContext::linkWillChange(ManagedObject& object, std::size_t relationship) {
    touchLinked(object, relationship);
}

void ManagedObjectContext::linkDidChange(ManagedObject& object, std::size_t relationship) {
    object.changed_ |= std::uint64_t{1} << (object.values_.size() + relationship);
    markUpdated(object);
    indexPendingLink(object, relationship);
    touchLinked(object, relationship);
    tellChangeOf(object);
}

void ManagedObjectContext::keep(ManagedObject& object, bool isKept) {
    if (isKept)
        kept_.try_emplace(&object, object.shared_from_this());
    else
        kept_.erase(&object);
}

Result<void> ManagedObjectContext::validate() {
    std::vector<Error> errors;
    for (const auto& state : entities_)
        for (const auto& object : state.pending) {
            if (!object->isInserted() && !object->isUpdated()) continue;
            for (std::size_t i = 0; i < object->values_.size(); ++i)
                if (object->values_[i].isNil() && !state.entity->attributes[i].isOptional)
                    errors.push_back(missingValue(*object, state.entity->attributes[i]));
        }
    if (errors.empty()) return {};
    if (errors.size() == 1) return failure(std::move(errors.front()));
    Array details;
    for (const Error& error : errors)
        details.push_back(detailOf(error));
    return failure(storeError(StoreErrorCode::MultipleErrors, "Several values can't be saved.",
                              {{std::string(NSDetailedErrorsKey), std::move(details)}}));
}

std::vector<StoreChange> ManagedObjectContext::changesToSave() {
    std::vector<StoreChange> changes;
    changes.reserve(changes_);
    for (const auto& state : entities_)
        for (const auto& object : state.pending) {
            if (object->state_ == State::Touched || object->state_ == State::Gone) continue;
            const auto kind = object->isInserted()  ? StoreChange::Kind::Insert
                              : object->isUpdated() ? StoreChange::Kind::Update
                                                    : StoreChange::Kind::Delete;
            changes.push_back({kind, state.entity, object->row_, object->version_, &object->values_, &object->links_,
                               object->changed_});
        }
    return changes;
}

void ManagedObjectContext::didSave() {
    for (auto& state : entities_) {
        for (const auto& object : state.pending) {
            if (object->isDeleted()) {
                object->state_ = State::Gone;
                object->context_ = nullptr;
                state.objects.erase(object->row_);
                continue;
            }
            if (object->state_ != State::Touched) ++object->version_;
            object->changed_ = 0;
            object->state_ = State::Clean;
        }
        state.pendingByKey.clear();
        state.pending.clear();
    }
    changes_ = 0;
}

Result<void> ManagedObjectContext::save() {
    assertMainThread();
    if (auto valid = validate(); !valid) return valid;
    if (changes_ != 0)
        if (auto written = store_->write(changesToSave()); !written) return written;
    didSave();
    return {};
}

}  // namespace qs
