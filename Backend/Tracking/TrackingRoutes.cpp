#include "Tracking/TrackingRoutes.h"

#include <algorithm>

#include "Accounts/SignIn.h"
#include "Foundation/DateFormatter.h"
#include "Foundation/Json.h"
#include "Store/SqlPool.h"
#include "Store/Times.h"
#include "Store/TrackingTables.h"
#include "Text/Ascii.h"
#include "Tracking/OpenLog.h"
#include "Web/Answers.h"
#include "Web/FormFields.h"

namespace qs {

namespace {

constexpr std::size_t kLongestMessageID = 998;  // a line of mail
// The plug-in moves its mark before it has the answer, so what it asks from may be later than what it has. It knows
// what it has by id and date, so telling things again does no harm.
constexpr TimeInterval kOverlap = 31 * 86'400;

bool isMessageID(const std::string& text) {
    return !text.empty() && text.size() <= kLongestMessageID && std::none_of(text.begin(), text.end(), isAsciiControl);
}

// "+01:00" in a query that was not escaped has become " 01:00".
std::optional<Date> parsedMark(std::string text) {
    const auto zone = text.rfind(' ');
    if (zone != std::string::npos) text[zone] = '+';
    return parseDate(text, {.pattern = "yyyy-MM-dd'T'HH:mm:ssZZZZZ", .locale = "en_US_POSIX", .timeZone = "UTC"});
}

void addIfKnown(Dictionary& fields, const char* name, const std::string& text) {
    if (!text.empty()) fields[name] = text;
}

Value toldOpen(const Open& open) {
    Dictionary fields{{"created_at", timestamp(open.date)}};
    addIfKnown(fields, "city", open.city);
    addIfKnown(fields, "country", open.country);
    addIfKnown(fields, "ip", open.ip);
    addIfKnown(fields, "timezone", open.timezone);
    addIfKnown(fields, "userAgentString", open.userAgent);
    return fields;
}

}  // namespace

HttpServerResponse takePixels(Service& service, const Call& call) {
    const auto account = service.signIn.account(call);
    if (!account) return account.error();
    const auto body = parseJson(call.http.body);
    if (!body) return errorAnswer(400, "The body is no JSON.");
    if ((*body)["pixels"].type() != Value::Type::Array) return errorAnswer(422, "The key pixels is missing.");
    std::vector<Pixel> pixels;
    for (const Value& each : (*body)["pixels"].array()) {
        const auto uuid = pixelId(each["uuid"].string());
        const std::string& messageID = each["messageID"].string();
        if (uuid && isMessageID(messageID)) pixels.push_back({*uuid, messageID, {}});
    }
    Array taken;
    for (const Pixel& pixel : service.database.transaction(
             [&](SqlConnection& database) { return registerPixels(database, account->id, pixels, call.now); }))
        taken.emplace_back(Dictionary{{"uuid", pixel.uuid}, {"message_id", pixel.messageID}});
    return jsonAnswer(200, taken);
}

HttpServerResponse showPixels(Service& service, const Call& call) {
    const auto account = service.signIn.account(call);
    if (!account) return account.error();
    const std::string text = field(formFields(call.http.query), "updated_since");
    const auto mark = text.empty() ? Date() : parsedMark(text);
    if (!mark) return errorAnswer(422, "The date updated_since makes no sense.");
    // What was fetched a moment ago is part of the answer.
    service.opens.write();
    const auto pixels = service.database.transaction(
        [&](SqlConnection& database) { return pixelsUpdatedSince(database, account->id, *mark - kOverlap); });
    Array told;
    for (const Pixel& pixel : pixels) {
        Array opens;
        for (const Open& open : pixel.opens)
            opens.push_back(toldOpen(open));
        told.emplace_back(
            Dictionary{{"uuid", pixel.uuid}, {"message_id", pixel.messageID}, {"opens", std::move(opens)}});
    }
    return jsonAnswer(200, told);
}

std::optional<std::string> pixelId(std::string_view text) {
    constexpr std::string_view form = "00000000-0000-0000-0000-000000000000";
    if (text.size() != form.size() || text == form) return std::nullopt;
    std::string id;
    for (std::size_t i = 0; i < form.size(); ++i) {
        if (form[i] == '-' ? text[i] != '-' : hexDigitValue(text[i]) < 0) return std::nullopt;
        id += text[i] >= 'a' && text[i] <= 'f' ? static_cast<char>(text[i] - 'a' + 'A') : text[i];
    }
    return id;
}

HttpServerResponse pixelAnswer() {
    // A GIF of one clear point.
    static const std::string picture(
        "GIF89a\x01\0\x01\0\x80\0\0\0\0\0\xFF\xFF\xFF!\xF9\x04\x01\0\0\0\0,\0\0\0\0\x01\0\x01\0\0"
        "\x02\x01"
        "D\0;",
        42);
    return {200,
            {{"Content-Type", "image/gif"},
             {"Cache-Control", "no-store, no-cache, must-revalidate, max-age=0"},
             {"Cross-Origin-Resource-Policy", "cross-origin"}},
            picture};
}

}  // namespace qs
