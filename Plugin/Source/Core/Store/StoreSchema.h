// The tables of a model. Private to the store.
//
// Each entity has a table of its name: "_id", "_version" (counts the saves), its attributes, then a column for each
// relationship to one object, which holds that object's "_id". "_metadata" holds the model.
#pragma once

#include <string>
#include <vector>

#include "Core/Store/ObjectModel.h"
#include "Database/Database.h"

namespace qs {

// In the file's header. The format counts changes in how models become tables.
inline constexpr std::int64_t kStoreApplicationId = 0x51537464;
inline constexpr std::int64_t kStoreFormat = 1;

// Quoted, in the order of the entity: attributes, then relationships to one.
std::vector<std::string> columnNames(const EntityDescription& entity);
std::string createTableSql(const EntityDescription& entity, std::string_view tableName);
void createIndexes(Database& database, const EntityDescription& entity);
// All of it, in one transaction.
void createStore(Database& database, const ManagedObjectModel& model);
void putModel(Database& database, const ManagedObjectModel& model);

}  // namespace qs
