// Read tracking's records and their exchange with the backend: finds and makes pixels, registers those of delivered
// mail, pulls what the backend logged of them. Stateless. Main thread, as its records are.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Date.h"
#include "Foundation/Value.h"
#include "Tracking/QSTrackingPixel.h"

namespace qs {

class QSTrackingPixelManager {
public:
    using Pixel = std::shared_ptr<QSTrackingPixel>;
    using Pixels = std::vector<Pixel>;

    static Pixel newTrackingPixel();
    // Compared exactly: an id in lower case finds nothing. Null for none, and for an empty or an all-zero id.
    static Pixel trackingPixelWithUUID(std::string_view uuid) { return trackingPixelWithUUID(uuid, false); }
    static Pixel trackingPixelWithUUID(std::string_view uuid, bool createIfNotExisting);
    static std::int64_t numTotalTrackingPixels();
    static Pixels pendingTrackingPixels();  // that the backend does not know
    static Pixels unreadTrackingPixels();
    static Pixel trackingPixelForMessageID(const std::string& messageID);
    static Pixels trackingPixelsForMessageIDs(const std::vector<std::string>& messageIDs);

    // Registers those of delivered mail that are not on their way already, in one request.
    static void addOrUpdateRemoteTrackingPixels(const Pixels& pixels);
    // The periodic step: asks for news when it is time for that, more often the younger the last unread mail is.
    static void syncTrackingPixels();
    static void mergeAnswer(const Value& answer);

    // A delivered message bears this pixel.
    static void pixelWasDelivered(const std::string& uuid, const std::string& messageID);
    // Who answers has read: a message that came in at `received` refers to these ids.
    static void messageRefersTo(const std::vector<std::string>& messageIDs, Date received);
};

// Seconds between two pulls, by the age of the newest unread pixel; nothing: there is none.
TimeInterval secondsBetweenPulls(std::optional<TimeInterval> newestUnreadAge);

}  // namespace qs
