// Pixels and their opens, as the database keeps them. Called within a transaction; throws SqlFailure.
//
// Opens of one pixel have distinct seconds, growing in the order in which they are logged: the reader tells them apart
// by their dates alone.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Foundation/Date.h"

namespace qs {

class SqlConnection;

struct Open {
    Date date;
    std::string ip, country, city, timezone, userAgent;  // empty for what is not known
};

struct Pixel {
    std::string uuid;  // in upper case
    std::string messageID;
    std::vector<Open> opens;  // by date
};

// The ones that are this account's now: a pixel belongs to the first account that registers it. Registering one again
// brings its Message-Id up to date. Opens that came before the registration count from now on.
std::vector<Pixel> registerPixels(SqlConnection& database, std::int64_t account, const std::vector<Pixel>& pixels,
                                  Date now);

enum class LogOutcome {
    Logged,
    Early,   // nobody has registered the pixel yet; the open is kept for whoever does
    Dropped  // the pixel has more opens than anybody would look at, or more in a moment than can be real
};
LogOutcome logOpen(SqlConnection& database, const std::string& uuid, const Open& open);

// Registered or opened since then, with all their opens, the oldest change first.
std::vector<Pixel> pixelsUpdatedSince(SqlConnection& database, std::int64_t account, Date since);

std::int64_t countOfEarlyOpens(SqlConnection& database);
void dropOldTracking(SqlConnection& database, Date earlyBefore, Date opensBefore, Date pixelsBefore);

}  // namespace qs
