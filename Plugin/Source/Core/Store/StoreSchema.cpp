#include "Core/Store/StoreSchema.h"

#include "Core/Store/ConditionSql.h"
#include "Core/Store/StoredValue.h"

namespace qs {

std::vector<std::string> columnNames(const EntityDescription& entity) {
    std::vector<std::string> names;
    for (const auto& attribute : entity.attributes)
        names.push_back(quotedName(attribute.name));
    for (const auto& relationship : entity.relationships)
        if (!relationship.isToMany) names.push_back(quotedName(relationship.name));
    return names;
}

std::string createTableSql(const EntityDescription& entity, std::string_view tableName) {
    std::string sql = "CREATE TABLE " + quotedName(tableName) + "(_id INTEGER PRIMARY KEY, _version INTEGER NOT NULL";
    for (const auto& attribute : entity.attributes) {
        sql.append(", ").append(quotedName(attribute.name)).append(" ").append(columnType(attribute.type));
        if (!attribute.isOptional) sql += " NOT NULL";
    }
    // Deletions follow the rules of the model, object by object. Were one forgotten, the save must fail, not lose rows.
    for (const auto& relationship : entity.relationships)
        if (!relationship.isToMany)
            sql += ", " + quotedName(relationship.name) + " INTEGER REFERENCES " +
                   quotedName(relationship.destination) + "(_id) DEFERRABLE INITIALLY DEFERRED";
    return sql + ") STRICT";
}

void createIndexes(Database& database, const EntityDescription& entity) {
    const auto create = [&](const std::string& property) {
        database.run("CREATE INDEX " + quotedName(entity.name + "_" + property) + " ON " + quotedName(entity.name) +
                     "(" + quotedName(property) + ")");
    };
    for (const auto& attribute : entity.attributes)
        if (attribute.isIndexed) create(attribute.name);
    for (const auto& relationship : entity.relationships)
        if (!relationship.isToMany) create(relationship.name);
}

void createStore(Database& database, const ManagedObjectModel& model) {
    Transaction transaction(database);
    database.run("CREATE TABLE _metadata(key TEXT PRIMARY KEY, value TEXT NOT NULL) STRICT");
    for (const auto& entity : model.entities()) {
        database.run(createTableSql(entity, entity.name));
        createIndexes(database, entity);
    }
    putModel(database, model);
    database.run("PRAGMA application_id = " + std::to_string(kStoreApplicationId));
    database.run("PRAGMA user_version = " + std::to_string(kStoreFormat));
    transaction.commit();
}

void putModel(Database& database, const ManagedObjectModel& model) {
    database.run("INSERT OR REPLACE INTO _metadata(key, value) VALUES('model', ?)", {jsonFrom(model.propertyList())});
}

}  // namespace qs
