#include "Tracking/QSTrackingPixelManager.h"

#include <algorithm>

#include "Account/QSBackend.h"
#include "Account/QSQuillsteadUser.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Core/StoreFetch.h"
#include "Foundation/Assertion.h"
#include "Foundation/DateFormatter.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/NotificationCenter.h"
#include "Foundation/RunLoop.h"
#include "MailCategories/BannerViewController_Quillstead.h"
#include "Settings/UserDefaults.h"
#include "Text/ISO8601.h"
#include "Text/Uuid.h"

namespace qs {

namespace {

constexpr std::string_view kLastSyncKey = "QSLastPixelSyncTimeKey", kSyncedKey = "QSSyncedNewPixelTracking";
constexpr TimeInterval kMinute = 60, kMostPendingAge = 86400;
constexpr const char* kPath = "/api/v1/tracking";

using Pixel = QSTrackingPixelManager::Pixel;
using Pixels = QSTrackingPixelManager::Pixels;

bool isAllZero(std::string_view uuid) {
    return std::ranges::all_of(uuid, [](char c) { return c == '-' || c == '0'; });
}

// Whether the backend can be asked; why not stands in the log.
bool canAsk() {
    if (!QSQuillsteadUser::me().hasCredentials()) {
        logInfo("Email or password is missing.");
        return false;
    }
    if (QSBackend::isReachable()) return true;
    logInfo("Cannot reach Quillstead server.");
    return false;
}

AFHTTPSessionManager userManager() {
    const auto& user = QSQuillsteadUser::me();
    return QSBackend::manager(user.email.value_or(""), user.password.value_or(""));
}

std::optional<TimeInterval> ageOfNewestUnread(Date now) {
    const auto newest = fetched<QSTrackingPixel>(QSTrackingPixel::kOpens.countIs(0),
                                                 {{QSTrackingPixel::kCreated.name(), false, {}}}, 1);
    const auto created = newest.empty() ? std::nullopt : newest.front()->created();
    return created ? std::optional(now - *created) : std::nullopt;
}

std::string uppercase(std::string text) {
    for (char& c : text)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return text;
}

void dropStalePixels(Date now) {
    for (const Pixel& pixel : QSTrackingPixelManager::pendingTrackingPixels())
        if (const auto created = pixel->created(); created && now - *created > kMostPendingAge)
            storeContext().deleteObject(*pixel);
}

void pixelWasRegistered(const Value& told) {
    assertThat(!told["uuid"].isNil(), "Something's wrong with the transmitted pixel: It does not have a UUID!");
    assertThat(!told["message_id"].isNil(),
               "Something's wrong with the transmitted pixel: It does not have a messageID!");
    const auto pixel = QSTrackingPixelManager::trackingPixelWithUUID(told["uuid"].stringValue());
    if (!pixel) return;
    pixel->setIsRemote(true);
    pixel->setTransmitting(false);
}

// One that the backend tells wrongly is in the log, and keeps no other back.
void pixelsWereRegistered(const Value& answer) {
    if (!QSSession::currentIfLoaded()) return;
    for (const Value& each : answer.array()) {
        try {
            pixelWasRegistered(each);
        } catch (const AssertionFailure&) {
            logCaughtException("taking a registered pixel");
        }
    }
}

void addOpen(const Pixel& pixel, const Value& open, Date date) {
    const auto text = [&](const char* key) {
        return open[key].isNil() ? std::nullopt : std::optional(open[key].stringValue());
    };
    const auto added = storeContext().insertNew<QSTrackingPixelOpen>();
    added->setPixel(pixel);
    added->setDate(date);
    added->setCity(text("city"));
    added->setCountry(text("country"));
    added->setIp(text("ip"));
    added->setTimezone(text("timezone"));
    added->setUserAgent(text("userAgentString"));
}

// By its date alone an open is told from those that are known.
void mergePixel(const Value& answer) {
    const auto pixel = QSTrackingPixelManager::trackingPixelWithUUID(uppercase(answer["uuid"].stringValue()), true);
    std::optional<Date> lastOpen;
    if (pixel) {
        pixel->setIsRemote(true);
        if (pixel->messageID().value_or("").empty() && !answer["message_id"].isNil())
            pixel->setMessageID(answer["message_id"].stringValue());
        lastOpen = pixel->lastOpen();
    }
    for (const Value& open : answer["opens"].array()) {
        const auto date =
            parseDate(open["created_at"].stringValue(), {.pattern = "yyyy-MM-dd HH:mm:ss", .timeZone = "UTC"});
        if (!date || (lastOpen && !(*date > *lastOpen))) continue;
        addOpen(pixel, open, *date);
    }
}

}  // namespace

TimeInterval secondsBetweenPulls(std::optional<TimeInterval> newestUnreadAge) {
    struct Row {
        TimeInterval minutes, seconds;
    };
    constexpr Row kRows[] = {{5, 60}, {30, 120}, {1440, 300}, {10080, 600}};
    constexpr TimeInterval kRarely = 3600;
    if (!newestUnreadAge) return kRarely;
    for (const Row& row : kRows)
        if (*newestUnreadAge <= row.minutes * kMinute) return row.seconds;
    return kRarely;
}

Pixel QSTrackingPixelManager::newTrackingPixel() { return trackingPixelWithUUID(newUUIDString(), true); }

Pixel QSTrackingPixelManager::trackingPixelWithUUID(std::string_view uuid, bool createIfNotExisting) {
    if (uuid.empty()) return nullptr;
    if (isAllZero(uuid)) {
        if (createIfNotExisting)
            logWarning(stringWithFormat("UUID (%@) for tracking pixel is all zero! Cancelling request!", {uuid}));
        return nullptr;
    }
    const auto found = fetched<QSTrackingPixel>(QSTrackingPixel::kUuid.is(std::string(uuid)), {}, 1);
    if (!found.empty()) return found.front();
    if (!createIfNotExisting) return nullptr;
    const auto pixel = storeContext().insertNew<QSTrackingPixel>();
    pixel->setUuid(std::string(uuid));
    pixel->setCreated(RunLoop::main().now());
    return pixel;
}

std::int64_t QSTrackingPixelManager::numTotalTrackingPixels() {
    const auto count = storeContext().countForFetchRequest({QSTrackingPixel::kEntityName, {}, {}});
    return count ? static_cast<std::int64_t>(*count) : 0;
}

Pixels QSTrackingPixelManager::pendingTrackingPixels() {
    return fetched<QSTrackingPixel>(QSTrackingPixel::kIsRemote.is(false));
}

Pixels QSTrackingPixelManager::unreadTrackingPixels() {
    return fetched<QSTrackingPixel>(QSTrackingPixel::kOpens.countIs(0));
}

Pixel QSTrackingPixelManager::trackingPixelForMessageID(const std::string& messageID) {
    if (messageID.empty()) return nullptr;
    const auto found = fetched<QSTrackingPixel>(QSTrackingPixel::kMessageID.is(messageID), {}, 1);
    return found.empty() ? nullptr : found.front();
}

Pixels QSTrackingPixelManager::trackingPixelsForMessageIDs(const std::vector<std::string>& messageIDs) {
    return messageIDs.empty() ? Pixels() : fetched<QSTrackingPixel>(QSTrackingPixel::kMessageID.isOneOf(messageIDs));
}

void QSTrackingPixelManager::addOrUpdateRemoteTrackingPixels(const Pixels& pixels) {
    Pixels kept;
    std::ranges::copy_if(pixels, std::back_inserter(kept), [](const Pixel& pixel) {
        return !pixel->uuid().value_or("").empty() && !pixel->messageID().value_or("").empty() &&
               !pixel->transmitting();
    });
    if (kept.empty() || !canAsk()) return;
    Array list;
    for (const Pixel& pixel : kept) {
        pixel->setTransmitting(true);
        list.push_back(Dictionary{{"uuid", *pixel->uuid()}, {"messageID", *pixel->messageID()}});
    }
    auto manager = userManager();
    manager.requestSerializer().form = AFHTTPRequestSerializer::Form::Json;
    manager.POST(
        kPath, Dictionary{{"pixels", list}},
        [](const Value& answer, const HttpResponse&) { pixelsWereRegistered(answer); },
        [kept](const Error& error) {
            logError(stringWithFormat("ERROR: Failed to update remote tracking pixels: %@", {error.description}));
            for (const Pixel& pixel : kept)
                pixel->setTransmitting(false);
        });
}

void QSTrackingPixelManager::syncTrackingPixels() {
    if (numTotalTrackingPixels() == 0) return;
    if (!QSQuillsteadUser::me().hasCredentials()) return logInfo("Email or password is missing.");
    const Date now = RunLoop::main().now();
    auto& defaults = QSPluginDelegate::quillsteadDefaults();
    const auto lastSync = defaults.objectForKey(kLastSyncKey).dateValue();
    if (lastSync && now - *lastSync < secondsBetweenPulls(ageOfNewestUnread(now))) return;
    if (!canAsk()) return;
    dropStalePixels(now);
    addOrUpdateRemoteTrackingPixels(pendingTrackingPixels());
    const Date since = lastSync && defaults.boolForKey(kSyncedKey) ? *lastSync : Date{0};
    defaults.setObject(now, kLastSyncKey);
    defaults.setObject(true, kSyncedKey);
    userManager().GET(
        kPath, Dictionary{{"updated_since", ISO8601String(since)}},
        [](const Value& answer, const HttpResponse&) {
            if (QSSession::currentIfLoaded() && !answer.array().empty()) mergeAnswer(answer);
        },
        [](const Error& error) {
            logError(stringWithFormat("ERROR: Failed to sync tracking pixels with Quillstead server: %@",
                                      {error.description}));
        });
}

void QSTrackingPixelManager::mergeAnswer(const Value& answer) {
    for (const Value& pixel : answer.array())
        mergePixel(pixel);
    QSPluginDelegate::sharedDelegate().refreshMessageList();
    NotificationCenter::defaultCenter().post(QSBannerViewInfoDidChangeNotification);
}

void QSTrackingPixelManager::pixelWasDelivered(const std::string& uuid, const std::string& messageID) {
    const auto pixel = trackingPixelWithUUID(uuid);
    if (!pixel || messageID.empty()) return;
    pixel->setMessageID(messageID);
    addOrUpdateRemoteTrackingPixels({pixel});
}

void QSTrackingPixelManager::messageRefersTo(const std::vector<std::string>& messageIDs, Date received) {
    for (const Pixel& pixel : trackingPixelsForMessageIDs(messageIDs)) {
        const auto firstOpen = pixel->firstOpen();
        if (firstOpen && !(received < *firstOpen)) continue;
        const auto open = storeContext().insertNew<QSTrackingPixelOpen>();
        open->setDate(received);
        open->setPixel(pixel);
    }
}

}  // namespace qs
