#include "Outgoing/SendSteps.h"

namespace qs {

namespace {

// An empty optional leaves no associated object behind.
template <class T>
void keep(HostObject& owner, std::string_view getter, const std::optional<T>& value) {
    owner.setAssociatedObject(getter, value ? std::any(*value) : std::any());
}

template <class T>
std::optional<T> kept(const HostObject& owner, std::string_view getter) {
    std::any value = owner.associatedObject(getter);
    const T* held = std::any_cast<T>(&value);
    return held ? std::optional<T>(*held) : std::nullopt;
}

}  // namespace

std::optional<Date> sendLaterDate(const ComposeBackEnd& backEnd) { return kept<Date>(backEnd, "sendLaterDate"); }

void setSendLaterDate(ComposeBackEnd& backEnd, std::optional<Date> date) { keep(backEnd, "sendLaterDate", date); }

std::optional<std::string> trackingPixelUUID(const ComposeBackEnd& backEnd) {
    return kept<std::string>(backEnd, "trackingPixelUUID");
}

void setTrackingPixelUUID(ComposeBackEnd& backEnd, std::optional<std::string> uuid) {
    keep(backEnd, "trackingPixelUUID", uuid);
}

}  // namespace qs
