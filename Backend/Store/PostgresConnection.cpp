#include <libpq-fe.h>

#include <charconv>

#include "Foundation/Log.h"
#include "Store/SqlConnection.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

// Types of results by their numbers in the server's catalogue (pg_type.dat).
constexpr Oid kInt8 = 20, kInt2 = 21, kInt4 = 23;

struct ConnectionEnd {
    void operator()(PGconn* connection) const { PQfinish(connection); }
};
struct ResultEnd {
    void operator()(PGresult* result) const { PQclear(result); }
};
using ResultHandle = std::unique_ptr<PGresult, ResultEnd>;

// "?1" becomes "$1". No statement of ours has a question mark in a text.
std::string numbered(const std::string& sql) {
    std::string text = sql;
    for (char& c : text)
        if (c == '?') c = '$';
    return text;
}

// Texts reach the server as C strings, and it takes no zero byte in them.
std::string parameterText(const SqlValue& value) {
    if (const auto* text = std::get_if<std::string>(&value)) return text->substr(0, text->find('\0'));
    if (const auto* number = std::get_if<std::int64_t>(&value)) return std::to_string(*number);
    return std::to_string(std::get<double>(value));
}

SqlValue valueAt(const PGresult* result, int row, int column) {
    if (PQgetisnull(result, row, column)) return nullptr;
    const std::string_view text(PQgetvalue(result, row, column),
                                static_cast<std::size_t>(PQgetlength(result, row, column)));
    const Oid type = PQftype(result, column);
    if (type != kInt8 && type != kInt4 && type != kInt2) return std::string(text);
    std::int64_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

class PostgresConnection : public SqlConnection {
public:
    explicit PostgresConnection(const std::string& text) : connection_(PQconnectdb(text.c_str())) {
        if (!isUsable()) throw SqlFailure("The database cannot be reached: " + message());
        PQsetNoticeProcessor(
            connection_.get(), [](void*, const char* notice) { logDebug(trimmedAscii(notice)); }, nullptr);
    }

    SqlRows run(const std::string& sql, const SqlValues& values) override {
        std::vector<std::string> texts;
        std::vector<const char*> pointers;
        texts.reserve(values.size());
        for (const SqlValue& value : values) {
            const bool isNull = std::holds_alternative<std::nullptr_t>(value);
            pointers.push_back(isNull ? nullptr : texts.emplace_back(parameterText(value)).c_str());
        }
        const ResultHandle result(PQexecParams(connection_.get(), numbered(sql).c_str(),
                                               static_cast<int>(pointers.size()), nullptr, pointers.data(), nullptr,
                                               nullptr, 0));
        return rowsOf(result.get());
    }
    std::int64_t changes() const override { return changes_; }
    void begin() override { run("BEGIN", {}); }
    void commit() override { run("COMMIT", {}); }
    void rollBack() noexcept override { const ResultHandle result(PQexec(connection_.get(), "ROLLBACK")); }
    bool isUsable() const override { return PQstatus(connection_.get()) == CONNECTION_OK; }
    std::string countingKey() const override { return "BIGSERIAL PRIMARY KEY"; }

private:
    SqlRows rowsOf(PGresult* result) {
        const auto status = PQresultStatus(result);
        if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) throw SqlFailure(message());
        const std::string changed = PQcmdTuples(result);
        changes_ = 0;
        std::from_chars(changed.data(), changed.data() + changed.size(), changes_);
        SqlRows rows;
        for (int row = 0; row < PQntuples(result); ++row) {
            SqlValues values;
            for (int column = 0; column < PQnfields(result); ++column)
                values.push_back(valueAt(result, row, column));
            rows.emplace_back(std::move(values));
        }
        return rows;
    }
    // The first line: what follows may show values of the statement.
    std::string message() const {
        const std::string_view text = PQerrorMessage(connection_.get());
        return std::string(trimmedAscii(text.substr(0, text.find('\n'))));
    }

    std::unique_ptr<PGconn, ConnectionEnd> connection_;
    std::int64_t changes_ = 0;
};

}  // namespace

std::unique_ptr<SqlConnection> SqlConnection::openPostgres(const std::string& connection) {
    return std::make_unique<PostgresConnection>(connection);
}

}  // namespace qs
