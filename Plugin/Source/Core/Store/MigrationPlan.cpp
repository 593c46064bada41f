#include "Core/Store/MigrationPlan.h"

#include <algorithm>

#include "Core/Store/ConditionSql.h"
#include "Core/Store/StoreErrors.h"
#include "Core/Store/StoredValue.h"
#include "Foundation/Format.h"

namespace qs {

namespace {

tl::unexpected<Error> cannotInfer(std::string_view format, std::initializer_list<Value> arguments) {
    return failure(storeError(StoreErrorCode::Migration,
                              "The store can't be brought to this version: " + stringWithFormat(format, arguments)));
}

// What was called so before; a model may name the first name of all or the last one.
template <class Descriptions, class Description>
const Description* before(const Descriptions& older, const Description& newer) {
    const auto found = std::ranges::find_if(older, [&](const Description& each) {
        return each.name == newer.renamingIdentifier || each.renamingIdentifier == newer.renamingIdentifier;
    });
    return found == older.end() ? nullptr : &*found;
}

bool isWidening(AttributeType from, AttributeType to) {
    const bool isNumber = from == AttributeType::Boolean || from == AttributeType::Integer;
    return from == to || (isNumber && to == AttributeType::Real) ||
           (from == AttributeType::Boolean && to == AttributeType::Integer);
}

Result<void> addAttribute(MigrationPlan::Entity& plan, const AttributeDescription& to) {
    const AttributeDescription* from = before(plan.from->attributes, to);
    const bool needsDefault = !to.isOptional && (!from || from->isOptional);
    if (needsDefault && to.defaultValue.isNil())
        return cannotInfer("%@.%@ must have a value and has no default.", {plan.to->name, to.name});
    if (from && !isWidening(from->type, to.type))
        return cannotInfer("%@.%@ is of another type.", {plan.to->name, to.name});
    if (from && !needsDefault) {
        plan.expressions.push_back(quotedName(from->name));
        return {};
    }
    plan.expressions.push_back(from ? "coalesce(" + quotedName(from->name) + ", ?)" : "?");
    plan.values.push_back(sqlFrom(to.defaultValue, to.type));
    return {};
}

Result<void> addLink(MigrationPlan::Entity& plan, const RelationshipDescription& to, const ManagedObjectModel& older,
                     const ManagedObjectModel& newer) {
    const RelationshipDescription* from = before(plan.from->relationships, to);
    if (!from) {
        plan.expressions.emplace_back("NULL");
        return {};
    }
    const EntityDescription* destination = before(older.entities(), *newer.entityNamed(to.destination));
    if (from->isToMany || !destination || destination->name != from->destination)
        return cannotInfer("%@.%@ leads elsewhere.", {plan.to->name, to.name});
    plan.expressions.push_back(quotedName(from->name));
    return {};
}

// That a relationship to many was one to one is seen at its other side, unless that was renamed at the same time.
Result<void> checkToMany(const EntityDescription& from, const EntityDescription& to) {
    for (const auto& relationship : to.relationships) {
        const RelationshipDescription* earlier = before(from.relationships, relationship);
        if (relationship.isToMany && earlier && !earlier->isToMany)
            return cannotInfer("%@.%@ leads to one object no more.", {to.name, relationship.name});
    }
    return {};
}

Result<MigrationPlan::Entity> planFor(const EntityDescription& to, const ManagedObjectModel& older,
                                      const ManagedObjectModel& newer) {
    MigrationPlan::Entity plan{.from = before(older.entities(), to), .to = &to};
    if (!plan.from) return plan;
    for (const auto& attribute : to.attributes)
        if (auto added = addAttribute(plan, attribute); !added) return failed(added);
    for (const auto& relationship : to.relationships)
        if (!relationship.isToMany)
            if (auto added = addLink(plan, relationship, older, newer); !added) return failed(added);
    if (auto checked = checkToMany(*plan.from, to); !checked) return failed(checked);
    return plan;
}

}  // namespace

Result<MigrationPlan> inferMigration(const ManagedObjectModel& from, const ManagedObjectModel& to) {
    MigrationPlan plan;
    for (const auto& entity : to.entities()) {
        auto planned = planFor(entity, from, to);
        if (!planned) return failed(planned);
        plan.entities.push_back(std::move(*planned));
    }
    for (const auto& entity : from.entities())
        if (std::ranges::none_of(plan.entities, [&](const auto& each) { return each.from == &entity; }))
            plan.gone.push_back(&entity);
    return plan;
}

}  // namespace qs
