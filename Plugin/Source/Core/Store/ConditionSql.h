// A condition as SQL over the table of its entity. Private to the store.
#pragma once

#include <string>

#include "Core/Store/Condition.h"
#include "Core/Store/ObjectModel.h"
#include "Database/Database.h"

namespace qs {

struct SqlExpression {
    std::string text;  // 0 or 1 for every row, never NULL
    SqlValues values;
};

// An assertion failure for a property that the entity does not have.
SqlExpression sqlFor(const Condition& condition, const EntityDescription& entity);
std::string quotedName(std::string_view name);

}  // namespace qs
