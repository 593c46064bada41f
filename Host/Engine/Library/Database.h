// SQLite as the library's index uses it: one connection, cached statements, values bound by position. The only header
// between the index and the database's own interface.
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

// What the database throws. Caught at the face of the library.
class DatabaseFailure : public std::runtime_error {
public:
    DatabaseFailure(const std::string& text, int sqliteCode);
    bool isDamage() const { return isDamage_; }  // the file is no database, or not a whole one
    bool isFull() const { return isFull_; }      // the disk is

private:
    bool isDamage_, isFull_;
};

using SqlValue = std::variant<std::int64_t, double, std::string>;
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
    std::int64_t integer(int column = 0) const;
    double real(int column = 0) const;
    std::string text(int column = 0) const;

private:
    friend class Database;
    Query(Database& database, std::string sql, std::unique_ptr<SQLite::Statement> statement);
    Database* database_;
    std::string sql_;
    std::unique_ptr<SQLite::Statement> statement_;
};

// Used by one thread at a time.
class Database {
public:
    enum class Access { Write, Read };
    // An empty path: in memory. Files are made 0600. `cacheKilobytes` bounds the memory for pages.
    Database(const std::filesystem::path& file, Access access, int cacheKilobytes);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    Query query(const std::string& sql, const SqlValues& values = {});
    // A statement without rows.
    void run(const std::string& sql, const SqlValues& values = {}) { query(sql, values).run(); }
    void runScript(const std::string& sql);                                      // several statements without values
    std::int64_t integer(const std::string& sql, const SqlValues& values = {});  // of the first row; 0 for none
    int changes() const;                                                         // rows that the last statement changed

private:
    friend class Query;
    std::unique_ptr<SQLite::Database> database_;
    std::map<std::string, std::unique_ptr<SQLite::Statement>, std::less<>> idle_;
};

}  // namespace qs
