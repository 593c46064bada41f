// Accounts and what belongs to them, as the database keeps them. Called within a transaction; throws SqlFailure.
//
// An address counts in lower case. Tokens are kept as digests, so that a copy of the database opens nothing.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "Foundation/Date.h"

namespace qs {

class SqlConnection;

struct Account {
    std::int64_t id = 0;
    std::string email, passwordHash, name;
    Date created;
    std::string pictureKey;  // what its private address ends with; empty without a picture
};

std::optional<Account> accountWithEmail(SqlConnection& database, const std::string& email);
std::optional<Account> accountWithId(SqlConnection& database, std::int64_t id);
void setName(SqlConnection& database, std::int64_t account, const std::string& name);
void setPassword(SqlConnection& database, std::int64_t account, const std::string& hash);
void removeAccount(SqlConnection& database, std::int64_t account);  // with everything that belongs to it

// A sign-up becomes an account when its token is shown. Several may wait for one address, each with the password that
// whoever asked chose: the token, which only the owner of the address gets, decides which of them it is.
void addSignUp(SqlConnection& database, const std::string& token, const std::string& email,
               const std::string& passwordHash, Date now);
// The password of the newest that waits for the address; empty for none.
std::string waitingSignUp(SqlConnection& database, const std::string& email, Date notBefore);
bool hasSignUp(SqlConnection& database, const std::string& token, Date notBefore);
// The new account's address; nothing for a token that is unknown, too old or used. All others of the address go.
std::optional<std::string> confirmSignUp(SqlConnection& database, const std::string& token, Date notBefore, Date now);

void addReset(SqlConnection& database, const std::string& token, std::int64_t account, Date now);
std::optional<std::int64_t> accountOfReset(SqlConnection& database, const std::string& token, Date notBefore);
void removeResets(SqlConnection& database, std::int64_t account);

void setProperties(SqlConnection& database, std::int64_t account, const std::map<std::string, std::string>& properties,
                   Date now);
struct DeviceFacts {
    std::string device, osxVersion, mailVersion, quillsteadVersion, macModel;
};
void setDevice(SqlConnection& database, std::int64_t account, const DeviceFacts& facts, Date now);

struct Picture {
    std::string base64;  // of a PNG
    std::string key;     // of its private address
    std::string hash;    // MD5 of the mail address, of its public one
};
void setPicture(SqlConnection& database, std::int64_t account, const std::optional<Picture>& picture);
// As base64.
std::optional<std::string> pictureWithKey(SqlConnection& database, const std::string& key);
std::optional<std::string> pictureWithHash(SqlConnection& database, const std::string& hash);

void dropOldTokens(SqlConnection& database, Date signUpsBefore, Date resetsBefore);

}  // namespace qs
