#include "Outgoing/HoldRules.h"

#include <algorithm>

namespace qs {

namespace {

constexpr TimeInterval kAfterDelay = 3.0;  // between the end of the countdown and the message's leaving
constexpr TimeInterval kLateQuestion = 1.0;

// It waits for the later one of its dates.
Date scheduledDate(const OutboxDates& dates) {
    return std::max(dates.received, dates.scheduled.value_or(dates.received));
}

}  // namespace

std::optional<Date> heldUntil(const OutboxDates& dates, const SendDelay& delay, Date now) {
    if (dates.isScheduled) {
        const Date date = scheduledDate(dates);
        return date.isAheadOf(now) ? std::optional(date) : std::nullopt;
    }
    if (!delay.isOn || !(delay.seconds > 0.0)) return std::nullopt;
    if (!(delay.seconds + kAfterDelay > now - dates.received)) return std::nullopt;
    return dates.received + delay.seconds + kAfterDelay;
}

bool wasHeld(const OutboxDates& dates, const SendDelay& delay, Date now) {
    if (dates.isScheduled) return scheduledDate(dates).isAheadOf(now);
    return delay.isOn && delay.seconds + kAfterDelay + kLateQuestion > now - dates.received;
}

}  // namespace qs
