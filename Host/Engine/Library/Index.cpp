#include "Library/Index.h"

#include <cerrno>
#include <fstream>

#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Library/FreshFiles.h"
#include "Library/SearchText.h"
#include "Text/CaseFolding.h"

namespace qs {

namespace {

constexpr std::int64_t kVersion = 10;
constexpr int kWriterCache = 8000, kGatheringCache = 32'000, kReaderCache = 2000;  // kilobytes
constexpr std::size_t kIdleReaders = 4;

// Numbers of mailboxes and messages are made from their names (IndexTables.h), so that they outlive the file. `seq` is
// the row's own number and tells its place in a list: it is made from the date (ListKey.h), so that the newest rows of
// a mailbox, of a search and of a range of dates all lie side by side, in the index of words as well. That one gathers
// 16 MB of words of a transaction before it writes: a first indexing takes half the time with it. It must write all of
// them before a statement that could be taken back by itself, so the statements for many messages are such that fail
// for good instead (OR FAIL; the whole transaction is given up then), and no trigger puts in the fragments. These, of
// three characters each, find texts within words; they are kept in the index alone, and found ones are looked at again
// in the rows. What of the texts of many messages that came at once is not in either yet is kept in texts_to_come: the
// header's and the body's (`recipients` are then all of its header), or the body's alone. Of each conversation the
// newest message in a mailbox leads (ConversationLeads.h). Messages at Gmail have their number, and `copy` tells which
// row of several stands for the message (IndexCopies.h); totals leave those out that no list has, and `shown` counts
// messages.
constexpr const char* kSchema = R"(
CREATE TABLE mailboxes(
    number INTEGER PRIMARY KEY, identifier TEXT NOT NULL UNIQUE, account TEXT NOT NULL, place TEXT NOT NULL,
    total INTEGER NOT NULL DEFAULT 0, unread INTEGER NOT NULL DEFAULT 0, shown INTEGER NOT NULL DEFAULT 0,
    conversations INTEGER NOT NULL DEFAULT 0,
    cur_changed REAL NOT NULL DEFAULT 0, new_changed REAL NOT NULL DEFAULT 0);
CREATE TABLE messages(
    seq INTEGER PRIMARY KEY, id INTEGER NOT NULL UNIQUE, mailbox INTEGER NOT NULL, account INTEGER NOT NULL,
    gmail INTEGER NOT NULL DEFAULT 0, copy INTEGER NOT NULL DEFAULT 0,
    name TEXT NOT NULL, file TEXT NOT NULL, flags INTEGER NOT NULL,
    message_id TEXT NOT NULL, unique_id TEXT NOT NULL, conversation INTEGER NOT NULL,
    sender TEXT NOT NULL, recipients TEXT NOT NULL, subject TEXT NOT NULL,
    received REAL NOT NULL, delivered REAL NOT NULL, sent REAL NOT NULL,
    snippet TEXT NOT NULL, attachments INTEGER NOT NULL, size INTEGER NOT NULL, priority INTEGER NOT NULL,
    damage TEXT NOT NULL,
    UNIQUE(mailbox, name));
CREATE INDEX by_mailbox ON messages(mailbox, seq, copy);
CREATE INDEX by_account ON messages(account, seq, copy);
CREATE INDEX by_conversation ON messages(conversation, mailbox, seq, copy);
CREATE INDEX by_gmail ON messages(gmail, account, mailbox, copy) WHERE gmail != 0;
CREATE INDEX by_message_id ON messages(message_id) WHERE message_id != '';
CREATE INDEX by_unique_id ON messages(unique_id) WHERE unique_id != '';
CREATE INDEX unread ON messages(seq, mailbox, copy) WHERE (flags & 1) = 0;
CREATE INDEX flagged ON messages(seq, mailbox, copy) WHERE (flags & 4) != 0;
CREATE INDEX attached ON messages(seq, mailbox, copy) WHERE attachments > 0;
CREATE TABLE leading(mailbox INTEGER NOT NULL, seq INTEGER NOT NULL, PRIMARY KEY(mailbox, seq)) WITHOUT ROWID;
CREATE INDEX only_listed ON messages(mailbox) WHERE file = '';
CREATE TABLE conversation_ids(id INTEGER PRIMARY KEY, conversation INTEGER NOT NULL);
CREATE TABLE joined_conversations(conversation INTEGER PRIMARY KEY, joined INTEGER NOT NULL);
CREATE VIRTUAL TABLE words USING fts5(
    subject, sender, recipients, body, tokenize = 'unicode61 remove_diacritics 2', prefix = '3', columnsize = 0);
INSERT INTO words(words, rank) VALUES('hashsize', 16777216), ('automerge', 8);
CREATE VIRTUAL TABLE fragments USING fts5(
    subject, sender, recipients, content = '', tokenize = 'trigram', detail = column, columnsize = 0);
INSERT INTO fragments(fragments, rank) VALUES('hashsize', 16777216), ('automerge', 8);
CREATE TABLE texts_to_come(seq INTEGER PRIMARY KEY, recipients TEXT);
CREATE TABLE addresses(
    number INTEGER PRIMARY KEY, address TEXT NOT NULL UNIQUE, display TEXT NOT NULL,
    uses INTEGER NOT NULL, last REAL NOT NULL);
CREATE TABLE address_words(word TEXT NOT NULL, number INTEGER NOT NULL, PRIMARY KEY(word, number)) WITHOUT ROWID;

CREATE TRIGGER message_added AFTER INSERT ON messages BEGIN
    UPDATE mailboxes SET total = total + (new.copy != 2), unread = unread + ((new.flags & 1) = 0 AND new.copy != 2),
        shown = shown + (new.copy = 0) WHERE number = new.mailbox;
END;
CREATE TRIGGER message_removed AFTER DELETE ON messages BEGIN
    UPDATE mailboxes SET total = total - (old.copy != 2), unread = unread - ((old.flags & 1) = 0 AND old.copy != 2),
        shown = shown - (old.copy = 0) WHERE number = old.mailbox;
    DELETE FROM words WHERE rowid = old.seq;
    INSERT INTO fragments(fragments, rowid, subject, sender, recipients)
        SELECT 'delete', old.seq, folded(old.subject), folded(old.sender), folded(old.recipients)
        WHERE NOT EXISTS (SELECT 1 FROM texts_to_come WHERE seq = old.seq AND recipients IS NOT NULL);
    DELETE FROM texts_to_come WHERE seq = old.seq;
END;
CREATE TRIGGER message_changed AFTER UPDATE OF mailbox, flags, copy ON messages
    WHEN new.mailbox != old.mailbox OR new.flags != old.flags OR new.copy != old.copy BEGIN
    UPDATE mailboxes SET total = total - (old.copy != 2), unread = unread - ((old.flags & 1) = 0 AND old.copy != 2),
        shown = shown - (old.copy = 0) WHERE number = old.mailbox;
    UPDATE mailboxes SET total = total + (new.copy != 2), unread = unread + ((new.flags & 1) = 0 AND new.copy != 2),
        shown = shown + (new.copy = 0) WHERE number = new.mailbox;
END;
CREATE TRIGGER lead_added AFTER INSERT ON leading BEGIN
    UPDATE mailboxes SET conversations = conversations + 1 WHERE number = new.mailbox;
END;
CREATE TRIGGER lead_removed AFTER DELETE ON leading BEGIN
    UPDATE mailboxes SET conversations = conversations - 1 WHERE number = old.mailbox;
END;
CREATE TRIGGER message_renumbered AFTER UPDATE OF seq ON messages WHEN new.seq != old.seq BEGIN
    INSERT INTO fragments(fragments, rowid, subject, sender, recipients)
        SELECT 'delete', old.seq, folded(old.subject), folded(old.sender), folded(old.recipients)
        WHERE NOT EXISTS (SELECT 1 FROM texts_to_come WHERE seq = old.seq AND recipients IS NOT NULL);
    INSERT INTO fragments(rowid, subject, sender, recipients)
        SELECT new.seq, folded(new.subject), folded(new.sender), folded(new.recipients)
        WHERE NOT EXISTS (SELECT 1 FROM texts_to_come WHERE seq = old.seq AND recipients IS NOT NULL);
    UPDATE texts_to_come SET seq = new.seq WHERE seq = old.seq;
END;
)";

enum class Found { Nothing, Ours, Other };

std::unique_ptr<Database> openDatabase(const std::filesystem::path& file, Database::Access access, int cacheKilobytes) {
    auto database = std::make_unique<Database>(
        file, Database::Options{.access = access, .cacheKilobytes = cacheKilobytes, .isDurable = false});
    // LIKE knows only the case of ASCII.
    database->addTextTest("contains_text", &containsIgnoringCase);
    database->addTextForm("folded", &foldedCase);
    if (access == Database::Access::Write) fresh::prepare(*database);
    return database;
}

Found look(Database& database) {
    if (database.integer("SELECT count(*) FROM sqlite_master") == 0) return Found::Nothing;
    if (database.integer("PRAGMA user_version") != kVersion) return Found::Other;
    // Cheap, and touches the tables that everything needs.
    (void)database.integer("SELECT count(*) FROM mailboxes");
    (void)database.integer("SELECT id FROM messages ORDER BY seq DESC LIMIT 1");
    return Found::Ours;
}

// How many segments of words there may be of a size before they are merged, little by little: while very many messages
// are put in, so many that words are written once more and not three times. There will then be more of them than those
// at which the database would merge all at once, as long as that takes.
void setMerging(Database& database, bool isGathering) {
    const std::int64_t segments = isGathering ? 64 : 8, tooMany = 256;  // the database takes no more than 64
    for (const std::string table : {"words", "fragments"})
        database.run("INSERT INTO " + table + "(" + table + ", rank) VALUES('automerge', ?), ('crisismerge', ?)",
                     {segments, tooMany});
}

// Changes with every start of the computer; empty when the system does not tell.
std::string startOfComputer() {
    std::string text;
    std::ifstream("/proc/sys/kernel/random/boot_id") >> text;
    return text;
}

// Beside the index while some of it may not be on the disk: at which start of the computer that was.
std::filesystem::path unsyncedMark(std::filesystem::path index) { return index += ".unsynced"; }

void begin(Database& database) {
    database.runScript("BEGIN IMMEDIATE;" + std::string(kSchema) + "PRAGMA user_version = " + std::to_string(kVersion) +
                       "; COMMIT;");
}

}  // namespace

Index::Index(std::filesystem::path file, FileSystem& files, std::vector<std::string>& notices)
    : file_(std::move(file)), files_(files) {
    openOrReplace(notices);
}

Index::~Index() {
    pool_.clear();  // the writer goes last and tidies up the write-ahead log
}

void Index::openOrReplace(std::vector<std::string>& notices) {
    isInMemory_ = false;
    if (const auto start = files_.read(unsyncedMark(file_)); start && (start->empty() || *start != startOfComputer())) {
        logWarning("the computer went down while the library's index was made; making it anew");
        setAside();
    }
    for (int attempt = 0; attempt < 2; ++attempt) {
        try {
            writer_ = openDatabase(file_, Database::Access::Write, kWriterCache);
            const Found found = look(*writer_);
            if (found == Found::Nothing) begin(*writer_);
            if (found != Found::Other) return settle();
            logInfo("the library's index is of another version; making it anew");
        } catch (const DatabaseFailure& failure) {
            logWarning("the library's index cannot be used: " + std::string(failure.what()));
            if (!failure.isDamage()) break;
            notices.push_back("The library's index was damaged. It was made anew from your mail; nothing is lost.");
        }
        setAside();
    }
    notices.push_back("The library's index can't be written to the disk, so it is kept in memory until the program "
                      "ends. Your mail is "
                      "safe.");
    writer_ = openDatabase({}, Database::Access::Write, kWriterCache);
    begin(*writer_);
    isInMemory_ = true;
}

void Index::setAside() {
    writer_.reset();
    auto aside = file_;
    aside += ".damaged";
    if (const auto moved = files_.rename(file_, aside); !moved && moved.error().code != ENOENT)
        logError("cannot set the library's index aside: " + moved.error().description);
    for (const char* side : {"-wal", "-shm", ".unsynced"}) {
        auto other = file_;
        other += side;
        if (files_.exists(other)) (void)files_.remove(other);  // useless without the file
    }
}

void Index::beginAnew(std::vector<std::string>& notices) {
    const std::unique_lock life(life_);
    pool_.clear();
    notices.push_back("The library's index was damaged. It was made anew from your mail; nothing is lost.");
    setAside();
    openOrReplace(notices);
}

void Index::beginGathering() {
    const std::lock_guard hold(gathering_);
    if (++gatherings_ > 1) return;
    const std::shared_lock life(life_);
    const std::string start = startOfComputer();
    if (isInMemory_ || start.empty()) return;
    if (const auto marked = files_.replace(unsyncedMark(file_), start); !marked)
        return logError("cannot mark the library's index: " + marked.error().description);
    try {
        const std::lock_guard write(writing_);
        writer_->setUnsynced(true);
        writer_->runScript("PRAGMA cache_size = -" + std::to_string(kGatheringCache));
        setMerging(*writer_, true);
    } catch (const DatabaseFailure& failure) {
        logError("the library's index: " + std::string(failure.what()));
    }
}

void Index::endGathering() {
    const std::lock_guard hold(gathering_);
    if (--gatherings_ > 0) return;
    const std::shared_lock life(life_);
    try {
        if (!isInMemory_ && files_.exists(unsyncedMark(file_))) {
            // Nearly all of it while others may write.
            const auto database = openDatabase(file_, Database::Access::Read, kReaderCache);
            database->runScript("PRAGMA wal_checkpoint(PASSIVE)");
            database->sync();
        }
        const std::lock_guard write(writing_);
        settle();
    } catch (const DatabaseFailure& failure) {
        logError("the library's index: " + std::string(failure.what()));
    }
}

void Index::settle() {
    const auto mark = unsyncedMark(file_);
    if (isInMemory_ || !files_.exists(mark)) return;
    setMerging(*writer_, false);
    writer_->setUnsynced(false);
    writer_->runScript("PRAGMA cache_size = -" + std::to_string(kWriterCache) + "; PRAGMA shrink_memory");
    writer_->sync();
    if (const auto removed = files_.remove(mark); !removed)
        logError("cannot remove the mark of the library's index: " + removed.error().description);
}

Index::Reading::Reading(Index& index) : index_(index), life_(index.life_) {
    if (index.isInMemory_) {
        writer_ = std::unique_lock(index.writing_);
        database_ = index.writer_.get();
        return;
    }
    {
        const std::lock_guard hold(index.poolLock_);
        if (!index.pool_.empty()) {
            own_ = std::move(index.pool_.back());
            index.pool_.pop_back();
        }
    }
    if (!own_) own_ = openDatabase(index.file_, Database::Access::Read, kReaderCache);
    database_ = own_.get();
}

Index::Reading::~Reading() {
    if (!own_) return;
    const std::lock_guard hold(index_.poolLock_);
    if (index_.pool_.size() < kIdleReaders) index_.pool_.push_back(std::move(own_));
}

Index::Writing::Writing(Index& index)
    : life_(index.life_), writer_(index.writing_), database_(index.writer_.get()), transaction_(*database_) {}

}  // namespace qs
