// The objects of a store that are in memory, with their unsaved changes: the one place where records are made, found,
// changed, deleted and saved.
//
// Fetches see unsaved changes. Objects are kept alive by whoever holds them; the context itself holds those with
// unsaved changes and those with flags in memory. Main thread only: the thread that made it.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <vector>

#include "Core/Store/FetchRequest.h"
#include "Core/Store/ManagedObject.h"
#include "Core/Store/ObjectModel.h"
#include "Foundation/Assertion.h"
#include "Foundation/Result.h"

namespace qs {

class PersistentStore;
struct StoreChange;

// Makes objects by the class names of the model. A class that isn't there is a plain ManagedObject.
using ObjectClasses = std::map<std::string, std::function<ManagedObjectRef()>, std::less<>>;

// Somebody who edits an object in a form of his own; forgotten when it goes.
class EditorRegistration;

class ManagedObjectContext {
public:
    ManagedObjectContext(std::unique_ptr<PersistentStore> store, ObjectClasses classes);
    ~ManagedObjectContext();
    ManagedObjectContext(const ManagedObjectContext&) = delete;
    ManagedObjectContext& operator=(const ManagedObjectContext&) = delete;

    const ManagedObjectModel& model() const;
    void assertMainThread() const {
        if (std::this_thread::get_id() != thread_) failThread();
    }

    // With the defaults of its attributes. An assertion failure for an unknown entity; the same in fetches.
    ManagedObjectRef insertNewObjectForEntityForName(std::string_view entityName);
    template <class T>
    std::shared_ptr<T> insertNew() {
        return typed<T>(insertNewObjectForEntityForName(T::kEntityName));
    }
    // Gone from fetches and relationships at once, from the store with the next save. Objects linked to it follow the
    // delete rule. Deleting it again does nothing.
    void deleteObject(ManagedObject& object);

    Result<std::vector<ManagedObjectRef>> executeFetchRequest(const FetchRequest& request);
    Result<std::size_t> countForFetchRequest(const FetchRequest& request);
    template <class T>
    Result<std::vector<std::shared_ptr<T>>>
    fetch(Condition predicate = {}, std::vector<SortDescriptor> sortDescriptors = {}, std::size_t fetchLimit = 0);

    // Called after each change to an object, its making and deletion among them, long before it is saved.
    void setChangeHandler(std::function<void(std::string_view entityName)> handler) {
        changeHandler_ = std::move(handler);
    }
    bool hasChanges() const;
    // Everything or nothing, durable when it returns. First all changed objects are validated: one fault is an error of
    // its own, several are one of code 1560 (StoreErrors.h). After a failure the changes are still there.
    Result<void> save();

    // `commit` puts what stands in the form into the object; false when that can't be, such as for a half-typed date.
    [[nodiscard]] std::shared_ptr<EditorRegistration> registerEditor(std::function<bool()> commit);
    // Asks all editors; false as soon as one refuses.
    bool commitEditing();

private:
    friend class ManagedObject;
    using State = ManagedObject::State;
    struct EntityState;

    template <class T>
    static std::shared_ptr<T> typed(ManagedObjectRef object) {
        auto typed = std::dynamic_pointer_cast<T>(std::move(object));
        assertThat(typed != nullptr, "An entity has another class than it was asked for");
        return typed;
    }
    [[noreturn]] void failThread() const;
    EntityState& stateOf(const EntityDescription& entity);
    const EntityDescription& entityNamed(std::string_view name) const;
    ManagedObjectRef makeObject(const EntityDescription& entity, std::int64_t row);
    ManagedObjectRef registered(EntityState& state, std::int64_t row) const;
    Result<std::vector<ManagedObjectRef>> find(const EntityDescription& entity, const Condition& condition,
                                               std::size_t storeLimit);
    std::vector<ManagedObjectRef> pendingWith(EntityState& state, const Condition& condition);

    // From the objects.
    void attributeDidChange(ManagedObject& object, std::size_t attribute);
    void linkWillChange(ManagedObject& object, std::size_t relationship);
    void linkDidChange(ManagedObject& object, std::size_t relationship);
    void keep(ManagedObject& object, bool isKept);
    ManagedObjectRef objectAtRow(std::string_view entityName, std::int64_t row);
    std::vector<ManagedObjectRef> objectsLinkingTo(const ManagedObject& object,
                                                   const RelationshipDescription& relationship);

    void markUpdated(ManagedObject& object);
    void tellChangeOf(const ManagedObject& object);
    void addPending(ManagedObject& object, State state);
    void indexPending(ManagedObject& object, std::size_t attribute);
    void indexPendingLink(ManagedObject& object, std::size_t relationship);
    void touchLinked(ManagedObject& object, std::size_t relationship);
    Result<void> validate();
    std::vector<StoreChange> changesToSave();
    void didSave();

    const std::thread::id thread_;
    std::unique_ptr<PersistentStore> store_;
    const ObjectClasses classes_;
    std::vector<EntityState> entities_;  // by their place in the model
    std::unordered_map<const ManagedObject*, ManagedObjectRef> kept_;
    std::size_t changes_ = 0;  // objects with something to save
    std::vector<std::weak_ptr<EditorRegistration>> editors_;
    std::function<void(std::string_view)> changeHandler_;
};

template <class T>
Result<std::vector<std::shared_ptr<T>>>
ManagedObjectContext::fetch(Condition predicate, std::vector<SortDescriptor> sortDescriptors, std::size_t fetchLimit) {
    auto found = executeFetchRequest({T::kEntityName, std::move(predicate), std::move(sortDescriptors), fetchLimit});
    if (!found) return failed(found);
    std::vector<std::shared_ptr<T>> objects;
    objects.reserve(found->size());
    for (auto& object : *found)
        objects.push_back(typed<T>(std::move(object)));
    return objects;
}

}  // namespace qs
