#include "Library/Database.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <unicode/unistr.h>
#include <unistd.h>

namespace qs {

namespace {

constexpr int kBusyMilliseconds = 10'000;
constexpr std::size_t kIdleStatements = 64;

std::string_view textOf(sqlite3_value* value) {
    const auto* bytes = static_cast<const char*>(sqlite3_value_blob(value));
    return {bytes ? bytes : "", bytes ? static_cast<std::size_t>(sqlite3_value_bytes(value)) : 0};
}

icu::UnicodeString folded(std::string_view text) {
    auto unicode = icu::UnicodeString::fromUTF8({text.data(), static_cast<int32_t>(text.size())});
    return unicode.foldCase();
}

// contains_text(text, part): without regard to case, in any script; LIKE knows only ASCII.
void containsText(sqlite3_context* context, int, sqlite3_value** values) {
    const bool found = folded(textOf(values[0])).indexOf(folded(textOf(values[1]))) >= 0;
    sqlite3_result_int(context, found ? 1 : 0);
}

[[noreturn]] void rethrow(const SQLite::Exception& exception) {
    throw DatabaseFailure(exception.what(), exception.getErrorCode());
}

template <class Call>
auto guarded(Call call) {
    try {
        return call();
    } catch (const SQLite::Exception& exception) {
        rethrow(exception);
    }
}

}  // namespace

DatabaseFailure::DatabaseFailure(const std::string& text, int sqliteCode)
    : std::runtime_error(text),
      isDamage_((sqliteCode & 0xFF) == SQLITE_CORRUPT || (sqliteCode & 0xFF) == SQLITE_NOTADB),
      isFull_((sqliteCode & 0xFF) == SQLITE_FULL) {}

Query::Query(Database& database, std::string sql, std::unique_ptr<SQLite::Statement> statement)
    : database_(&database), sql_(std::move(sql)), statement_(std::move(statement)) {}

Query::Query(Query&&) noexcept = default;

Query::~Query() {
    if (!statement_) return;
    const bool isSound = statement_->tryReset() == SQLITE_OK;
    if (isSound && database_->idle_.size() < kIdleStatements) database_->idle_[sql_] = std::move(statement_);
}

bool Query::step() {
    return guarded([&] { return statement_->executeStep(); });
}

void Query::run() {
    while (step()) {
    }
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

Database::Database(const std::filesystem::path& file, Access access, int cacheKilobytes) {
    guarded([&] {
        if (!file.empty() && access == Access::Write) {
            // SQLite gives its side files the permissions of this one.
            const int made = ::open(file.c_str(), O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
            if (made >= 0) ::close(made);
        }
        const int flags = SQLite::OPEN_READWRITE | (access == Access::Write ? SQLite::OPEN_CREATE : 0);
        database_ =
            std::make_unique<SQLite::Database>(file.empty() ? ":memory:" : file.string(), flags, kBusyMilliseconds);
        sqlite3_create_function_v2(database_->getHandle(), "contains_text", 2, SQLITE_UTF8 | SQLITE_DETERMINISTIC,
                                   nullptr, &containsText, nullptr, nullptr, nullptr);
        database_->exec("PRAGMA cache_size = -" + std::to_string(cacheKilobytes));
        database_->exec("PRAGMA temp_store = " + std::string(file.empty() ? "MEMORY" : "FILE"));
        if (access == Access::Read) {
            database_->exec("PRAGMA query_only = ON");
            return;
        }
        database_->exec("PRAGMA journal_mode = WAL");
        // The index is derived: after a power cut the last changes may be missing, but it is whole.
        database_->exec("PRAGMA synchronous = NORMAL");
        database_->exec("PRAGMA foreign_keys = OFF");
    });
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
        for (std::size_t i = 0; i < values.size(); ++i)
            std::visit([&](const auto& value) { statement->bind(static_cast<int>(i) + 1, value); }, values[i]);
        return Query(*this, sql, std::move(statement));
    });
}

void Database::runScript(const std::string& sql) {
    guarded([&] { database_->exec(sql); });
}

std::int64_t Database::integer(const std::string& sql, const SqlValues& values) {
    Query found = query(sql, values);
    return found.step() ? found.integer() : 0;
}

int Database::changes() const { return database_->getChanges(); }

}  // namespace qs
