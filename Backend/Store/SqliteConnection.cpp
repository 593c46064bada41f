#include "Store/SqlConnection.h"

#include "Foundation/Log.h"

namespace qs {

namespace {

template <class Call>
auto translated(Call call) {
    try {
        return call();
    } catch (const DatabaseFailure& failure) {
        throw SqlFailure(failure.what());
    }
}

class SqliteConnection : public SqlConnection {
public:
    explicit SqliteConnection(const std::filesystem::path& file) : database_(file, {.isDurable = true}) {}

    SqlRows run(const std::string& sql, const SqlValues& values) override {
        return translated([&] {
            SqlRows rows;
            Query query = database_.query(sql, values);
            while (query.step()) {
                SqlValues row;
                for (int column = 0; column < query.columns(); ++column)
                    row.push_back(query.value(column));
                rows.emplace_back(std::move(row));
            }
            return rows;
        });
    }
    std::int64_t changes() const override { return database_.changes(); }
    void begin() override {
        translated([&] { database_.runScript("BEGIN IMMEDIATE"); });
    }
    void commit() override {
        translated([&] { database_.runScript("COMMIT"); });
    }
    void rollBack() noexcept override {
        try {
            database_.runScript("ROLLBACK");
        } catch (const std::exception& failure) {
            // A failure that took the disk away has ended the transaction already.
            logDebug(std::string("rolling back: ") + failure.what());
        }
    }
    bool isUsable() const override { return true; }
    std::string countingKey() const override { return "INTEGER PRIMARY KEY AUTOINCREMENT"; }

private:
    Database database_;
};

}  // namespace

std::int64_t SqlRow::integer(std::size_t column) const {
    const auto* number = std::get_if<std::int64_t>(&values_.at(column));
    return number ? *number : 0;
}

std::string SqlRow::text(std::size_t column) const {
    const auto* text = std::get_if<std::string>(&values_.at(column));
    return text ? *text : std::string();
}

std::unique_ptr<SqlConnection> SqlConnection::openSqlite(const std::filesystem::path& file) {
    return translated([&] { return std::make_unique<SqliteConnection>(file); });
}

}  // namespace qs
