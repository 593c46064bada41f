#include "StoreReport.h"

#include <algorithm>

#include "Core/Store/PersistentStore.h"
#include "Foundation/Json.h"

namespace qs {

namespace {

std::string recordText(const EntityDescription& entity, const StoredRow& row) {
    const auto values = row.values();
    const auto links = row.links();
    Dictionary record{{"_id", row.row()}};
    for (std::size_t i = 0; i < values.size(); ++i)
        record[entity.attributes[i].name] = values[i];
    for (std::size_t i = 0; i < links.size(); ++i)
        if (!entity.relationships[i].isToMany)
            record[entity.relationships[i].name] = links[i] == 0 ? Value() : Value(links[i]);
    return jsonText(record);
}

}  // namespace

Result<void> writeSummary(PersistentStore& store, std::ostream& out) {
    out << "version " << store.model().version() << '\n';
    std::size_t widest = 0;
    for (const auto& entity : store.model().entities())
        widest = std::max(widest, entity.name.size());
    for (const auto& entity : store.model().entities()) {
        const auto count = store.count(entity, {});
        if (!count) return failed(count);
        out << entity.name << std::string(widest + 2 - entity.name.size(), ' ') << *count << '\n';
    }
    return {};
}

Result<void> writeRecords(PersistentStore& store, const std::string& entityName, std::ostream& out) {
    const auto& model = store.model();
    if (!entityName.empty() && !model.entityNamed(entityName))
        return failure("quillstead-store", 1, "There is no entity " + entityName + " in this store.");
    const char* before = "{\n";
    for (const auto& entity : model.entities()) {
        if (!entityName.empty() && entity.name != entityName) continue;
        out << before << jsonText(entity.name) << ": [";
        before = ",\n";
        const char* between = "\n";
        const auto visited = store.forEachRow(entity, {}, 0, [&](const StoredRow& row) {
            out << between << recordText(entity, row);
            between = ",\n";
        });
        if (!visited) return failed(visited);
        out << "]";
    }
    out << "\n}\n";
    return {};
}

Result<std::size_t> writeFaults(PersistentStore& store, std::ostream& out) {
    std::size_t count = 0;
    for (auto found : {store.damage(), store.brokenLinks()}) {
        if (!found) return failed(found);
        for (const std::string& fault : *found)
            out << fault << '\n';
        count += found->size();
    }
    if (count == 0) out << "No faults found.\n";
    return count;
}

}  // namespace qs
