#include "Core/Store/PersistentStore.h"

#include <optional>

#include "Core/Store/ConditionSql.h"
#include "Core/Store/StoreErrors.h"
#include "Core/Store/StoreMigration.h"
#include "Core/Store/StoreSchema.h"
#include "Core/Store/StoredValue.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"

namespace qs {

namespace {

constexpr int kCacheKilobytes = 8000;
// Whoever looks into the file with another program must not hold up the interface for long.
constexpr int kBusyMilliseconds = 2000;
constexpr std::size_t kMostFaults = 20;
constexpr int kFirstColumn = 2;  // after _id and _version

// A row that another program has changed or removed.
class MergeConflict : public std::exception {};

std::string selectSql(const EntityDescription& entity) {
    std::string sql = "SELECT _id, _version";
    for (const std::string& name : columnNames(entity))
        sql += ", " + name;
    return sql + " FROM " + quotedName(entity.name) + " WHERE ";
}

std::string insertSql(const EntityDescription& entity) {
    std::string names = "_id, _version", places = "?, 1";
    for (const std::string& name : columnNames(entity)) {
        names += ", " + name;
        places += ", ?";
    }
    return "INSERT INTO " + quotedName(entity.name) + "(" + names + ") VALUES(" + places + ")";
}

SqlValue linkValue(std::int64_t link) { return link == 0 ? SqlValue(nullptr) : SqlValue(link); }

SqlValues insertValues(const StoreChange& change) {
    SqlValues values{change.row};
    const EntityDescription& entity = *change.entity;
    for (std::size_t i = 0; i < entity.attributes.size(); ++i)
        values.push_back(sqlFrom((*change.values)[i], entity.attributes[i].type));
    for (std::size_t i = 0; i < entity.relationships.size(); ++i)
        if (!entity.relationships[i].isToMany) values.push_back(linkValue((*change.links)[i]));
    return values;
}

void update(Database& database, const StoreChange& change) {
    const EntityDescription& entity = *change.entity;
    std::string sql = "UPDATE " + quotedName(entity.name) + " SET _version = _version + 1";
    SqlValues values;
    const auto isChanged = [&](std::size_t bit) { return (change.changed >> bit & 1) != 0; };
    const auto put = [&](const std::string& name, SqlValue value) {
        sql += ", " + quotedName(name) + " = ?";
        values.push_back(std::move(value));
    };
    for (std::size_t i = 0; i < entity.attributes.size(); ++i)
        if (isChanged(i)) put(entity.attributes[i].name, sqlFrom((*change.values)[i], entity.attributes[i].type));
    for (std::size_t i = 0; i < entity.relationships.size(); ++i)
        if (isChanged(entity.attributes.size() + i)) put(entity.relationships[i].name, linkValue((*change.links)[i]));
    values.emplace_back(change.row);
    values.emplace_back(change.version);
    database.run(sql + " WHERE _id = ? AND _version = ?", values);
    if (database.changes() != 1) throw MergeConflict();
}

void remove(Database& database, const StoreChange& change) {
    database.run("DELETE FROM " + quotedName(change.entity->name) + " WHERE _id = ? AND _version = ?",
                 {change.row, change.version});
    if (database.changes() == 1) return;
    // That somebody else has removed it is as good.
    if (database.integer("SELECT count(*) FROM " + quotedName(change.entity->name) + " WHERE _id = ?", {change.row}) !=
        0)
        throw MergeConflict();
}

// A file that somebody put in the store's place can't make us run what stands in it.
void distrust(Database& database) { database.runScript("PRAGMA trusted_schema = OFF"); }

Error unusable(StoreErrorCode code, std::string_view format, const std::filesystem::path& file) {
    return storeError(code, stringWithFormat(format, {file.filename().string()}),
                      {{std::string(NSFilePathErrorKey), file.string()}});
}

// What the database throws ends here.
template <class Call>
auto guarded(StoreErrorCode code, const std::filesystem::path& file, Call call) -> decltype(call()) {
    try {
        return call();
    } catch (const DatabaseFailure& exception) {
        return failure(storeError(code, exception, file.string()));
    }
}

}  // namespace

std::int64_t StoredRow::row() const { return query_.integer(0); }
std::int64_t StoredRow::version() const { return query_.integer(1); }

std::vector<Value> StoredRow::values() const {
    std::vector<Value> values;
    values.reserve(entity_.attributes.size());
    int column = kFirstColumn;
    for (const auto& attribute : entity_.attributes)
        values.push_back(valueFrom(query_, column++, attribute.type));
    return values;
}

std::vector<std::int64_t> StoredRow::links() const {
    std::vector<std::int64_t> links;
    int column = kFirstColumn + static_cast<int>(entity_.attributes.size());
    for (const auto& relationship : entity_.relationships)
        links.push_back(relationship.isToMany ? 0 : query_.integer(column++));
    return links;
}

PersistentStore::~PersistentStore() = default;

Result<std::unique_ptr<PersistentStore>> PersistentStore::open(std::filesystem::path file,
                                                               ManagedObjectModel::Ref model, FileSystem& files) {
    using Made = Result<std::unique_ptr<PersistentStore>>;
    std::unique_ptr<PersistentStore> store(new PersistentStore);
    store->file_ = std::move(file);
    store->model_ = std::move(model);
    const std::filesystem::path folder = store->file_.parent_path();
    if (auto made = files.makeFolder(folder); !made) return failed(made);
    return guarded(StoreErrorCode::Open, store->file_, [&]() -> Made {
        store->database_ =
            std::make_unique<Database>(store->file_, Database::Options{.access = Database::Access::Write,
                                                                       .cacheKilobytes = kCacheKilobytes,
                                                                       .isDurable = true,
                                                                       .busyMilliseconds = kBusyMilliseconds});
        distrust(*store->database_);
        // The file's name, and that there is no journal any more from the time before it had a write-ahead log.
        if (auto synced = files.syncFolder(folder); !synced) return failed(synced);
        if (auto prepared = store->prepare(files); !prepared) return failed(prepared);
        store->findFreeRows();
        return std::move(store);
    });
}

Result<std::unique_ptr<PersistentStore>> PersistentStore::openReadOnly(std::filesystem::path file) {
    using Made = Result<std::unique_ptr<PersistentStore>>;
    std::unique_ptr<PersistentStore> store(new PersistentStore);
    store->file_ = std::move(file);
    return guarded(StoreErrorCode::Open, store->file_, [&]() -> Made {
        store->database_ =
            std::make_unique<Database>(store->file_, Database::Options{.access = Database::Access::ReadOnly,
                                                                       .cacheKilobytes = kCacheKilobytes,
                                                                       .busyMilliseconds = kBusyMilliseconds});
        distrust(*store->database_);
        if (auto ours = store->checkIsOurs(); !ours) return failed(ours);
        auto model = store->storedModel();
        if (!model) return failed(model);
        store->model_ = std::move(*model);
        return std::move(store);
    });
}

Result<void> PersistentStore::prepare(FileSystem& files) {
    if (database_->integer("SELECT count(*) FROM sqlite_master") == 0) {
        createStore(*database_, *model_);
        return {};
    }
    const auto found = damage();
    if (!found) return failed(found);
    if (!found->empty()) {
        Error error = unusable(
            StoreErrorCode::Damaged,
            "The file “%@” is damaged. It was left as it is; please put a copy of it from your backup in its place.",
            file_);
        error.userInfo["faults"] = Array(found->begin(), found->end());
        return failure(std::move(error));
    }
    if (auto ours = checkIsOurs(); !ours) return ours;
    const auto before = storedModel();
    if (!before) return failed(before);
    return migrateStore({.database = *database_, .file = file_, .files = files}, **before, *model_);
}

Result<void> PersistentStore::checkIsOurs() {
    if (database_->integer("PRAGMA application_id") != kStoreApplicationId)
        return failure(
            unusable(StoreErrorCode::Open, "The file “%@” is no store of Quillstead's. It was left as it is.", file_));
    if (database_->integer("PRAGMA user_version") > kStoreFormat) return failure(storeIsTooNew(file_));
    return {};
}

Result<ManagedObjectModel::Ref> PersistentStore::storedModel() {
    const auto list = valueFromJson(database_->text("SELECT value FROM _metadata WHERE key = 'model'"));
    if (list) return ManagedObjectModel::fromPropertyList(*list);
    return failure(unusable(StoreErrorCode::Damaged, "The file “%@” does not say what it holds.", file_));
}

void PersistentStore::findFreeRows() {
    for (const auto& entity : model_->entities())
        freeRows_.push_back(database_->integer("SELECT max(_id) FROM " + quotedName(entity.name)) + 1);
}

Result<void> PersistentStore::forEachRow(const EntityDescription& entity, const Condition& condition, std::size_t limit,
                                         const std::function<void(const StoredRow&)>& visit) {
    return guarded(StoreErrorCode::Open, file_, [&]() -> Result<void> {
        SqlExpression where = sqlFor(condition, entity);
        std::string sql = selectSql(entity) + where.text + " ORDER BY _id";
        if (limit != 0) sql += " LIMIT " + std::to_string(limit);
        Query query = database_->query(sql, where.values);
        const StoredRow row(query, entity);
        while (query.step())
            visit(row);
        return {};
    });
}

Result<std::size_t> PersistentStore::count(const EntityDescription& entity, const Condition& condition) {
    return guarded(StoreErrorCode::Open, file_, [&]() -> Result<std::size_t> {
        const SqlExpression where = sqlFor(condition, entity);
        return static_cast<std::size_t>(database_->integer(
            "SELECT count(*) FROM " + quotedName(entity.name) + " WHERE " + where.text, where.values));
    });
}

Result<void> PersistentStore::write(const std::vector<StoreChange>& changes) {
    const StoreChange* current = nullptr;
    try {
        return guarded(StoreErrorCode::Save, file_, [&]() -> Result<void> {
            Transaction transaction(*database_);
            {
                // Objects of one kind come in a row, so one statement serves many.
                std::optional<Query> insert;
                const EntityDescription* inserted = nullptr;
                for (const StoreChange& change : changes) {
                    current = &change;
                    if (change.kind != StoreChange::Kind::Insert) {
                        apply(change);
                        continue;
                    }
                    if (inserted == change.entity) {
                        insert->restart(insertValues(change));
                    } else {
                        insert.reset();
                        insert.emplace(database_->query(insertSql(*change.entity), insertValues(change)));
                        inserted = change.entity;
                    }
                    insert->run();
                }
            }
            transaction.commit();
            return {};
        });
    } catch (const MergeConflict&) {
        return failure(storeError(StoreErrorCode::MergeConflict,
                                  stringWithFormat("Another program has changed a record (%@ %ld) meanwhile.",
                                                   {current->entity->name, current->row})));
    }
}

void PersistentStore::apply(const StoreChange& change) {
    if (change.kind == StoreChange::Kind::Update)
        update(*database_, change);
    else
        remove(*database_, change);
}

Result<std::vector<std::string>> PersistentStore::damage() {
    return guarded(StoreErrorCode::Open, file_, [&]() -> Result<std::vector<std::string>> {
        std::vector<std::string> faults;
        for (Query row = database_->query("PRAGMA integrity_check(" + std::to_string(kMostFaults) + ")"); row.step();)
            if (std::string text = row.text(); text != "ok") faults.push_back(std::move(text));
        return faults;
    });
}

Result<std::vector<std::string>> PersistentStore::brokenLinks() {
    return guarded(StoreErrorCode::Open, file_, [&]() -> Result<std::vector<std::string>> {
        std::vector<std::string> faults;
        for (Query row = database_->query("PRAGMA foreign_key_check"); row.step() && faults.size() < kMostFaults;)
            faults.push_back(stringWithFormat("%@ %ld leads to a record of %@ that is not there.",
                                              {row.text(0), row.integer(1), row.text(2)}));
        return faults;
    });
}

}  // namespace qs
