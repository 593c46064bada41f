#include "Store/AccountTables.h"

#include "Store/SqlConnection.h"
#include "Store/Times.h"
#include "Text/Digests.h"

namespace qs {

namespace {

std::optional<Account> accountIn(const SqlRows& rows) {
    if (rows.empty()) return std::nullopt;
    const SqlRow& row = rows.front();
    return Account{.id = row.integer(0),
                   .email = row.text(1),
                   .passwordHash = row.text(2),
                   .name = row.text(3),
                   .created = dateOf(row.integer(4)),
                   .pictureKey = row.text(5)};
}

std::optional<std::string> textIn(const SqlRows& rows) {
    if (rows.empty()) return std::nullopt;
    return rows.front().text(0);
}

}  // namespace

std::optional<Account> accountWithEmail(SqlConnection& database, const std::string& email) {
    return accountIn(database.run(
        "SELECT id, email, password, name, created_at, picture_key FROM accounts WHERE email = ?1", {email}));
}

std::optional<Account> accountWithId(SqlConnection& database, std::int64_t id) {
    return accountIn(
        database.run("SELECT id, email, password, name, created_at, picture_key FROM accounts WHERE id = ?1", {id}));
}

void setName(SqlConnection& database, std::int64_t account, const std::string& name) {
    database.run("UPDATE accounts SET name = ?2 WHERE id = ?1", {account, name});
}

void setPassword(SqlConnection& database, std::int64_t account, const std::string& hash) {
    database.run("UPDATE accounts SET password = ?2 WHERE id = ?1", {account, hash});
}

void removeAccount(SqlConnection& database, std::int64_t account) {
    database.run("DELETE FROM accounts WHERE id = ?1", {account});
}

void addSignUp(SqlConnection& database, const std::string& token, const std::string& email,
               const std::string& passwordHash, Date now) {
    database.run("INSERT INTO sign_ups (token, email, password, created_at) VALUES (?1, ?2, ?3, ?4)",
                 {SHA256HexDigest(token), email, passwordHash, secondsOf(now)});
}

std::string waitingSignUp(SqlConnection& database, const std::string& email, Date notBefore) {
    return textIn(database.run("SELECT password FROM sign_ups WHERE email = ?1 AND created_at >= ?2 "
                               "ORDER BY created_at DESC LIMIT 1",
                               {email, secondsOf(notBefore)}))
        .value_or("");
}

bool hasSignUp(SqlConnection& database, const std::string& token, Date notBefore) {
    return !database
                .run("SELECT 1 FROM sign_ups WHERE token = ?1 AND created_at >= ?2",
                     {SHA256HexDigest(token), secondsOf(notBefore)})
                .empty();
}

std::optional<std::string> confirmSignUp(SqlConnection& database, const std::string& token, Date notBefore, Date now) {
    const SqlRows rows = database.run("DELETE FROM sign_ups WHERE token = ?1 AND created_at >= ?2 "
                                      "RETURNING email, password",
                                      {SHA256HexDigest(token), secondsOf(notBefore)});
    if (rows.empty()) return std::nullopt;
    const std::string email = rows.front().text(0);
    database.run("DELETE FROM sign_ups WHERE email = ?1", {email});
    database.run("INSERT INTO accounts (email, password, created_at) VALUES (?1, ?2, ?3) ON CONFLICT DO NOTHING",
                 {email, rows.front().text(1), secondsOf(now)});
    if (database.changes() == 0) return std::nullopt;
    return email;
}

void addReset(SqlConnection& database, const std::string& token, std::int64_t account, Date now) {
    database.run("INSERT INTO resets (token, account, created_at) VALUES (?1, ?2, ?3)",
                 {SHA256HexDigest(token), account, secondsOf(now)});
}

std::optional<std::int64_t> accountOfReset(SqlConnection& database, const std::string& token, Date notBefore) {
    const SqlRows rows = database.run("SELECT account FROM resets WHERE token = ?1 AND created_at >= ?2",
                                      {SHA256HexDigest(token), secondsOf(notBefore)});
    if (rows.empty()) return std::nullopt;
    return rows.front().integer(0);
}

void removeResets(SqlConnection& database, std::int64_t account) {
    database.run("DELETE FROM resets WHERE account = ?1", {account});
}

void setProperties(SqlConnection& database, std::int64_t account, const std::map<std::string, std::string>& properties,
                   Date now) {
    // What is not sent any more, such as a count that became 0, is not true any more.
    database.run("DELETE FROM properties WHERE account = ?1", {account});
    for (const auto& [name, value] : properties)
        database.run("INSERT INTO properties (account, name, value, set_at) VALUES (?1, ?2, ?3, ?4)",
                     {account, name, value, secondsOf(now)});
}

void setDevice(SqlConnection& database, std::int64_t account, const DeviceFacts& facts, Date now) {
    database.run("INSERT INTO devices (account, device, osx_version, mail_version, quillstead_version, mac_model, "
                 "seen_at) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7) ON CONFLICT (account, device) DO UPDATE SET "
                 "osx_version = excluded.osx_version, mail_version = excluded.mail_version, "
                 "quillstead_version = excluded.quillstead_version, mac_model = excluded.mac_model, "
                 "seen_at = excluded.seen_at",
                 {account, facts.device, facts.osxVersion, facts.mailVersion, facts.quillsteadVersion, facts.macModel,
                  secondsOf(now)});
}

void setPicture(SqlConnection& database, std::int64_t account, const std::optional<Picture>& picture) {
    if (!picture) {
        database.run("UPDATE accounts SET picture = NULL, picture_key = NULL, picture_hash = NULL WHERE id = ?1",
                     {account});
        return;
    }
    database.run("UPDATE accounts SET picture = ?2, picture_key = ?3, picture_hash = ?4 WHERE id = ?1",
                 {account, picture->base64, picture->key, picture->hash});
}

std::optional<std::string> pictureWithKey(SqlConnection& database, const std::string& key) {
    return textIn(database.run("SELECT picture FROM accounts WHERE picture_key = ?1", {key}));
}

std::optional<std::string> pictureWithHash(SqlConnection& database, const std::string& hash) {
    return textIn(database.run("SELECT picture FROM accounts WHERE picture_hash = ?1", {hash}));
}

void dropOldTokens(SqlConnection& database, Date signUpsBefore, Date resetsBefore) {
    database.run("DELETE FROM sign_ups WHERE created_at < ?1", {secondsOf(signUpsBefore)});
    database.run("DELETE FROM resets WHERE created_at < ?1", {secondsOf(resetsBefore)});
}

}  // namespace qs
