// The file of a store: an SQLite database with a table for each entity, and a copy of the model it was written with.
//
// Opening it makes it if there is none, checks it whole, and brings the file of an older model to the newer one
// (StoreMigration.h). A file that can't be used is left as it is. What write() has answered with success outlives a
// power cut. Used by one thread; one process at a time writes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

#include "Core/Store/Condition.h"
#include "Core/Store/ObjectModel.h"
#include "Foundation/Result.h"

namespace qs {

class Database;
class FileSystem;
class Query;

// A row under the eye of a visitor; not to be kept.
class StoredRow {
public:
    std::int64_t row() const;
    std::int64_t version() const;
    std::vector<Value> values() const;        // by the attribute's place in the entity
    std::vector<std::int64_t> links() const;  // by the relationship's place; 0 for none, and for those to many

private:
    friend class PersistentStore;
    StoredRow(const Query& query, const EntityDescription& entity) : query_(query), entity_(entity) {}
    const Query& query_;
    const EntityDescription& entity_;
};

struct StoreChange {
    enum class Kind { Insert, Update, Delete };
    Kind kind = Kind::Insert;
    const EntityDescription* entity = nullptr;
    std::int64_t row = 0;
    std::int64_t version = 0;  // that the row has in the store; each update adds one
    // Of the object, not used for Delete. An update writes what `changed` names: a bit for each attribute, then for
    // each relationship.
    const std::vector<Value>* values = nullptr;
    const std::vector<std::int64_t>* links = nullptr;
    std::uint64_t changed = 0;
};

class PersistentStore {
public:
    // Makes the folder too. The files beside the database are `files`'; the database itself is always a real one.
    static Result<std::unique_ptr<PersistentStore>> open(std::filesystem::path file, ManagedObjectModel::Ref model,
                                                         FileSystem& files);
    // With the model that it was written with. Changes nothing, and needs no lock; write() fails.
    static Result<std::unique_ptr<PersistentStore>> openReadOnly(std::filesystem::path file);
    ~PersistentStore();

    const ManagedObjectModel& model() const { return *model_; }
    const ManagedObjectModel::Ref& modelRef() const { return model_; }
    // Greater than that of every row that the entity had when the store was opened.
    std::int64_t firstFreeRow(const EntityDescription& entity) const { return freeRows_[model_->indexOf(entity)]; }

    // In the order of rows; at most `limit`, if that is not 0.
    Result<void> forEachRow(const EntityDescription& entity, const Condition& condition, std::size_t limit,
                            const std::function<void(const StoredRow&)>& visit);
    Result<std::size_t> count(const EntityDescription& entity, const Condition& condition);
    // All of them or none. A row to be written that is not there in that version any more is a merge conflict.
    Result<void> write(const std::vector<StoreChange>& changes);
    // Looks through all of the file; what is wrong with it, as the database says it.
    Result<std::vector<std::string>> damage();
    // A sentence for each link that leads nowhere. Readers take it for none.
    Result<std::vector<std::string>> brokenLinks();

private:
    PersistentStore() = default;
    Result<void> prepare(FileSystem& files);
    Result<void> checkIsOurs();
    Result<ManagedObjectModel::Ref> storedModel();
    void apply(const StoreChange& change);
    void findFreeRows();

    std::filesystem::path file_;
    ManagedObjectModel::Ref model_;
    std::unique_ptr<Database> database_;
    std::vector<std::int64_t> freeRows_;  // by the entity's place in the model
};

}  // namespace qs
