// The records of read tracking in the object store: a pixel for each tracked mail, an open for each time it was loaded.
// Main thread.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Core/Store/ManagedObject.h"

namespace qs {

class QSTrackingPixelOpen;

class QSTrackingPixel : public ManagedObject {
public:
    static constexpr std::string_view kEntityName = "TrackingPixel";
    static constexpr Attribute<Date> kCreated{"created"};
    static constexpr Attribute<bool> kIsRemote{"isRemote"};
    static constexpr Attribute<std::string> kMessageID{"messageID"};
    static constexpr Attribute<std::string> kUuid{"uuid"};
    static constexpr ToMany<QSTrackingPixelOpen> kOpens{"opens"};

    // When the record came into being on this machine.
    std::optional<Date> created() const { return get(kCreated); }
    void setCreated(std::optional<Date> date) { set(kCreated, date); }
    bool isRemote() const { return get(kIsRemote).value_or(false); }  // the backend knows it
    void setIsRemote(bool flag) { set<bool>(kIsRemote, flag); }
    std::optional<std::string> messageID() const { return get(kMessageID); }  // none before the delivery
    void setMessageID(const std::optional<std::string>& id) { set(kMessageID, id); }
    std::optional<std::string> uuid() const { return get(kUuid); }  // upper case; its key
    void setUuid(const std::optional<std::string>& uuid) { set(kUuid, uuid); }

    std::string urlString() const;  // where the picture lies, at the backend

    std::vector<std::shared_ptr<QSTrackingPixelOpen>> opens() const;
    std::vector<std::shared_ptr<QSTrackingPixelOpen>> sortedOpensByDate() const;  // newest first
    std::optional<Date> firstOpen() const;
    std::optional<Date> lastOpen() const;
    std::int64_t numOpens() const;

    // A request that carries this record is under way. In memory only.
    bool transmitting() const { return flag(0); }
    void setTransmitting(bool value) { setFlag(0, value); }
};

class QSTrackingPixelOpen : public ManagedObject {
public:
    static constexpr std::string_view kEntityName = "TrackingPixelOpen";
    static constexpr Attribute<std::string> kCity{"city"};
    static constexpr Attribute<std::string> kCountry{"country"};
    static constexpr Attribute<Date> kDate{"date"};
    static constexpr Attribute<std::string> kIp{"ip"};
    static constexpr Attribute<std::string> kTimezone{"timezone"};
    static constexpr Attribute<std::string> kUserAgent{"userAgent"};
    static constexpr ToOne<QSTrackingPixel> kPixel{"pixel"};

    // All texts are the backend's; an open that was concluded from a reply has none.
    std::optional<std::string> city() const { return get(kCity); }
    void setCity(const std::optional<std::string>& city) { set(kCity, city); }
    std::optional<std::string> country() const { return get(kCountry); }
    void setCountry(const std::optional<std::string>& country) { set(kCountry, country); }
    std::optional<Date> date() const { return get(kDate); }
    void setDate(std::optional<Date> date) { set(kDate, date); }
    std::optional<std::string> ip() const { return get(kIp); }
    void setIp(const std::optional<std::string>& ip) { set(kIp, ip); }
    std::optional<std::string> timezone() const { return get(kTimezone); }
    void setTimezone(const std::optional<std::string>& timezone) { set(kTimezone, timezone); }
    std::optional<std::string> userAgent() const { return get(kUserAgent); }
    void setUserAgent(const std::optional<std::string>& agent) { set(kUserAgent, agent); }
    std::shared_ptr<QSTrackingPixel> pixel() const { return get(kPixel); }
    void setPixel(const std::shared_ptr<QSTrackingPixel>& pixel) { set(kPixel, pixel); }

    // What userAgent, "system | application", tells; empty where it tells nothing. Icons are names of the plug-in's
    // pictures.
    std::string system() const;
    std::string application() const;
    std::string systemIcon() const;
    std::string applicationIcon() const;
};

}  // namespace qs
