#include "Imap/MirrorState.h"

#include <cerrno>

#include "Database/Database.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"

namespace qs {

namespace {

constexpr std::int64_t kVersion = 6;
constexpr int kCacheKilobytes = 4000;

constexpr const char* kSchema = R"(
CREATE TABLE mailboxes(
    number INTEGER PRIMARY KEY AUTOINCREMENT, folder TEXT NOT NULL UNIQUE, server_name TEXT NOT NULL,
    uid_validity INTEGER NOT NULL, uid_next INTEGER NOT NULL, mod_seq INTEGER NOT NULL,
    pending INTEGER NOT NULL DEFAULT 0, origin TEXT NOT NULL DEFAULT '', kept_flags INTEGER NOT NULL DEFAULT -1,
    use INTEGER NOT NULL DEFAULT 0);
CREATE TABLE messages(
    mailbox INTEGER NOT NULL REFERENCES mailboxes(number) ON DELETE CASCADE, uid INTEGER NOT NULL,
    name TEXT NOT NULL, flags INTEGER NOT NULL, PRIMARY KEY(mailbox, uid)) WITHOUT ROWID;
CREATE UNIQUE INDEX by_name ON messages(name, mailbox);
CREATE TABLE removals(name TEXT NOT NULL, folder TEXT NOT NULL, PRIMARY KEY(name, folder)) WITHOUT ROWID;
CREATE TABLE uploads(
    folder TEXT NOT NULL, name TEXT NOT NULL, header_digest TEXT NOT NULL, size INTEGER NOT NULL,
    is_accepted INTEGER NOT NULL DEFAULT 0, PRIMARY KEY(folder, name)) WITHOUT ROWID;
CREATE TABLE wishes(name TEXT PRIMARY KEY, set_flags INTEGER NOT NULL, clear_flags INTEGER NOT NULL, folder TEXT)
    WITHOUT ROWID;
CREATE TABLE unfetched(
    mailbox INTEGER NOT NULL REFERENCES mailboxes(number) ON DELETE CASCADE, uid INTEGER NOT NULL,
    PRIMARY KEY(mailbox, uid)) WITHOUT ROWID;
)";
constexpr const char* kBegunSchema =
    "CREATE TABLE begun(name TEXT PRIMARY KEY, file TEXT NOT NULL, size INTEGER NOT NULL, told INTEGER NOT NULL) "
    "WITHOUT ROWID;";
constexpr const char* kGmailSchema = R"(
CREATE TABLE facts(name TEXT PRIMARY KEY, value INTEGER NOT NULL) WITHOUT ROWID;
CREATE TABLE gmail_numbers(
    mailbox INTEGER NOT NULL REFERENCES mailboxes(number) ON DELETE CASCADE, uid INTEGER NOT NULL,
    message INTEGER NOT NULL, PRIMARY KEY(mailbox, uid)) WITHOUT ROWID;
CREATE INDEX by_gmail_message ON gmail_numbers(message, mailbox);
CREATE TABLE gmail_kept(message INTEGER PRIMARY KEY);
CREATE TABLE label_orders(
    serial INTEGER PRIMARY KEY AUTOINCREMENT, message INTEGER NOT NULL, folder TEXT NOT NULL,
    is_added INTEGER NOT NULL, UNIQUE(message, folder));
)";

// From the version before, by its number.
const std::string kMigrations[] = {
    "",
    "ALTER TABLE mailboxes ADD COLUMN pending INTEGER NOT NULL DEFAULT 0;",
    "ALTER TABLE mailboxes ADD COLUMN origin TEXT NOT NULL DEFAULT ''; UPDATE mailboxes SET origin = server_name;"
    "CREATE TABLE wishes(name TEXT PRIMARY KEY, set_flags INTEGER NOT NULL, clear_flags INTEGER NOT NULL, folder TEXT) "
    "WITHOUT ROWID;",
    "ALTER TABLE mailboxes ADD COLUMN kept_flags INTEGER NOT NULL DEFAULT -1;"
    "ALTER TABLE uploads ADD COLUMN is_accepted INTEGER NOT NULL DEFAULT 0;"
    "CREATE TABLE unfetched(mailbox INTEGER NOT NULL REFERENCES mailboxes(number) ON DELETE CASCADE, "
    "uid INTEGER NOT NULL, PRIMARY KEY(mailbox, uid)) WITHOUT ROWID;",
    "ALTER TABLE mailboxes ADD COLUMN use INTEGER NOT NULL DEFAULT 0;" + std::string(kGmailSchema),
    kBegunSchema};

std::int64_t number(std::uint64_t value) { return static_cast<std::int64_t>(value); }

MirroredMailbox mailboxFrom(const Query& row) {
    return {row.integer(0),
            row.text(1),
            row.text(2),
            static_cast<std::uint32_t>(row.integer(3)),
            static_cast<std::uint32_t>(row.integer(4)),
            static_cast<std::uint64_t>(row.integer(5)),
            static_cast<MirroredMailbox::Order>(row.integer(6)),
            row.text(7),
            static_cast<int>(row.integer(8)),
            static_cast<MirroredMailbox::Use>(row.integer(9))};
}

// Of a mailbox that was removed here, before its number.
const std::string kRemovedFolder = "/removed/";

constexpr const char* kMailboxColumns =
    "SELECT number, folder, server_name, uid_validity, uid_next, mod_seq, pending, origin, kept_flags, use "
    "FROM mailboxes";

void put(Database& database, std::int64_t mailbox, const MirroredMessage& message) {
    database.run("DELETE FROM messages WHERE mailbox = ? AND name = ? AND uid != ?",
                 {mailbox, message.name, std::int64_t{message.uid}});
    database.run("INSERT OR REPLACE INTO messages(mailbox, uid, name, flags) VALUES(?, ?, ?, ?)",
                 {mailbox, std::int64_t{message.uid}, message.name, std::int64_t{message.flags}});
    database.run("DELETE FROM uploads WHERE name = ? AND folder = (SELECT folder FROM mailboxes WHERE number = ?)",
                 {message.name, mailbox});
    database.run("DELETE FROM wishes WHERE name = ?", {message.name});
    database.run("INSERT OR IGNORE INTO gmail_kept SELECT message FROM gmail_numbers WHERE mailbox = ? AND uid = ?",
                 {mailbox, std::int64_t{message.uid}});
}

}  // namespace

MirrorState::MirrorState(std::filesystem::path file, FileSystem& files) : file_(std::move(file)) {
    try {
        open(files);
    } catch (const DatabaseFailure& failure) {
        if (!failure.isDamage()) throw;
        logError("what was known of an account's server is damaged and set aside: " + std::string(failure.what()));
        database_.reset();
        auto aside = file_;
        aside += ".damaged";
        if (const auto moved = files.rename(file_, aside); !moved && moved.error().code != ENOENT) throw;
        for (const char* side : {"-wal", "-shm"}) {
            auto other = file_;
            other += side;
            if (files.exists(other)) (void)files.remove(other);  // useless without the file
        }
        open(files);
    }
}

MirrorState::~MirrorState() = default;

void MirrorState::open(FileSystem& files) {
    if (const auto made = files.makeFolder(file_.parent_path()); !made)
        logWarning("the folder of an account: " + made.error().description);
    database_ =
        std::make_unique<Database>(file_, Database::Options{.cacheKilobytes = kCacheKilobytes, .isDurable = true});
    if (database_->integer("SELECT count(*) FROM sqlite_master") == 0)
        database_->runScript("BEGIN IMMEDIATE;" + std::string(kSchema) + kBegunSchema + kGmailSchema +
                             "PRAGMA user_version = " + std::to_string(kVersion) + "; COMMIT;");
    for (std::int64_t version = database_->integer("PRAGMA user_version"); version >= 1 && version < kVersion;
         ++version)
        database_->runScript("BEGIN IMMEDIATE;" + kMigrations[version] +
                             "PRAGMA user_version = " + std::to_string(version + 1) + "; COMMIT;");
    if (database_->integer("PRAGMA user_version") != kVersion)
        throw DatabaseFailure("the file is of a later version of this program", 0);
    (void)database_->integer("SELECT count(*) FROM mailboxes");
    isGmail_ = database_->integer("SELECT coalesce(max(value), 0) FROM facts WHERE name = 'gmail'") != 0;
}

std::vector<MirroredMailbox> MirrorState::mailboxes() {
    const std::lock_guard hold(lock_);
    std::vector<MirroredMailbox> all;
    for (Query row = database_->query(std::string(kMailboxColumns) + " ORDER BY number"); row.step();)
        all.push_back(mailboxFrom(row));
    return all;
}

std::optional<MirroredMailbox> MirrorState::mailboxOfFolder(std::string_view folder) {
    const std::lock_guard hold(lock_);
    Query row = database_->query(std::string(kMailboxColumns) + " WHERE folder = ?", {std::string(folder)});
    if (!row.step()) return {};
    return mailboxFrom(row);
}

std::optional<MirroredMailbox> MirrorState::mailboxNumbered(std::int64_t number) {
    const std::lock_guard hold(lock_);
    Query row = database_->query(std::string(kMailboxColumns) + " WHERE number = ?", {number});
    if (!row.step()) return {};
    return mailboxFrom(row);
}

MirroredMailbox MirrorState::putMailbox(MirroredMailbox mailbox) {
    const std::lock_guard hold(lock_);
    const SqlValues facts{std::int64_t{mailbox.uidValidity}, std::int64_t{mailbox.uidNext}, number(mailbox.modSeq)};
    if (mailbox.number != 0) {
        database_->run(
            "UPDATE mailboxes SET uid_validity = ?, uid_next = ?, mod_seq = ?, kept_flags = ? WHERE number = ?",
            {facts[0], facts[1], facts[2], std::int64_t{mailbox.keptFlags}, mailbox.number});
        return mailbox;
    }
    Transaction transaction(*database_);
    // One that was renamed keeps its origin, and another may come by its old name.
    const bool isOriginTaken =
        database_->integer("SELECT count(*) FROM mailboxes WHERE origin = ?", {mailbox.serverName}) != 0;
    database_->run("INSERT INTO mailboxes(folder, server_name, uid_validity, uid_next, mod_seq) VALUES(?, ?, ?, ?, ?)",
                   {mailbox.folder, mailbox.serverName, facts[0], facts[1], facts[2]});
    mailbox.number = database_->integer("SELECT number FROM mailboxes WHERE folder = ?", {mailbox.folder});
    mailbox.origin = mailbox.serverName + (isOriginTaken ? "\n" + std::to_string(mailbox.number) : "");
    database_->run("UPDATE mailboxes SET origin = ? WHERE number = ?", {mailbox.origin, mailbox.number});
    transaction.commit();
    return mailbox;
}

void MirrorState::renameMailbox(std::int64_t number, const std::string& folder, const std::string& serverName) {
    const std::lock_guard hold(lock_);
    Transaction transaction(*database_);
    database_->run("UPDATE wishes SET folder = ? WHERE folder = (SELECT folder FROM mailboxes WHERE number = ?)",
                   {folder, number});
    database_->run("UPDATE OR REPLACE label_orders SET folder = ? "
                   "WHERE folder = (SELECT folder FROM mailboxes WHERE number = ?)",
                   {folder, number});
    database_->run("UPDATE mailboxes SET folder = ?, server_name = ?, pending = 0 WHERE number = ?",
                   {folder, serverName, number});
    transaction.commit();
}

void MirrorState::setServerName(std::int64_t number, const std::string& serverName) {
    const std::lock_guard hold(lock_);
    database_->run("UPDATE mailboxes SET server_name = ? WHERE number = ?", {serverName, number});
}

void MirrorState::giveFolder(const std::string& from, const std::string& to, MirroredMailbox::Order order) {
    database_->run("UPDATE mailboxes SET folder = ?, pending = ? WHERE folder = ?",
                   {to, static_cast<std::int64_t>(order), from});
    database_->run("UPDATE uploads SET folder = ? WHERE folder = ?", {to, from});
    database_->run("UPDATE OR IGNORE removals SET folder = ? WHERE folder = ?", {to, from});
    database_->run("UPDATE wishes SET folder = ? WHERE folder = ?", {to, from});
    database_->run("UPDATE OR REPLACE label_orders SET folder = ? WHERE folder = ?", {to, from});
}

void MirrorState::orderRenaming(const std::vector<Renaming>& folders) {
    const std::lock_guard hold(lock_);
    Transaction transaction(*database_);
    for (const Renaming& each : folders)
        giveFolder(each.from, each.to, MirroredMailbox::Order::Rename);
    transaction.commit();
}

void MirrorState::orderRemoval(const std::vector<std::string>& folders) {
    const std::lock_guard hold(lock_);
    Transaction transaction(*database_);
    for (const std::string& folder : folders) {
        const std::int64_t number =
            database_->integer("SELECT coalesce(max(number), 0) FROM mailboxes WHERE folder = ?", {folder});
        if (number != 0) giveFolder(folder, kRemovedFolder + std::to_string(number), MirroredMailbox::Order::Remove);
    }
    transaction.commit();
}

void MirrorState::takeBackRemoval(std::int64_t number, const std::string& folder, bool erases) {
    const std::lock_guard hold(lock_);
    Transaction transaction(*database_);
    giveFolder(kRemovedFolder + std::to_string(number), folder, MirroredMailbox::Order::None);
    if (!erases)
        database_->run("DELETE FROM removals WHERE name IN (SELECT name FROM messages WHERE mailbox = ?)", {number});
    transaction.commit();
}

void MirrorState::removeMailbox(std::int64_t number) {
    const std::lock_guard hold(lock_);
    Transaction transaction(*database_);
    // A message that was erased there may still have to be erased in another mailbox. The inbox is always there.
    database_->run("UPDATE OR REPLACE removals SET folder = '' WHERE folder = ?",
                   {kRemovedFolder + std::to_string(number)});
    database_->run("DELETE FROM mailboxes WHERE number = ?", {number});
    transaction.commit();
}

std::vector<MirroredMessage> MirrorState::messages(std::int64_t mailbox) {
    const std::lock_guard hold(lock_);
    std::vector<MirroredMessage> all;
    Query row = database_->query("SELECT uid, name, flags FROM messages WHERE mailbox = ? ORDER BY uid", {mailbox});
    while (row.step())
        all.push_back({static_cast<std::uint32_t>(row.integer(0)), row.text(1), static_cast<int>(row.integer(2))});
    return all;
}

std::vector<std::int64_t> MirrorState::mailboxesWith(std::string_view name) {
    const std::lock_guard hold(lock_);
    std::vector<std::int64_t> found;
    Query row = database_->query("SELECT mailbox FROM messages WHERE name = ?", {std::string(name)});
    while (row.step())
        found.push_back(row.integer());
    return found;
}

void MirrorState::change(std::int64_t mailbox, const std::vector<MirroredMessage>& puts,
                         const std::vector<std::uint32_t>& forget) {
    if (puts.empty() && forget.empty()) return;
    const std::lock_guard hold(lock_);
    Transaction transaction(*database_);
    for (const std::uint32_t uid : forget)
        database_->run("DELETE FROM messages WHERE mailbox = ? AND uid = ?", {mailbox, std::int64_t{uid}});
    for (const MirroredMessage& each : puts)
        put(*database_, mailbox, each);
    transaction.commit();
}

void MirrorState::moveMessages(std::int64_t from, std::int64_t to, const std::vector<Moved>& messages) {
    const std::lock_guard hold(lock_);
    Transaction transaction(*database_);
    for (const Moved& each : messages) {
        const SqlValues place{from, std::int64_t{each.uid}};
        if (!each.stays) database_->run("DELETE FROM messages WHERE mailbox = ? AND uid = ?", place);
        if (each.there.uid != 0)
            database_->run("INSERT OR REPLACE INTO gmail_numbers SELECT ?, ?, message FROM gmail_numbers "
                           "WHERE mailbox = ? AND uid = ?",
                           {to, std::int64_t{each.there.uid}, place[0], place[1]});
        if (!each.stays) database_->run("DELETE FROM gmail_numbers WHERE mailbox = ? AND uid = ?", place);
        if (each.there.uid != 0) put(*database_, to, each.there);
    }
    transaction.commit();
}

bool MirrorState::knows(std::int64_t mailbox, std::uint32_t uid) {
    const std::lock_guard hold(lock_);
    return database_->integer("SELECT count(*) FROM messages WHERE mailbox = ? AND uid = ?",
                              {mailbox, std::int64_t{uid}}) != 0;
}

std::vector<std::uint32_t> MirrorState::unfetched(std::int64_t mailbox) {
    const std::lock_guard hold(lock_);
    std::vector<std::uint32_t> uids;
    for (Query row = database_->query("SELECT uid FROM unfetched WHERE mailbox = ?", {mailbox}); row.step();)
        uids.push_back(static_cast<std::uint32_t>(row.integer()));
    return uids;
}

void MirrorState::setUnfetched(std::int64_t mailbox, const std::vector<std::uint32_t>& uids) {
    const std::lock_guard hold(lock_);
    Transaction transaction(*database_);
    database_->run("DELETE FROM unfetched WHERE mailbox = ?", {mailbox});
    for (const std::uint32_t uid : uids)
        database_->run("INSERT INTO unfetched(mailbox, uid) VALUES(?, ?)", {mailbox, std::int64_t{uid}});
    transaction.commit();
}

void MirrorState::countAnew(const MirroredMailbox& mailbox, const std::vector<MirroredMessage>& messages) {
    const std::lock_guard hold(lock_);
    Transaction transaction(*database_);
    database_->run("DELETE FROM messages WHERE mailbox = ?", {mailbox.number});
    database_->run("DELETE FROM unfetched WHERE mailbox = ?", {mailbox.number});
    database_->run(
        "UPDATE mailboxes SET uid_validity = ?, uid_next = ?, mod_seq = ? WHERE number = ?",
        {std::int64_t{mailbox.uidValidity}, std::int64_t{mailbox.uidNext}, number(mailbox.modSeq), mailbox.number});
    for (const MirroredMessage& each : messages)
        put(*database_, mailbox.number, each);
    transaction.commit();
}

}  // namespace qs
