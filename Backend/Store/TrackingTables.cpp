#include "Store/TrackingTables.h"

#include "Store/SqlConnection.h"
#include "Store/Times.h"

namespace qs {

namespace {

constexpr std::int64_t kMostOpens = 1000;  // of one pixel
constexpr std::int64_t kMostEarlyOpens = 50'000;
// How far opens that come faster than one in a second may push the dates of the next ones ahead.
constexpr std::int64_t kMostSecondsAhead = 60;

Open openFrom(const SqlRow& row, std::size_t column) {
    return {.date = dateOf(row.integer(column)),
            .ip = row.text(column + 1),
            .country = row.text(column + 2),
            .city = row.text(column + 3),
            .timezone = row.text(column + 4),
            .userAgent = row.text(column + 5)};
}

bool addOpen(SqlConnection& database, const std::string& uuid, const Open& open) {
    const SqlRows pixel = database.run(
        "UPDATE pixels SET last_open = CASE WHEN last_open >= CAST(?2 AS BIGINT) THEN last_open + 1 "
        "ELSE CAST(?2 AS BIGINT) END, updated_at = CASE WHEN updated_at > CAST(?2 AS BIGINT) THEN updated_at "
        "ELSE CAST(?2 AS BIGINT) END, opens = opens + 1 "
        "WHERE uuid = ?1 AND opens < CAST(?3 AS BIGINT) AND last_open < CAST(?4 AS BIGINT) RETURNING id, last_open",
        {uuid, secondsOf(open.date), kMostOpens, secondsOf(open.date) + kMostSecondsAhead});
    if (pixel.empty()) return false;
    database.run("INSERT INTO opens (pixel, opened_at, ip, country, city, timezone, user_agent) "
                 "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7)",
                 {pixel.front().integer(0), pixel.front().integer(1), open.ip, open.country, open.city, open.timezone,
                  open.userAgent});
    return true;
}

void takeEarlyOpens(SqlConnection& database, const std::string& uuid) {
    for (const SqlRow& row : database.run("SELECT opened_at, ip, country, city, timezone, user_agent FROM early_opens "
                                          "WHERE uuid = ?1 ORDER BY opened_at, id",
                                          {uuid}))
        addOpen(database, uuid, openFrom(row, 0));
    database.run("DELETE FROM early_opens WHERE uuid = ?1", {uuid});
}

}  // namespace

std::vector<Pixel> registerPixels(SqlConnection& database, std::int64_t account, const std::vector<Pixel>& pixels,
                                  Date now) {
    std::vector<Pixel> ours;
    for (const Pixel& pixel : pixels) {
        const SqlRows rows = database.run("INSERT INTO pixels (uuid, account, message_id, created_at, updated_at) "
                                          "VALUES (?1, ?2, ?3, ?4, ?4) ON CONFLICT (uuid) DO UPDATE SET "
                                          "message_id = excluded.message_id, updated_at = excluded.updated_at "
                                          "WHERE pixels.account = excluded.account RETURNING opens",
                                          {pixel.uuid, account, pixel.messageID, secondsOf(now)});
        if (rows.empty()) continue;
        if (rows.front().integer(0) == 0) takeEarlyOpens(database, pixel.uuid);
        ours.push_back(pixel);
    }
    return ours;
}

LogOutcome logOpen(SqlConnection& database, const std::string& uuid, const Open& open) {
    if (addOpen(database, uuid, open)) return LogOutcome::Logged;
    if (!database.run("SELECT 1 FROM pixels WHERE uuid = ?1", {uuid}).empty()) return LogOutcome::Dropped;
    // The bound keeps strangers who make up ids from filling the disk.
    database.run(
        "INSERT INTO early_opens (uuid, opened_at, ip, country, city, timezone, user_agent) "
        "SELECT CAST(?1 AS TEXT), CAST(?2 AS BIGINT), CAST(?3 AS TEXT), CAST(?4 AS TEXT), CAST(?5 AS TEXT), "
        "CAST(?6 AS TEXT), CAST(?7 AS TEXT) "
        "WHERE (SELECT COALESCE(MAX(id) - MIN(id), 0) FROM early_opens) < CAST(?8 AS BIGINT)",
        {uuid, secondsOf(open.date), open.ip, open.country, open.city, open.timezone, open.userAgent, kMostEarlyOpens});
    return database.changes() > 0 ? LogOutcome::Early : LogOutcome::Dropped;
}

std::vector<Pixel> pixelsUpdatedSince(SqlConnection& database, std::int64_t account, Date since) {
    std::vector<Pixel> pixels;
    std::int64_t last = -1;
    for (const SqlRow& row :
         database.run("SELECT p.id, p.uuid, p.message_id, o.opened_at, o.ip, o.country, o.city, o.timezone, "
                      "o.user_agent FROM pixels p LEFT JOIN opens o ON o.pixel = p.id "
                      "WHERE p.account = ?1 AND p.updated_at >= ?2 ORDER BY p.updated_at, p.id, o.opened_at",
                      {account, secondsOf(since)})) {
        if (row.integer(0) != last) pixels.push_back({row.text(1), row.text(2), {}});
        last = row.integer(0);
        if (!row.isNull(3)) pixels.back().opens.push_back(openFrom(row, 3));
    }
    return pixels;
}

std::int64_t countOfEarlyOpens(SqlConnection& database) {
    return database.run("SELECT COUNT(*) FROM early_opens").at(0).integer(0);
}

void dropOldTracking(SqlConnection& database, Date earlyBefore, Date opensBefore, Date pixelsBefore) {
    database.run("DELETE FROM early_opens WHERE opened_at < ?1", {secondsOf(earlyBefore)});
    database.run("DELETE FROM opens WHERE opened_at < ?1", {secondsOf(opensBefore)});
    database.run("DELETE FROM pixels WHERE updated_at < ?1", {secondsOf(pixelsBefore)});
}

}  // namespace qs
