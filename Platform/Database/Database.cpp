#include "Database/Database.h"

#include <SQLiteCpp/Backup.h>
#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Foundation/Log.h"

namespace qs {

namespace {

constexpr std::size_t kIdleStatements = 64;
constexpr std::int64_t kLargestIdleLog = 16 << 20;  // bytes of the write-ahead log that are kept for the next writes
// Pages of the write-ahead log, before they are taken into the file.
constexpr int kLog = 1000, kUnsyncedLog = 16'000;

std::string_view textOf(sqlite3_value* value) {
    const auto* bytes = static_cast<const char*>(sqlite3_value_blob(value));
    return {bytes ? bytes : "", bytes ? static_cast<std::size_t>(sqlite3_value_bytes(value)) : 0};
}

using TextTest = bool (*)(std::string_view, std::string_view);

void runTextTest(sqlite3_context* context, int, sqlite3_value** values) {
    const TextTest test = *static_cast<TextTest*>(sqlite3_user_data(context));
    sqlite3_result_int(context, test(textOf(values[0]), textOf(values[1])) ? 1 : 0);
}

using TextForm = std::string (*)(std::string_view);

void runTextForm(sqlite3_context* context, int, sqlite3_value** values) {
    const TextForm form = *static_cast<TextForm*>(sqlite3_user_data(context));
    const std::string text = form(textOf(values[0]));
    sqlite3_result_text64(context, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
}

template <class Call>
auto guarded(Call call) {
    try {
        return call();
    } catch (const SQLite::Exception& exception) {
        throw DatabaseFailure(exception.what(), exception.getErrorCode());
    }
}

// The mail and notes in it are nobody else's business, though a copied file may have come with other permissions.
// SQLite gives its side files the permissions of this one.
void makeOurs(const std::filesystem::path& file) {
    const int opened = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (opened < 0) return;  // SQLite says why, if it matters
    struct stat facts {};
    if (::fstat(opened, &facts) == 0 && (facts.st_mode & 077) != 0) (void)::fchmod(opened, facts.st_mode & 0700);
    ::close(opened);
}

int openFlags(Database::Access access) {
    switch (access) {
    case Database::Access::Write: return SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE;
    case Database::Access::Read: return SQLite::OPEN_READWRITE;
    case Database::Access::ReadOnly: break;
    }
    return SQLite::OPEN_READONLY;
}

}  // namespace

DatabaseFailure::DatabaseFailure(const std::string& text, int sqliteCode)
    : std::runtime_error(text), code_(sqliteCode & 0xFF) {}

bool DatabaseFailure::isDamage() const { return code_ == SQLITE_CORRUPT || code_ == SQLITE_NOTADB; }
bool DatabaseFailure::isFull() const { return code_ == SQLITE_FULL; }
bool DatabaseFailure::isBusy() const { return code_ == SQLITE_BUSY || code_ == SQLITE_LOCKED; }

Query::Query(Database& database, std::string sql, std::unique_ptr<SQLite::Statement> statement)
    : database_(&database), sql_(std::move(sql)), statement_(std::move(statement)) {}

Query::Query(Query&&) noexcept = default;

Query::~Query() {
    if (!statement_) return;
    const bool isSound = statement_->tryReset() == SQLITE_OK;
    if (isSound && database_->idle_.size() < kIdleStatements) database_->idle_[sql_] = std::move(statement_);
}

void Query::bind(const SqlValues& values) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        const int position = static_cast<int>(i) + 1;
        if (std::holds_alternative<std::nullptr_t>(values[i]))
            statement_->bind(position);
        else if (const auto* text = std::get_if<std::string>(&values[i]))
            statement_->bind(position, *text);
        else if (const auto* real = std::get_if<double>(&values[i]))
            statement_->bind(position, *real);
        else
            statement_->bind(position, std::get<std::int64_t>(values[i]));
    }
}

bool Query::step() {
    return guarded([&] { return statement_->executeStep(); });
}

void Query::run() {
    while (step()) {
    }
}

void Query::restart(const SqlValues& values) {
    guarded([&] {
        statement_->reset();
        bind(values);
    });
}

bool Query::isNull(int column) const {
    return guarded([&] { return statement_->getColumn(column).isNull(); });
}

std::int64_t Query::integer(int column) const {
    return guarded([&] { return statement_->getColumn(column).getInt64(); });
}

double Query::real(int column) const {
    return guarded([&] { return statement_->getColumn(column).getDouble(); });
}

std::string Query::text(int column) const {
    return guarded([&] { return statement_->getColumn(column).getString(); });
}

int Query::columns() const { return statement_->getColumnCount(); }

SqlValue Query::value(int column) const {
    return guarded([&]() -> SqlValue {
        const SQLite::Column found = statement_->getColumn(column);
        if (found.isNull()) return nullptr;
        if (found.isInteger()) return found.getInt64();
        if (found.isFloat()) return found.getDouble();
        return found.getString();
    });
}

Database::Database(const std::filesystem::path& file, const Options& options) : isDurable_(options.isDurable) {
    guarded([&] {
        if (!file.empty() && options.access == Access::Write) makeOurs(file);
        database_ = std::make_unique<SQLite::Database>(file.empty() ? ":memory:" : file.string(),
                                                       openFlags(options.access), options.busyMilliseconds);
        const auto set = [&](const std::string& setting) { database_->exec("PRAGMA " + setting); };
        set("cache_size = -" + std::to_string(options.cacheKilobytes));
        set(file.empty() ? "temp_store = MEMORY" : "temp_store = FILE");
        set("foreign_keys = " + std::string(options.isDurable ? "ON" : "OFF"));
        if (options.access != Access::Write) {
            set("query_only = ON");
            return;
        }
        set("journal_mode = WAL");
        set("journal_size_limit = " + std::to_string(kLargestIdleLog));
    });
    if (options.access == Access::Write) setUnsynced(false);
}

Database::~Database() { idle_.clear(); }

Query Database::query(const std::string& sql, const SqlValues& values) {
    return guarded([&] {
        std::unique_ptr<SQLite::Statement> statement;
        if (const auto found = idle_.find(sql); found != idle_.end()) {
            statement = std::move(found->second);
            idle_.erase(found);
        } else {
            statement = std::make_unique<SQLite::Statement>(*database_, sql);
        }
        Query query(*this, sql, std::move(statement));
        query.bind(values);
        return query;
    });
}

void Database::runScript(const std::string& sql) {
    guarded([&] { database_->exec(sql); });
}

std::int64_t Database::integer(const std::string& sql, const SqlValues& values) {
    Query found = query(sql, values);
    return found.step() ? found.integer() : 0;
}

std::string Database::text(const std::string& sql, const SqlValues& values) {
    Query found = query(sql, values);
    return found.step() ? found.text() : std::string();
}

int Database::changes() const { return database_->getChanges(); }

void Database::addTextTest(const char* name, TextTest test) {
    const int code = sqlite3_create_function_v2(database_->getHandle(), name, 2, SQLITE_UTF8 | SQLITE_DETERMINISTIC,
                                                new TextTest(test), &runTextTest, nullptr, nullptr,
                                                [](void* kept) { delete static_cast<TextTest*>(kept); });
    if (code != SQLITE_OK) throw DatabaseFailure("a function could not be added", code);
}

void Database::addTextForm(const char* name, TextForm form) {
    const int code = sqlite3_create_function_v2(
        database_->getHandle(), name, 1, SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS, new TextForm(form),
        &runTextForm, nullptr, nullptr, [](void* kept) { delete static_cast<TextForm*>(kept); });
    if (code != SQLITE_OK) throw DatabaseFailure("a function could not be added", code);
}

void Database::setUnsynced(bool isUnsynced) {
    // Without the full form the last commits may be missing after a power cut, but the file is whole.
    const std::string synced = isDurable_ ? "FULL" : "NORMAL";
    runScript("PRAGMA synchronous = " + (isUnsynced ? "OFF" : synced) +
              "; PRAGMA wal_autocheckpoint = " + std::to_string(isUnsynced ? kUnsyncedLog : kLog));
}

void Database::sync() {
    (void)integer("SELECT count(*) FROM sqlite_master");  // opens the log, if there is one
    // Through the database's own files: to open and close another would give up its locks.
    for (const int which : {SQLITE_FCNTL_JOURNAL_POINTER, SQLITE_FCNTL_FILE_POINTER}) {
        sqlite3_file* file = nullptr;
        int code = sqlite3_file_control(database_->getHandle(), "main", which, &file);
        if (code == SQLITE_OK && file && file->pMethods) code = file->pMethods->xSync(file, SQLITE_SYNC_NORMAL);
        if (code != SQLITE_OK) throw DatabaseFailure("the file could not be synced", code);
    }
}

void Database::copyTo(const std::filesystem::path& file) {
    guarded([&] {
        makeOurs(file);
        SQLite::Database copy(file.string(), SQLite::OPEN_READWRITE);
        copy.exec("PRAGMA synchronous = FULL");
        SQLite::Backup backup(copy, *database_);
        if (const int code = backup.executeStep(); code != SQLITE_DONE)
            throw DatabaseFailure("the copy could not be finished", code);
    });
}

Transaction::Transaction(Database& database) : database_(database) { database_.runScript("BEGIN IMMEDIATE"); }

Transaction::~Transaction() {
    if (!isOpen_) return;
    try {
        database_.runScript("ROLLBACK");
    } catch (const DatabaseFailure& failure) {
        // A failure that took the disk away has ended the transaction already.
        logDebug("rolling back: " + std::string(failure.what()));
    }
}

void Transaction::commit() {
    database_.runScript("COMMIT");
    isOpen_ = false;
}

}  // namespace qs
