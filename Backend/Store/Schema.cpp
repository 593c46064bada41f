// The tables. Times are whole seconds since 1970, secrets are digests, pictures base64.
#include <algorithm>
#include <array>
#include <string_view>

#include "Store/SqlConnection.h"

namespace qs {

namespace {

// Each entry leads from one form of the tables to the next; "@KEY" is the column that counts up by itself.
constexpr std::array kSteps = {
    R"(CREATE TABLE accounts (id @KEY, email TEXT NOT NULL UNIQUE, password TEXT NOT NULL,
           name TEXT NOT NULL DEFAULT '', created_at BIGINT NOT NULL,
           picture TEXT, picture_key TEXT UNIQUE, picture_hash TEXT UNIQUE);
       CREATE TABLE sign_ups (token TEXT PRIMARY KEY, email TEXT NOT NULL, password TEXT NOT NULL,
           created_at BIGINT NOT NULL);
       CREATE INDEX sign_ups_by_email ON sign_ups (email);
       CREATE INDEX sign_ups_by_time ON sign_ups (created_at);
       CREATE TABLE resets (token TEXT PRIMARY KEY,
           account BIGINT NOT NULL REFERENCES accounts (id) ON DELETE CASCADE, created_at BIGINT NOT NULL);
       CREATE INDEX resets_by_account ON resets (account);
       CREATE TABLE properties (account BIGINT NOT NULL REFERENCES accounts (id) ON DELETE CASCADE,
           name TEXT NOT NULL, value TEXT NOT NULL, set_at BIGINT NOT NULL, PRIMARY KEY (account, name));
       CREATE TABLE devices (account BIGINT NOT NULL REFERENCES accounts (id) ON DELETE CASCADE,
           device TEXT NOT NULL, osx_version TEXT NOT NULL, mail_version TEXT NOT NULL,
           quillstead_version TEXT NOT NULL, mac_model TEXT NOT NULL, seen_at BIGINT NOT NULL,
           PRIMARY KEY (account, device));
       CREATE TABLE pixels (id @KEY, uuid TEXT NOT NULL UNIQUE,
           account BIGINT NOT NULL REFERENCES accounts (id) ON DELETE CASCADE, message_id TEXT NOT NULL,
           created_at BIGINT NOT NULL, updated_at BIGINT NOT NULL, last_open BIGINT NOT NULL DEFAULT 0,
           opens BIGINT NOT NULL DEFAULT 0);
       CREATE INDEX pixels_by_update ON pixels (account, updated_at);
       CREATE INDEX pixels_by_time ON pixels (updated_at);
       CREATE TABLE opens (pixel BIGINT NOT NULL REFERENCES pixels (id) ON DELETE CASCADE, opened_at BIGINT NOT NULL,
           ip TEXT NOT NULL, country TEXT NOT NULL, city TEXT NOT NULL, timezone TEXT NOT NULL,
           user_agent TEXT NOT NULL, PRIMARY KEY (pixel, opened_at));
       CREATE INDEX opens_by_time ON opens (opened_at);
       CREATE TABLE early_opens (id @KEY, uuid TEXT NOT NULL, opened_at BIGINT NOT NULL, ip TEXT NOT NULL,
           country TEXT NOT NULL, city TEXT NOT NULL, timezone TEXT NOT NULL, user_agent TEXT NOT NULL);
       CREATE INDEX early_opens_by_uuid ON early_opens (uuid);
       CREATE INDEX early_opens_by_time ON early_opens (opened_at);
       CREATE TABLE letters (id @KEY, recipient TEXT NOT NULL, subject TEXT NOT NULL, body TEXT NOT NULL,
           created_at BIGINT NOT NULL, attempts BIGINT NOT NULL DEFAULT 0, next_attempt BIGINT NOT NULL);
       CREATE INDEX letters_by_time ON letters (next_attempt))",
};

void runStep(SqlConnection& database, std::string_view step) {
    while (!step.empty()) {
        const auto end = std::min(step.find(';'), step.size());
        std::string statement(step.substr(0, end));
        if (const auto key = statement.find("@KEY"); key != std::string::npos)
            statement.replace(key, 4, database.countingKey());
        database.run(statement);
        step.remove_prefix(std::min(end + 1, step.size()));
    }
}

}  // namespace

void prepareSchema(SqlConnection& database) {
    const char* formTable =
        "CREATE TABLE IF NOT EXISTS schema_form (only_row BIGINT PRIMARY KEY, form BIGINT NOT NULL)";
    try {
        database.run(formTable);
    } catch (const SqlFailure&) {
        // PostgreSQL may refuse it when another program makes the table at the same moment; then it is there now.
        database.run(formTable);
    }
    database.run("INSERT INTO schema_form VALUES (1, 0) ON CONFLICT DO NOTHING");
    database.begin();
    try {
        // Changing the row, even to what it was, keeps other programs waiting here until the tables are made.
        const SqlRows rows = database.run("UPDATE schema_form SET form = form RETURNING form");
        const auto form = static_cast<std::size_t>(rows.at(0).integer(0));
        if (form > kSteps.size()) throw SqlFailure("The database was made by a later version of this program.");
        for (std::size_t step = form; step < kSteps.size(); ++step)
            runStep(database, kSteps[step]);
        database.run("UPDATE schema_form SET form = ?1", {static_cast<std::int64_t>(kSteps.size())});
        database.commit();
    } catch (...) {
        database.rollBack();
        throw;
    }
}

}  // namespace qs
