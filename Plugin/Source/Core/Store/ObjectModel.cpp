#include "Core/Store/ObjectModel.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "Core/Store/StoreErrors.h"
#include "Core/Store/StoredValue.h"
#include "Foundation/Bundle.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/PropertyList.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

constexpr std::size_t kLongestName = 60, kMostEntities = 200, kMostProperties = 60;
constexpr std::array<std::pair<std::string_view, AttributeType>, 8> kTypes{
    {{"Boolean", AttributeType::Boolean},
     {"Integer", AttributeType::Integer},
     {"Real", AttributeType::Real},
     {"String", AttributeType::String},
     {"Date", AttributeType::Date},
     {"StringArray", AttributeType::StringArray},
     {"StringSet", AttributeType::StringSet},
     {"StringDictionary", AttributeType::StringDictionary}}};

tl::unexpected<Error> badModel(std::string_view format, std::initializer_list<Value> arguments) {
    return failure(
        storeError(StoreErrorCode::Model, "The object model is not right: " + stringWithFormat(format, arguments)));
}

// Names become those of tables and columns. What begins with an underscore is the store's own.
bool isName(std::string_view name) {
    return !name.empty() && name.size() <= kLongestName && isAsciiLetter(name.front()) &&
           std::ranges::all_of(name, [](char c) { return isAsciiLetter(c) || isAsciiDigit(c); });
}

template <class Properties>
std::optional<std::size_t> indexByName(const Properties& properties, std::string_view name) {
    for (std::size_t i = 0; i < properties.size(); ++i)
        if (properties[i].name == name) return i;
    return {};
}

std::string nameBefore(const Value& list) {
    const std::string before = list["renamingIdentifier"].stringValue();
    return before.empty() ? list["name"].stringValue() : before;
}

Result<AttributeDescription> attributeFrom(const Value& list, std::string_view entity) {
    AttributeDescription attribute{.name = list["name"].stringValue(),
                                   .isOptional = list["optional"].isNil() || list["optional"].boolValue(),
                                   .isIndexed = list["indexed"].boolValue(),
                                   .renamingIdentifier = nameBefore(list)};
    const std::string typeName = list["type"].stringValue();
    const auto* type = std::ranges::find(kTypes, typeName, [](const auto& known) { return known.first; });
    if (type == kTypes.end()) return badModel("%@.%@ is of no known type.", {entity, attribute.name});
    attribute.type = type->second;
    auto value = valueFromJsonValue(list["default"], attribute.type);
    if (!value) return badModel("%@.%@ has a default of another type.", {entity, attribute.name});
    attribute.defaultValue = std::move(*value);
    return attribute;
}

Result<RelationshipDescription> relationshipFrom(const Value& list, std::string_view entity) {
    RelationshipDescription relationship{.name = list["name"].stringValue(),
                                         .destination = list["destination"].stringValue(),
                                         .inverse = list["inverse"].stringValue(),
                                         .isToMany = list["toMany"].boolValue(),
                                         .renamingIdentifier = nameBefore(list)};
    const std::string rule = list["deleteRule"].stringValue();
    if (rule == "Cascade")
        relationship.deleteRule = DeleteRule::Cascade;
    else if (!rule.empty() && rule != "Nullify")
        return badModel("%@.%@ has an unknown delete rule.", {entity, relationship.name});
    return relationship;
}

Result<EntityDescription> entityFrom(const Value& list) {
    EntityDescription entity{.name = list["name"].stringValue(),
                             .className = list["class"].stringValue(),
                             .identity = list["identity"].stringValue(),
                             .renamingIdentifier = nameBefore(list)};
    for (const Value& each : list["attributes"].array()) {
        auto attribute = attributeFrom(each, entity.name);
        if (!attribute) return failed(attribute);
        entity.attributes.push_back(std::move(*attribute));
    }
    for (const Value& each : list["relationships"].array()) {
        auto relationship = relationshipFrom(each, entity.name);
        if (!relationship) return failed(relationship);
        entity.relationships.push_back(std::move(*relationship));
    }
    return entity;
}

void putRenaming(Dictionary& list, const std::string& name, const std::string& before) {
    if (before != name) list["renamingIdentifier"] = before;
}

Value listOf(const AttributeDescription& attribute) {
    const auto* type = std::ranges::find(kTypes, attribute.type, [](const auto& known) { return known.second; });
    Dictionary list{{"name", attribute.name}, {"type", type->first}};
    if (!attribute.isOptional) list["optional"] = false;
    if (attribute.isIndexed) list["indexed"] = true;
    if (!attribute.defaultValue.isNil()) list["default"] = attribute.defaultValue;
    putRenaming(list, attribute.name, attribute.renamingIdentifier);
    return list;
}

Value listOf(const RelationshipDescription& relationship) {
    Dictionary list{
        {"name", relationship.name}, {"destination", relationship.destination}, {"inverse", relationship.inverse}};
    if (relationship.isToMany) list["toMany"] = true;
    if (relationship.deleteRule == DeleteRule::Cascade) list["deleteRule"] = "Cascade";
    putRenaming(list, relationship.name, relationship.renamingIdentifier);
    return list;
}

Value listOf(const EntityDescription& entity) {
    Array attributes, relationships;
    for (const auto& attribute : entity.attributes)
        attributes.push_back(listOf(attribute));
    for (const auto& relationship : entity.relationships)
        relationships.push_back(listOf(relationship));
    Dictionary list{{"name", entity.name}, {"attributes", attributes}, {"relationships", relationships}};
    if (!entity.className.empty()) list["class"] = entity.className;
    if (!entity.identity.empty()) list["identity"] = entity.identity;
    putRenaming(list, entity.name, entity.renamingIdentifier);
    return list;
}

Result<void> checkEntity(const EntityDescription& entity) {
    std::vector<std::string> names;
    for (const auto& attribute : entity.attributes)
        names.push_back(attribute.name);
    for (const auto& relationship : entity.relationships)
        names.push_back(relationship.name);
    std::ranges::sort(names);
    if (!isName(entity.name) || !std::ranges::all_of(names, isName))
        return badModel("%@ or one of its properties has no usable name.", {entity.name});
    if (names.size() > kMostProperties || std::ranges::adjacent_find(names, equalsIgnoringCase) != names.end())
        return badModel("%@ has too many properties, or two of one name.", {entity.name});
    if (!entity.identity.empty() && !entity.attributeIndex(entity.identity))
        return badModel("%@ has no attribute %@.", {entity.name, entity.identity});
    return {};
}

Result<void> checkRelationship(const ManagedObjectModel& model, const EntityDescription& entity,
                               const RelationshipDescription& relationship) {
    const EntityDescription* destination = model.entityNamed(relationship.destination);
    const auto inverse = destination ? destination->relationshipIndex(relationship.inverse) : std::nullopt;
    const auto* back = inverse ? &destination->relationships[*inverse] : nullptr;
    if (!back || back->inverse != relationship.name || back->destination != entity.name ||
        back->isToMany == relationship.isToMany)
        return badModel("%@.%@ has no inverse that fits.", {entity.name, relationship.name});
    if (!relationship.isToMany && relationship.deleteRule == DeleteRule::Cascade)
        return badModel("%@.%@ can't cascade.", {entity.name, relationship.name});
    return {};
}

std::optional<Value> stringsOfType(const Value& value, AttributeType type) {
    const bool isDictionary = type == AttributeType::StringDictionary;
    if (value.type() != (isDictionary ? Value::Type::Dictionary : Value::Type::Array)) return {};
    const auto isString = [](const Value& each) { return each.type() == Value::Type::String; };
    if (isDictionary) {
        const auto& entries = value.dictionary();
        if (!std::ranges::all_of(entries, [&](const auto& entry) { return isString(entry.second); })) return {};
        return value;
    }
    if (!std::ranges::all_of(value.array(), isString)) return {};
    if (type == AttributeType::StringArray) return value;
    Array strings = value.array();
    std::ranges::sort(strings, {}, &Value::stringValue);
    strings.erase(std::unique(strings.begin(), strings.end()), strings.end());
    return Value(std::move(strings));
}

}  // namespace

std::optional<std::size_t> EntityDescription::attributeIndex(std::string_view property) const {
    return indexByName(attributes, property);
}

std::optional<std::size_t> EntityDescription::relationshipIndex(std::string_view property) const {
    return indexByName(relationships, property);
}

Result<ManagedObjectModel::Ref> ManagedObjectModel::fromPropertyList(const Value& list) {
    const std::shared_ptr<ManagedObjectModel> model(new ManagedObjectModel);
    const std::int64_t version = list["version"].integerValue();
    if (version < 1 || version > 1'000'000) return badModel("it has no version.", {});
    model->version_ = static_cast<int>(version);
    for (const Value& each : list["entities"].array()) {
        auto entity = entityFrom(each);
        if (!entity) return failed(entity);
        model->entities_.push_back(std::move(*entity));
    }
    if (auto sound = model->check(); !sound) return failed(sound);
    return model;
}

Result<void> ManagedObjectModel::check() const {
    if (entities_.empty() || entities_.size() > kMostEntities) return badModel("it has too few or many entities.", {});
    for (std::size_t i = 0; i < entities_.size(); ++i) {
        if (auto sound = checkEntity(entities_[i]); !sound) return sound;
        for (std::size_t k = 0; k < i; ++k)
            if (equalsIgnoringCase(entities_[k].name, entities_[i].name))
                return badModel("there are two entities %@.", {entities_[i].name});
        for (const auto& relationship : entities_[i].relationships)
            if (auto sound = checkRelationship(*this, entities_[i], relationship); !sound) return sound;
    }
    return {};
}

const EntityDescription* ManagedObjectModel::entityNamed(std::string_view name) const {
    const auto found = indexByName(entities_, name);
    return found ? &entities_[*found] : nullptr;
}

std::size_t ManagedObjectModel::indexOf(const EntityDescription& entity) const {
    return static_cast<std::size_t>(&entity - entities_.data());
}

Value ManagedObjectModel::propertyList() const {
    Array entities;
    for (const auto& entity : entities_)
        entities.push_back(listOf(entity));
    return Dictionary{{"version", version_}, {"entities", entities}};
}

ManagedObjectModel::Ref ManagedObjectModel::mergedModelFromBundles(const std::vector<const Bundle*>& bundles) {
    std::int64_t version = 0;
    Array entities;
    for (const Bundle* bundle : bundles) {
        const auto files = FileSystem::real().list(bundle->path() / "Resources");
        if (!files) continue;  // then it has none
        for (const FileInfo& file : *files) {
            if (file.path.extension() != ".qsmodel") continue;
            const auto text = FileSystem::real().read(file.path);
            const auto list = text ? parsePropertyList(*text) : failed(text);
            if (!list) {
                logError("the object model can't be read: " + list.error().description);
                return nullptr;
            }
            version = std::max(version, (*list)["version"].integerValue());
            const Array& more = (*list)["entities"].array();
            entities.insert(entities.end(), more.begin(), more.end());
        }
    }
    auto model = fromPropertyList(Dictionary{{"version", version}, {"entities", entities}});
    if (model) return *model;
    logError(model.error().description);
    return nullptr;
}

std::optional<Value> valueOfType(const Value& value, AttributeType type) {
    using Type = Value::Type;
    const auto only = [&](Type wanted) { return value.type() == wanted ? std::optional(value) : std::nullopt; };
    if (value.isNil()) return Value();
    switch (type) {
    case AttributeType::Boolean: return only(Type::Boolean);
    case AttributeType::Integer: return only(Type::Integer);
    case AttributeType::Real: {
        if (value.type() != Type::Integer && value.type() != Type::Real) return {};
        return std::isnan(value.doubleValue()) ? Value() : Value(value.doubleValue());
    }
    case AttributeType::String: return only(Type::String);
    case AttributeType::Date: {
        if (value.type() != Type::Date) return {};
        return std::isnan(value.dateValue()->secondsSince1970) ? Value() : value;
    }
    case AttributeType::StringArray:
    case AttributeType::StringSet:
    case AttributeType::StringDictionary: return stringsOfType(value, type);
    }
    return {};
}

}  // namespace qs
