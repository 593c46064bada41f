// What kinds of objects a store holds: entities with their attributes and relationships. Read from a property list that
// is delivered with the plug-in; a store keeps a copy of the model that it was written with, from which a later one
// infers what has changed (StoreMigration.h).
//
//     version         counts up with every change that is delivered
//     entities        array of
//       name, class   class: of the objects (ManagedObjectContext.h)
//       identity      the attribute by which people and other records know an object
//       attributes    array of: name, type (an AttributeType), optional (yes if not given), default, indexed
//       relationships array of: name, destination, inverse, toMany, deleteRule ("Nullify" if not given, "Cascade")
//
// An entity, attribute or relationship that had another name before says so as its renamingIdentifier. A relationship
// has exactly one side that is to-many; the other side's row holds the link.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Result.h"
#include "Foundation/Value.h"

namespace qs {

class Bundle;

enum class AttributeType { Boolean, Integer, Real, String, Date, StringArray, StringSet, StringDictionary };

struct AttributeDescription {
    std::string name;
    AttributeType type = AttributeType::String;
    bool isOptional = true;
    bool isIndexed = false;
    Value defaultValue;
    std::string renamingIdentifier;  // the name itself, unless it was another one
};

// What happens to the objects at the other end when an object is deleted.
enum class DeleteRule { Nullify, Cascade };

struct RelationshipDescription {
    std::string name, destination, inverse;
    bool isToMany = false;
    DeleteRule deleteRule = DeleteRule::Nullify;
    std::string renamingIdentifier;
};

struct EntityDescription {
    std::string name, className;
    std::string identity;  // an attribute's name; may be empty
    std::string renamingIdentifier;
    std::vector<AttributeDescription> attributes;
    std::vector<RelationshipDescription> relationships;

    // The place in the vector; nothing for an unknown name.
    std::optional<std::size_t> attributeIndex(std::string_view name) const;
    std::optional<std::size_t> relationshipIndex(std::string_view name) const;
};

class ManagedObjectModel {
public:
    using Ref = std::shared_ptr<const ManagedObjectModel>;

    // Fails with a sentence that tells the first mistake.
    static Result<Ref> fromPropertyList(const Value& list);
    // All files *.qsmodel among the bundle's resources as one model; its version is the greatest of theirs. Null, with
    // a log line, when there is none or one of them can't be used.
    static Ref mergedModelFromBundles(const std::vector<const Bundle*>& bundles);

    int version() const { return version_; }
    const std::vector<EntityDescription>& entities() const { return entities_; }
    // Null for an unknown name. The address is the entity's identity as long as the model lives.
    const EntityDescription* entityNamed(std::string_view name) const;
    std::size_t indexOf(const EntityDescription& entity) const;
    // The same model gives the same list. Comes back whole through fromPropertyList.
    Value propertyList() const;

private:
    ManagedObjectModel() = default;
    Result<void> check() const;

    int version_ = 0;
    std::vector<EntityDescription> entities_;
};

// `value` in the form in which objects hold it: the very type, sets sorted and without repetitions. Nil stays nil.
// Nothing for a value of another type. Integers become reals where those are asked for.
std::optional<Value> valueOfType(const Value& value, AttributeType type);

}  // namespace qs
