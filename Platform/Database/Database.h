// SQLite as everything here uses it: one connection, cached statements, values bound by position. The mail library's
// index and the plug-in's object store stand on it.
//
// A connection is used by one thread at a time. Calls throw DatabaseFailure.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace SQLite {
class Database;
class Statement;
}  // namespace SQLite

namespace qs {

// What the database throws. Caught at the face of whoever uses one.
class DatabaseFailure : public std::runtime_error {
public:
    DatabaseFailure(const std::string& text, int sqliteCode);
    int code() const { return code_; }  // SQLite's, without its extension
    bool isDamage() const;              // the file is no database, or not a whole one
    bool isFull() const;                // the disk is
    bool isBusy() const;                // another program works on the file

private:
    int code_;
};

using SqlValue = std::variant<std::int64_t, double, std::string, std::nullptr_t>;
using SqlValues = std::vector<SqlValue>;

class Database;

// A statement under way. Hands the statement back for the next use when it goes.
class Query {
public:
    Query(Query&&) noexcept;
    Query& operator=(Query&&) = delete;
    ~Query();

    bool step();  // to the next row; false at the end
    void run();   // to the end
    // Once more from the start, with other values.
    void restart(const SqlValues& values);
    bool isNull(int column) const;
    std::int64_t integer(int column = 0) const;
    double real(int column = 0) const;
    std::string text(int column = 0) const;
    int columns() const;
    SqlValue value(int column) const;  // as it is stored

private:
    friend class Database;
    Query(Database& database, std::string sql, std::unique_ptr<SQLite::Statement> statement);
    void bind(const SqlValues& values);
    Database* database_;
    std::string sql_;
    std::unique_ptr<SQLite::Statement> statement_;
};

class Database {
public:
    enum class Access {
        Write,     // makes the file, 0600, if there is none
        Read,      // beside a writer of the same program
        ReadOnly,  // leaves the file as it is, whatever state that is in
    };
    struct Options {
        Access access = Access::Write;
        int cacheKilobytes = 2000;  // bounds the memory for pages
        // What was committed outlives a power cut, and foreign keys are enforced. Else it is for what can be made anew.
        bool isDurable = false;
        int busyMilliseconds = 10'000;  // how long a call waits for another program before it fails
    };
    // An empty path: in memory.
    Database(const std::filesystem::path& file, const Options& options);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    Query query(const std::string& sql, const SqlValues& values = {});
    // A statement without rows.
    void run(const std::string& sql, const SqlValues& values = {}) { query(sql, values).run(); }
    void runScript(const std::string& sql);                                      // several statements without values
    std::int64_t integer(const std::string& sql, const SqlValues& values = {});  // of the first row; 0 for none
    std::string text(const std::string& sql, const SqlValues& values = {});      // likewise; empty for none
    int changes() const;                                                         // rows that the last statement changed

    // Makes a test of two texts known to SQL under that name.
    void addTextTest(const char* name, bool (*test)(std::string_view, std::string_view));
    // Makes another form of a text known to SQL under that name; triggers may use it.
    void addTextForm(const char* name, std::string (*form)(std::string_view));
    // Leaves it to the system when what is committed reaches the disk, which is much quicker for very much: a power cut
    // may then leave anything. A crash of the program does no harm. Not within a transaction.
    void setUnsynced(bool isUnsynced);
    // What was written so far, by whatever connection, is on the disk when this returns.
    void sync();
    // A whole copy of what is committed, durable when this returns but for its name in the folder. The file must not
    // exist yet.
    void copyTo(const std::filesystem::path& file);

private:
    friend class Query;
    const bool isDurable_;
    std::unique_ptr<SQLite::Database> database_;
    std::map<std::string, std::unique_ptr<SQLite::Statement>, std::less<>> idle_;
};

// A transaction, without effect unless it is committed.
class Transaction {
public:
    explicit Transaction(Database& database);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    void commit();

private:
    Database& database_;
    bool isOpen_ = true;
};

}  // namespace qs
