// What no difference shows, noted before it happens: what was erased, what was done to messages that are only listed,
// what is on its way to the server, and what of large messages on their way from it is here.
#include "Database/Database.h"
#include "Imap/MirrorState.h"

namespace qs {

namespace {

void accept(Database& database, const std::string& folder, const std::string& name) {
    database.run("INSERT INTO uploads(folder, name, header_digest, size, is_accepted) VALUES(?, ?, '', 0, 1) "
                 "ON CONFLICT(folder, name) DO UPDATE SET is_accepted = 1",
                 {folder, name});
}

}  // namespace

void MirrorState::noteRemovals(const std::vector<Removal>& removals) {
    const std::lock_guard hold(lock_);
    Transaction transaction(*database_);
    for (const Removal& each : removals)
        database_->run("INSERT OR IGNORE INTO removals(name, folder) VALUES(?, ?)", {each.name, each.folder});
    transaction.commit();
}

bool MirrorState::isRemoved(std::string_view name) {
    const std::lock_guard hold(lock_);
    return database_->integer("SELECT count(*) FROM removals WHERE name = ?", {std::string(name)}) != 0;
}

void MirrorState::noteWishes(const std::vector<std::pair<std::string, MirrorWish>>& wishes) {
    const std::lock_guard hold(lock_);
    Transaction transaction(*database_);
    for (const auto& [name, wish] : wishes)
        database_->run("INSERT INTO wishes(name, set_flags, clear_flags, folder) VALUES(?1, ?2, ?3, ?4) "
                       "ON CONFLICT(name) DO UPDATE SET set_flags = (set_flags | ?2) & ~?3, "
                       "clear_flags = (clear_flags | ?3) & ~?2, folder = coalesce(?4, folder)",
                       {name, std::int64_t{wish.flags.set}, std::int64_t{wish.flags.clear},
                        wish.folder ? SqlValue(*wish.folder) : SqlValue(nullptr)});
    transaction.commit();
}

std::map<std::string, MirrorWish> MirrorState::wishes() {
    const std::lock_guard hold(lock_);
    std::map<std::string, MirrorWish> all;
    for (Query row = database_->query("SELECT name, set_flags, clear_flags, folder FROM wishes"); row.step();) {
        MirrorWish& wish = all[row.text(0)];
        wish.flags = {.set = static_cast<int>(row.integer(1)), .clear = static_cast<int>(row.integer(2))};
        if (!row.isNull(3)) wish.folder = row.text(3);
    }
    for (Query row = database_->query("SELECT name FROM removals"); row.step();)
        all[row.text(0)].isRemoved = true;
    return all;
}

void MirrorState::forgetWishes(const std::vector<std::string>& names) {
    if (names.empty()) return;
    const std::lock_guard hold(lock_);
    Transaction transaction(*database_);
    for (const std::string& name : names)
        database_->run("DELETE FROM wishes WHERE name = ?", {name});
    transaction.commit();
}

void MirrorState::forgetRemovals(const std::vector<std::string>& names) {
    if (names.empty()) return;
    const std::lock_guard hold(lock_);
    Transaction transaction(*database_);
    for (const std::string& name : names)
        database_->run("DELETE FROM removals WHERE name = ?", {name});
    transaction.commit();
}

std::vector<MirrorState::Removal> MirrorState::removals() {
    const std::lock_guard hold(lock_);
    std::vector<Removal> all;
    for (Query row = database_->query("SELECT folder, name FROM removals"); row.step();)
        all.push_back({row.text(0), row.text(1)});
    return all;
}

void MirrorState::beginUpload(const Upload& upload) {
    const std::lock_guard hold(lock_);
    database_->run("INSERT OR REPLACE INTO uploads(folder, name, header_digest, size) VALUES(?, ?, ?, ?)",
                   {upload.folder, upload.name, upload.headerDigest, static_cast<std::int64_t>(upload.size)});
}

void MirrorState::acceptUploads(const std::string& folder, const std::vector<std::string>& names) {
    const std::lock_guard hold(lock_);
    Transaction transaction(*database_);
    for (const std::string& name : names)
        accept(*database_, folder, name);
    transaction.commit();
}

std::vector<Upload> MirrorState::uploads(std::string_view folder) {
    const std::lock_guard hold(lock_);
    std::vector<Upload> all;
    Query row = database_->query("SELECT folder, name, header_digest, size, is_accepted FROM uploads WHERE folder = ?",
                                 {std::string(folder)});
    while (row.step())
        all.push_back(
            {row.text(0), row.text(1), row.text(2), static_cast<std::uint64_t>(row.integer(3)), row.integer(4) != 0});
    return all;
}

void MirrorState::endUploads(std::string_view folder, const std::vector<std::string>& names) {
    if (names.empty()) return;
    const std::lock_guard hold(lock_);
    Transaction transaction(*database_);
    for (const std::string& name : names)
        database_->run("DELETE FROM uploads WHERE folder = ? AND name = ?", {std::string(folder), name});
    transaction.commit();
}

void MirrorState::moveUntold(std::int64_t from, const std::vector<MirroredMessage>& messages,
                             const std::string& folder) {
    const std::lock_guard hold(lock_);
    Transaction transaction(*database_);
    database_->run("UPDATE mailboxes SET mod_seq = 0 WHERE number = ?", {from});
    for (const MirroredMessage& each : messages) {
        database_->run("DELETE FROM messages WHERE mailbox = ? AND uid = ?", {from, std::int64_t{each.uid}});
        accept(*database_, folder, each.name);
    }
    transaction.commit();
}

void MirrorState::putBegun(const std::string& name, const BegunFetch& begun) {
    const std::lock_guard hold(lock_);
    database_->run("INSERT OR REPLACE INTO begun(name, file, size, told) VALUES(?, ?, ?, ?)",
                   {name, begun.file, static_cast<std::int64_t>(begun.size), static_cast<std::int64_t>(begun.told)});
}

std::optional<BegunFetch> MirrorState::begun(const std::string& name) {
    const std::lock_guard hold(lock_);
    Query row = database_->query("SELECT file, size, told FROM begun WHERE name = ?", {name});
    if (!row.step()) return {};
    return BegunFetch{row.text(0), static_cast<std::uint64_t>(row.integer(1)),
                      static_cast<std::uint64_t>(row.integer(2))};
}

std::map<std::string, BegunFetch> MirrorState::allBegun() {
    const std::lock_guard hold(lock_);
    std::map<std::string, BegunFetch> all;
    for (Query row = database_->query("SELECT name, file, size, told FROM begun"); row.step();)
        all[row.text(0)] = {row.text(1), static_cast<std::uint64_t>(row.integer(2)),
                            static_cast<std::uint64_t>(row.integer(3))};
    return all;
}

void MirrorState::forgetBegun(const std::string& name) {
    const std::lock_guard hold(lock_);
    database_->run("DELETE FROM begun WHERE name = ?", {name});
}

}  // namespace qs
