#include "Core/Store/StoreMigration.h"

#include <algorithm>
#include <cstdlib>

#include "Core/Store/ConditionSql.h"
#include "Core/Store/MigrationPlan.h"
#include "Core/Store/StoreErrors.h"
#include "Core/Store/StoreSchema.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"

namespace qs {

namespace {

constexpr std::size_t kCopiesKept = 3;
constexpr std::string_view kCopySuffix = ".sqlite";

// The copies of a store: "<number>.sqlite", counting up, and "unfinished.sqlite" until the migration it was made for is
// done. However often that is tried, no finished copy has to go for it.
class Copies {
public:
    Copies(const std::filesystem::path& file, FileSystem& files)
        : files_(files), folder_(file.parent_path() / (file.stem().string() + " Copies")) {}

    Result<void> make(Database& database) {
        if (auto made = files_.makeFolder(folder_); !made) return made;
        for (const char* side : {"", "-journal"})
            (void)files_.remove(unfinished().concat(side));  // most often there is none
        try {
            database.copyTo(unfinished());
        } catch (...) {
            discard();
            throw;
        }
        return files_.syncFolder(folder_);
    }
    void discard() { (void)files_.remove(unfinished()); }

    // Gives the copy its number, and lets the oldest go. From a migration that the power took after its end, too.
    void finish() {
        if (!files_.exists(unfinished())) return;
        auto numbers = this->numbers();
        const int number = numbers.empty() ? 1 : numbers.back() + 1;
        auto finished = files_.renameNew(unfinished(), numbered(number));
        if (finished) finished = files_.syncFolder(folder_);
        if (!finished) return logWarning("a copy of the store could not be named: " + finished.error().description);
        numbers.push_back(number);
        for (std::size_t i = 0; i + kCopiesKept < numbers.size(); ++i)
            if (auto removed = files_.remove(numbered(numbers[i])); !removed)
                logWarning("an old copy of the store could not be removed: " + removed.error().description);
    }

private:
    std::filesystem::path unfinished() const { return folder_ / "unfinished.sqlite"; }
    std::filesystem::path numbered(int number) const {
        return folder_ / (std::to_string(number) + std::string(kCopySuffix));
    }
    std::vector<int> numbers() {
        std::vector<int> numbers;
        for (const FileInfo& file : files_.list(folder_).value_or(std::vector<FileInfo>()))
            if (const int number = std::atoi(file.path.stem().c_str()); number > 0) numbers.push_back(number);
        std::ranges::sort(numbers);
        return numbers;
    }

    FileSystem& files_;
    std::filesystem::path folder_;
};

std::string temporaryName(const EntityDescription& entity) { return "_new_" + entity.name; }

std::int64_t rowsIn(Database& database, std::string_view table) {
    return database.integer("SELECT count(*) FROM " + quotedName(table));
}

void fill(Database& database, const MigrationPlan::Entity& plan) {
    const std::string table = temporaryName(*plan.to);
    database.run(createTableSql(*plan.to, table));
    if (!plan.from) return;
    std::string names = "_id, _version", expressions = names;
    for (const std::string& name : columnNames(*plan.to))
        names += ", " + name;
    for (const std::string& expression : plan.expressions)
        expressions += ", " + expression;
    database.run("INSERT INTO " + quotedName(table) + "(" + names + ") SELECT " + expressions + " FROM " +
                     quotedName(plan.from->name),
                 plan.values);
    if (rowsIn(database, table) != rowsIn(database, plan.from->name))
        throw DatabaseFailure("records of " + plan.from->name + " were not taken over", 0);
}

// Every table is made anew, in one transaction. Links are not enforced meanwhile, as tables come and go.
void carryOut(Database& database, const MigrationPlan& plan, const ManagedObjectModel& to) {
    Transaction transaction(database);
    const std::int64_t brokenBefore = database.integer("SELECT count(*) FROM pragma_foreign_key_check");
    for (const auto& entity : plan.entities)
        fill(database, entity);
    for (const auto& entity : plan.entities)
        if (entity.from) database.run("DROP TABLE " + quotedName(entity.from->name));
    for (const auto* entity : plan.gone)
        database.run("DROP TABLE " + quotedName(entity->name));
    for (const auto& entity : plan.entities) {
        database.run("ALTER TABLE " + quotedName(temporaryName(*entity.to)) + " RENAME TO " +
                     quotedName(entity.to->name));
        createIndexes(database, *entity.to);
    }
    if (database.integer("SELECT count(*) FROM pragma_foreign_key_check") > brokenBefore)
        throw DatabaseFailure("links between records were not taken over", 0);
    putModel(database, to);
    transaction.commit();
}

}  // namespace

Result<void> migrateStore(const MigratingStore& store, const ManagedObjectModel& from, const ManagedObjectModel& to) {
    Copies copies(store.file, store.files);
    if (from.version() > to.version()) return failure(storeIsTooNew(store.file));
    if (from.propertyList() == to.propertyList()) {
        copies.finish();
        return {};
    }
    const auto plan = inferMigration(from, to);
    if (!plan) return failed(plan);
    if (auto copied = copies.make(store.database); !copied) return copied;
    logInfo(stringWithFormat("bringing the store from version %d to version %d", {from.version(), to.version()}));
    store.database.runScript("PRAGMA foreign_keys = OFF");
    try {
        carryOut(store.database, *plan, to);
    } catch (const DatabaseFailure& exception) {
        copies.discard();
        return failure(storeError(StoreErrorCode::Migration, exception, store.file.string()));
    }
    store.database.runScript("PRAGMA foreign_keys = ON");
    copies.finish();
    return {};
}

Error storeIsTooNew(const std::filesystem::path& file) {
    return storeError(StoreErrorCode::TooNew,
                      stringWithFormat("The file “%@” was written by a newer version of Quillstead. It was left as it "
                                       "is; please update Quillstead to use it.",
                                       {file.filename().string()}),
                      {{std::string(NSFilePathErrorKey), file.string()}});
}

}  // namespace qs
