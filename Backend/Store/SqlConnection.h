// A connection to the backend's database: SQLite in a file for most, PostgreSQL for many users. Statements are written
// once for both: parameters are ?1, ?2, ..., whole numbers BIGINT, everything else TEXT.
//
// A connection is used by one thread at a time. Calls throw SqlFailure.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Database/Database.h"

namespace qs {

class SqlFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class SqlRow {
public:
    explicit SqlRow(SqlValues values) : values_(std::move(values)) {}
    bool isNull(std::size_t column) const { return std::holds_alternative<std::nullptr_t>(values_.at(column)); }
    std::int64_t integer(std::size_t column) const;  // 0 for null and for texts
    std::string text(std::size_t column) const;      // "" for null

private:
    SqlValues values_;
};
using SqlRows = std::vector<SqlRow>;

class SqlConnection {
public:
    virtual ~SqlConnection() = default;
    // Made 0600 if there is none.
    static std::unique_ptr<SqlConnection> openSqlite(const std::filesystem::path& file);
    // libpq's text, such as "host=/run/postgresql dbname=quillstead". A password in it never shows in failures.
    static std::unique_ptr<SqlConnection> openPostgres(const std::string& connection);

    // One statement. All of its rows; for one that changes rows they are those of its RETURNING.
    virtual SqlRows run(const std::string& sql, const SqlValues& values = {}) = 0;
    virtual std::int64_t changes() const = 0;  // rows that the last statement changed
    virtual void begin() = 0;                  // a transaction that may write
    virtual void commit() = 0;
    virtual void rollBack() noexcept = 0;
    virtual bool isUsable() const = 0;  // false: the server is gone, take another connection
    // Written into the schema for a column that counts up by itself.
    virtual std::string countingKey() const = 0;
};

// Brings the tables to their present form. Safe when several programs start at once.
void prepareSchema(SqlConnection& database);

}  // namespace qs
