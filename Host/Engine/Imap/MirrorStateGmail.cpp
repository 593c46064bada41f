// What is known of messages at Gmail: their numbers, and the labels that were given or taken here.
#include "Database/Database.h"
#include "Imap/MirrorState.h"

namespace qs {

namespace {

// The numbers have 64 bits, of which SQLite takes the first for a sign.
std::int64_t kept(std::uint64_t message) { return static_cast<std::int64_t>(message); }
std::uint64_t messageFrom(std::int64_t value) { return static_cast<std::uint64_t>(value); }

}  // namespace

void MirrorState::setGmail(bool isGmail) {
    if (isGmail == isGmail_) return;
    const std::lock_guard hold(lock_);
    Transaction transaction(*database_);
    database_->run("INSERT OR REPLACE INTO facts(name, value) VALUES('gmail', ?)", {std::int64_t{isGmail ? 1 : 0}});
    database_->run("UPDATE mailboxes SET mod_seq = 0");
    transaction.commit();
    isGmail_ = isGmail;
}

void MirrorState::setUse(std::int64_t mailbox, MirroredMailbox::Use use) {
    const std::lock_guard hold(lock_);
    database_->run("UPDATE mailboxes SET use = ? WHERE number = ?", {static_cast<std::int64_t>(use), mailbox});
}

void MirrorState::noteGmailNumbers(std::int64_t mailbox, const std::map<std::uint32_t, std::uint64_t>& numbers) {
    if (numbers.empty()) return;
    const std::lock_guard hold(lock_);
    Transaction transaction(*database_);
    for (const auto& [uid, message] : numbers)
        database_->run("INSERT OR REPLACE INTO gmail_numbers(mailbox, uid, message) VALUES(?, ?, ?)",
                       {mailbox, std::int64_t{uid}, kept(message)});
    // Those that were here before their numbers were known.
    database_->run("INSERT OR IGNORE INTO gmail_kept SELECT message FROM gmail_numbers JOIN messages "
                   "USING(mailbox, uid) WHERE mailbox = ?",
                   {mailbox});
    transaction.commit();
}

void MirrorState::forgetGmailNumbers(std::int64_t mailbox, const std::vector<std::uint32_t>& uids) {
    if (uids.empty()) return;
    const std::lock_guard hold(lock_);
    Transaction transaction(*database_);
    for (const std::uint32_t uid : uids)
        database_->run("DELETE FROM gmail_numbers WHERE mailbox = ? AND uid = ?", {mailbox, std::int64_t{uid}});
    transaction.commit();
}

std::map<std::uint32_t, std::uint64_t> MirrorState::gmailNumbers(std::int64_t mailbox) {
    const std::lock_guard hold(lock_);
    std::map<std::uint32_t, std::uint64_t> all;
    for (Query row =
             database_->query("SELECT uid, message FROM gmail_numbers WHERE mailbox = ? ORDER BY uid", {mailbox});
         row.step();)
        all.emplace_hint(all.end(), static_cast<std::uint32_t>(row.integer(0)), messageFrom(row.integer(1)));
    return all;
}

std::uint64_t MirrorState::gmailNumber(std::int64_t mailbox, std::uint32_t uid) {
    const std::lock_guard hold(lock_);
    Query row = database_->query("SELECT message FROM gmail_numbers WHERE mailbox = ? AND uid = ?",
                                 {mailbox, std::int64_t{uid}});
    return row.step() ? messageFrom(row.integer()) : 0;
}

std::uint64_t MirrorState::gmailNumberNamed(std::string_view name) {
    const std::lock_guard hold(lock_);
    Query row = database_->query("SELECT g.message FROM messages m JOIN gmail_numbers g USING(mailbox, uid) "
                                 "WHERE m.name = ?",
                                 {std::string(name)});
    return row.step() ? messageFrom(row.integer()) : 0;
}

std::vector<MirrorState::GmailPlace> MirrorState::gmailPlaces(std::uint64_t message) {
    const std::lock_guard hold(lock_);
    std::vector<GmailPlace> places;
    Query row = database_->query("SELECT g.mailbox, g.uid, coalesce(m.name, '') FROM gmail_numbers g "
                                 "LEFT JOIN messages m USING(mailbox, uid) WHERE g.message = ?",
                                 {kept(message)});
    while (row.step())
        places.push_back({row.integer(0), static_cast<std::uint32_t>(row.integer(1)), row.text(2)});
    return places;
}

bool MirrorState::isGmailKept(std::uint64_t message) {
    const std::lock_guard hold(lock_);
    return database_->integer("SELECT count(*) FROM gmail_kept WHERE message = ?", {kept(message)}) != 0;
}

void MirrorState::forgetGoneGmail() {
    const std::lock_guard hold(lock_);
    database_->run("DELETE FROM gmail_kept WHERE message NOT IN (SELECT message FROM gmail_numbers)");
}

void MirrorState::orderLabels(const std::vector<LabelOrder>& orders) {
    const std::lock_guard hold(lock_);
    Transaction transaction(*database_);
    for (const LabelOrder& each : orders)
        database_->run("INSERT OR REPLACE INTO label_orders(message, folder, is_added) VALUES(?, ?, ?)",
                       {kept(each.message), each.folder, std::int64_t{each.isAdded ? 1 : 0}});
    transaction.commit();
}

std::vector<LabelOrder> MirrorState::labelOrders() {
    const std::lock_guard hold(lock_);
    std::vector<LabelOrder> all;
    for (Query row = database_->query("SELECT serial, message, folder, is_added FROM label_orders ORDER BY serial");
         row.step();)
        all.push_back({row.integer(0), messageFrom(row.integer(1)), row.text(2), row.integer(3) != 0});
    return all;
}

void MirrorState::forgetLabelOrders(const std::vector<LabelOrder>& orders) {
    if (orders.empty()) return;
    const std::lock_guard hold(lock_);
    Transaction transaction(*database_);
    for (const LabelOrder& each : orders)
        database_->run("DELETE FROM label_orders WHERE serial = ?", {each.serial});
    transaction.commit();
}

}  // namespace qs
