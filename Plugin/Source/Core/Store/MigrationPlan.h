// How the rows of an older model become those of a newer one. Private to the store.
#pragma once

#include <string>
#include <vector>

#include "Core/Store/ObjectModel.h"
#include "Database/Database.h"

namespace qs {

struct MigrationPlan {
    struct Entity {
        const EntityDescription* from = nullptr;  // null: a new one, with no rows
        const EntityDescription* to = nullptr;
        // For each column of `to`, in their order: what it is made of.
        std::vector<std::string> expressions;
        SqlValues values;  // for the placeholders in the expressions
    };
    std::vector<Entity> entities;                // of the newer model
    std::vector<const EntityDescription*> gone;  // of the older one
};

// Fails with a sentence about the first change that can't be inferred.
Result<MigrationPlan> inferMigration(const ManagedObjectModel& from, const ManagedObjectModel& to);

}  // namespace qs
