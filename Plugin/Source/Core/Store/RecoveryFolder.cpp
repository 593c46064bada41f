#include "Core/Store/RecoveryFolder.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "Core/Store/ManagedObjectContext.h"
#include "Core/Store/StoreErrors.h"
#include "Core/Store/StoredValue.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"

namespace qs {

namespace {

constexpr std::string_view kSuffix = ".json";
constexpr std::size_t kMostAtOneMoment = 100'000;

// The time of deletion begins the name, so that old ones are found without reading them.
std::string nameFor(const ManagedObject& object, Date now, std::size_t attempt) {
    return stringWithFormat("%ld-%@-%lu%@", {static_cast<std::int64_t>(std::floor(now.secondsSince1970)),
                                             object.entity().name, static_cast<std::int64_t>(attempt), kSuffix});
}

Value identityOf(const ManagedObject& object) {
    const std::string& identity = object.entity().identity;
    return identity.empty() ? Value() : object.valueForKey(identity);
}

std::string titleOf(const ManagedObject& object) {
    for (const char* attribute : {"title", "name"})
        if (object.entity().attributeIndex(attribute))
            if (auto title = object.valueForKey(attribute).stringValue(); !title.empty()) return title;
    return identityOf(object).stringValue();
}

// Attributes, then links: to one and to those that would stay, the identity; those deleted along with it, whole.
Value recordOf(const ManagedObject& object) {
    Dictionary attributes, links, parts;
    for (const auto& attribute : object.entity().attributes)
        attributes[attribute.name] = object.valueForKey(attribute.name);
    for (const auto& relationship : object.entity().relationships) {
        if (!relationship.isToMany) {
            if (const auto other = object.relatedObject(relationship.name))
                links[relationship.name] = identityOf(*other);
            continue;
        }
        Array others;
        for (const auto& other : object.relatedObjects(relationship.name))
            others.push_back(relationship.deleteRule == DeleteRule::Cascade ? recordOf(*other) : identityOf(*other));
        (relationship.deleteRule == DeleteRule::Cascade ? parts : links)[relationship.name] = others;
    }
    return Dictionary{{"entity", object.entity().name}, {"attributes", attributes}, {"links", links}, {"parts", parts}};
}

// By its name, or by the one it had when the record was written.
template <class Description>
const Value& named(const Value& values, const Description& description) {
    const Value& found = values[description.name];
    return found.isNil() ? values[description.renamingIdentifier] : found;
}

ManagedObjectRef existing(ManagedObjectContext& context, const EntityDescription& entity, const Value& identity) {
    if (entity.identity.empty() || identity.isNil()) return nullptr;
    auto found = context.executeFetchRequest(
        {entity.name, {.kind = Condition::Kind::Is, .property = entity.identity, .values = {identity}}, {}, 1});
    return found && !found->empty() ? found->front() : nullptr;
}

void setAttributes(ManagedObject& object, const Value& attributes) {
    for (const auto& attribute : object.entity().attributes) {
        const auto value = valueFromJsonValue(named(attributes, attribute), attribute.type);
        if (!value || (value->isNil() && !attribute.isOptional)) continue;  // keeps its default
        object.setValue(*value, attribute.name);
    }
}

ManagedObjectRef make(ManagedObjectContext& context, const EntityDescription& entity, const Value& record);

void linkTo(ManagedObjectContext& context, const ManagedObjectRef& object, const RelationshipDescription& relationship,
            const Value& record) {
    const EntityDescription& destination = *context.model().entityNamed(relationship.destination);
    const Value& links = named(record["links"], relationship);
    if (!relationship.isToMany) {
        if (const auto other = existing(context, destination, links))
            object->setRelatedObject(other, relationship.name);
        return;
    }
    for (const Value& part : named(record["parts"], relationship).array())
        make(context, destination, part)->setRelatedObject(object, relationship.inverse);
    // Those that have found another place since stay there.
    for (const Value& link : links.array())
        if (const auto other = existing(context, destination, link))
            if (!other->relatedObject(relationship.inverse)) other->setRelatedObject(object, relationship.inverse);
}

ManagedObjectRef make(ManagedObjectContext& context, const EntityDescription& entity, const Value& record) {
    auto object = context.insertNewObjectForEntityForName(entity.name);
    setAttributes(*object, record["attributes"]);
    for (const auto& relationship : entity.relationships)
        linkTo(context, object, relationship, record);
    return object;
}

const EntityDescription* entityFor(const ManagedObjectModel& model, const std::string& name) {
    const auto found = std::ranges::find_if(
        model.entities(), [&](const auto& entity) { return entity.name == name || entity.renamingIdentifier == name; });
    return found == model.entities().end() ? nullptr : &*found;
}

}  // namespace

RecoveryFolder::RecoveryFolder(std::filesystem::path folder, FileSystem& files)
    : folder_(std::move(folder)), files_(files) {}

Result<std::string> RecoveryFolder::keep(const ManagedObject& object, std::string_view reason, Date now) {
    if (auto made = files_.makeFolder(folder_); !made) return failed(made);
    const Value file = Dictionary{
        {"version", 1}, {"deleted", now}, {"reason", reason}, {"title", titleOf(object)}, {"record", recordOf(object)}};
    for (std::size_t attempt = 1; attempt < kMostAtOneMoment; ++attempt) {
        std::string name = nameFor(object, now, attempt);
        if (files_.exists(folder_ / name)) continue;
        if (auto written = files_.replace(folder_ / name, jsonFrom(file)); !written) return failed(written);
        return name;
    }
    return failure(storeError(StoreErrorCode::Save, "Too many records were deleted at once."));
}

Result<Value> RecoveryFolder::read(std::string_view name) {
    // Names come from the page, too.
    if (name.find('/') != std::string_view::npos || !name.ends_with(kSuffix))
        return failure(storeError(StoreErrorCode::Open, "There is no such deleted record."));
    const auto text = files_.read(folder_ / name);
    return text ? valueFromJson(*text) : failed(text);
}

std::vector<RecoverableRecord> RecoveryFolder::list() {
    std::vector<RecoverableRecord> records;
    for (const FileInfo& file : files_.list(folder_).value_or(std::vector<FileInfo>())) {
        const std::string name = file.path.filename();
        if (!name.ends_with(kSuffix)) continue;
        const auto content = read(name);
        if (!content) {
            logWarning("a deleted record can't be read: " + name + ": " + content.error().description);
            continue;
        }
        records.push_back({name, (*content)["record"]["entity"].stringValue(), (*content)["title"].stringValue(),
                           (*content)["reason"].stringValue(), Date{(*content)["deleted"].doubleValue()}});
    }
    std::ranges::stable_sort(records, std::ranges::greater(), &RecoverableRecord::deleted);
    return records;
}

Result<ManagedObjectRef> RecoveryFolder::restore(std::string_view name, ManagedObjectContext& context) {
    const auto content = read(name);
    if (!content) return failed(content);
    const Value& record = (*content)["record"];
    const EntityDescription* entity = entityFor(context.model(), record["entity"].stringValue());
    if (!entity) return failure(storeError(StoreErrorCode::Model, "This version of Quillstead knows no such records."));
    const auto* identity =
        entity->identity.empty() ? nullptr : &entity->attributes[*entity->attributeIndex(entity->identity)];
    if (identity && existing(context, *entity, named(record["attributes"], *identity)))
        return failure(storeError(StoreErrorCode::Save, "This record is there already."));
    return make(context, *entity, record);
}

Result<void> RecoveryFolder::forget(std::string_view name) {
    if (name.find('/') != std::string_view::npos)
        return failure(storeError(StoreErrorCode::Open, "There is no such deleted record."));
    if (auto removed = files_.remove(folder_ / name); !removed) return removed;
    return files_.syncFolder(folder_);
}

void RecoveryFolder::prune(Date now) {
    for (const FileInfo& file : files_.list(folder_).value_or(std::vector<FileInfo>())) {
        const std::string name = file.path.filename();
        const bool isPiece = name.starts_with(".") && name.ends_with(".tmp");
        const double deleted = std::strtod(name.c_str(), nullptr);
        const bool isOld = name.ends_with(kSuffix) && deleted > 0 && now.secondsSince1970 - deleted > kKeptFor;
        if (!isPiece && !isOld) continue;
        if (auto removed = files_.remove(file.path); !removed)
            logWarning("a deleted record can't be removed: " + removed.error().description);
    }
}

}  // namespace qs
