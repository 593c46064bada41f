#include "Core/Store/ManagedObjectContext.h"

#include <algorithm>

#include "Core/Store/ContextState.h"
#include "Core/Store/PersistentStore.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"

namespace qs {

namespace {

// Where a link is followed nobody expects an error; to the caller there is nothing.
void logUnreadable(const Error& error) { logError("the store can't be read: " + error.description); }

}  // namespace

ManagedObjectContext::ManagedObjectContext(std::unique_ptr<PersistentStore> store, ObjectClasses classes)
    : thread_(std::this_thread::get_id()), store_(std::move(store)), classes_(std::move(classes)) {
    for (const auto& entity : store_->model().entities())
        entities_.push_back({.entity = &entity, .nextRow = store_->firstFreeRow(entity)});
}

ManagedObjectContext::~ManagedObjectContext() {
    for (auto& state : entities_)
        for (const auto& [row, weak] : state.objects)
            if (const auto object = weak.lock()) object->context_ = nullptr;
}

const ManagedObjectModel& ManagedObjectContext::model() const { return store_->model(); }

void ManagedObjectContext::failThread() const { raiseAssertion("Core Data needs to run on the main thread only!!!"); }

const EntityDescription& ManagedObjectContext::entityNamed(std::string_view name) const {
    const EntityDescription* entity = model().entityNamed(name);
    if (!entity) raiseAssertion(stringWithFormat("The object model has no entity %@", {name}));
    return *entity;
}

ManagedObjectContext::EntityState& ManagedObjectContext::stateOf(const EntityDescription& entity) {
    return entities_[model().indexOf(entity)];
}

ManagedObjectRef ManagedObjectContext::makeObject(const EntityDescription& entity, std::int64_t row) {
    const auto cls = classes_.find(entity.className);
    ManagedObjectRef object = cls == classes_.end() ? std::make_shared<ManagedObject>() : cls->second();
    object->entity_ = {store_->modelRef(), &entity};
    object->context_ = this;
    object->row_ = row;
    object->values_.resize(entity.attributes.size());
    object->links_.resize(entity.relationships.size());

    EntityState& state = stateOf(entity);
    if (state.objects.size() >= state.sweepAt) {
        std::erase_if(state.objects, [](const auto& entry) { return entry.second.expired(); });
        state.sweepAt = std::max(EntityState::kFirstSweep, 2 * state.objects.size());
    }
    state.objects[row] = object;
    return object;
}

ManagedObjectRef ManagedObjectContext::registered(EntityState& state, std::int64_t row) const {
    const auto found = state.objects.find(row);
    return found == state.objects.end() ? nullptr : found->second.lock();
}

ManagedObjectRef ManagedObjectContext::insertNewObjectForEntityForName(std::string_view entityName) {
    assertMainThread();
    const EntityDescription& entity = entityNamed(entityName);
    auto object = makeObject(entity, stateOf(entity).nextRow++);
    for (std::size_t i = 0; i < entity.attributes.size(); ++i)
        object->values_[i] = entity.attributes[i].defaultValue;
    addPending(*object, State::Inserted);
    object->awakeFromInsert();
    tellChangeOf(*object);
    return object;
}

void ManagedObjectContext::deleteObject(ManagedObject& object) {
    assertMainThread();
    if (object.isDeleted()) return;
    assertThat(object.context_ == this, "An object can't be deleted by another context than its own");
    const ManagedObjectRef self = object.shared_from_this();
    const auto& relationships = object.entity_->relationships;
    std::vector<std::pair<const RelationshipDescription*, ManagedObjectRef>> linked;
    for (std::size_t i = 0; i < relationships.size(); ++i) {
        touchLinked(object, i);
        if (!relationships[i].isToMany) continue;
        for (auto& other : objectsLinkingTo(object, relationships[i]))
            linked.emplace_back(&relationships[i], std::move(other));
    }
    kept_.erase(&object);
    if (object.state_ == State::Inserted) {
        object.state_ = State::Gone;
        --changes_;
    } else {
        markUpdated(object);
        object.state_ = State::Deleted;
    }
    tellChangeOf(object);
    for (const auto& [relationship, other] : linked) {
        if (relationship->deleteRule == DeleteRule::Cascade)
            deleteObject(*other);
        else
            other->setRelatedObject(nullptr, relationship->inverse);
    }
}

Result<std::vector<ManagedObjectRef>> ManagedObjectContext::find(const EntityDescription& entity,
                                                                 const Condition& condition, std::size_t storeLimit) {
    EntityState& state = stateOf(entity);
    const auto pending = pendingWith(state, condition);
    std::vector<ManagedObjectRef> found;
    // With unsaved changes about, some of the rows that the store counts may not belong to the answer.
    const std::size_t limit = state.pending.empty() ? storeLimit : 0;
    const auto visited = store_->forEachRow(entity, condition, limit, [&](const StoredRow& row) {
        auto object = registered(state, row.row());
        if (object && object->state_ != State::Clean) return;  // judged as it is now, not as it was
        if (!object) {
            object = makeObject(entity, row.row());
            object->version_ = row.version();
            object->values_ = row.values();
            object->links_ = row.links();
            object->awakeFromFetch();
        }
        found.push_back(std::move(object));
    });
    if (!visited) return failed(visited);
    const auto middle = static_cast<std::ptrdiff_t>(found.size());
    found.insert(found.end(), pending.begin(), pending.end());
    std::inplace_merge(found.begin(), found.begin() + middle, found.end(),
                       [](const auto& a, const auto& b) { return a->row_ < b->row_; });
    return found;
}

Result<std::vector<ManagedObjectRef>> ManagedObjectContext::executeFetchRequest(const FetchRequest& request) {
    assertMainThread();
    const EntityDescription& entity = entityNamed(request.entityName);
    auto found = find(entity, request.predicate, request.sortDescriptors.empty() ? request.fetchLimit : 0);
    if (!found) return found;
    // The last descriptor first, so that the first one decides.
    for (auto sort = request.sortDescriptors.rbegin(); sort != request.sortDescriptors.rend(); ++sort) {
        const auto index = entity.attributeIndex(sort->key);
        assertThat(index.has_value(), "A fetch can't be sorted by a property that the entity does not have");
        std::ranges::stable_sort(*found, [&](const auto& a, const auto& b) {
            const Value &first = a->valueAt(*index), &second = b->valueAt(*index);
            const int order = sort->comparator ? sort->comparator(first, second) : compareValues(first, second);
            return sort->ascending ? order < 0 : order > 0;
        });
    }
    if (request.fetchLimit != 0 && found->size() > request.fetchLimit) found->resize(request.fetchLimit);
    return found;
}

Result<std::size_t> ManagedObjectContext::countForFetchRequest(const FetchRequest& request) {
    assertMainThread();
    const EntityDescription& entity = entityNamed(request.entityName);
    const auto bounded = [&](std::size_t count) {
        return request.fetchLimit == 0 ? count : std::min(count, request.fetchLimit);
    };
    if (stateOf(entity).pending.empty()) return store_->count(entity, request.predicate).map(bounded);
    return find(entity, request.predicate, 0).map([&](const auto& found) { return bounded(found.size()); });
}

ManagedObjectRef ManagedObjectContext::objectAtRow(std::string_view entityName, std::int64_t row) {
    const EntityDescription& entity = entityNamed(entityName);
    if (auto object = registered(stateOf(entity), row)) return object->isDeleted() ? nullptr : object;
    const auto found = find(entity, {.kind = Condition::Kind::IsRow, .values = {row}}, 1);
    if (!found) logUnreadable(found.error());
    return found && !found->empty() ? found->front() : nullptr;
}

std::vector<ManagedObjectRef> ManagedObjectContext::objectsLinkingTo(const ManagedObject& object,
                                                                     const RelationshipDescription& relationship) {
    auto found = find(entityNamed(relationship.destination),
                      {.kind = Condition::Kind::LinksTo, .property = relationship.inverse, .values = {object.row_}}, 0);
    if (found) return std::move(*found);
    logUnreadable(found.error());
    return {};
}

std::shared_ptr<EditorRegistration> ManagedObjectContext::registerEditor(std::function<bool()> commit) {
    assertMainThread();
    auto registration = std::make_shared<EditorRegistration>(EditorRegistration{std::move(commit)});
    editors_.push_back(registration);
    return registration;
}

bool ManagedObjectContext::commitEditing() {
    assertMainThread();
    std::erase_if(editors_, [](const auto& editor) { return editor.expired(); });
    const auto editors = editors_;  // one of them may come or go meanwhile
    return std::ranges::all_of(editors, [](const auto& weak) {
        const auto editor = weak.lock();
        return !editor || editor->commit();
    });
}

}  // namespace qs
