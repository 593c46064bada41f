// Whether a message of the outbox is held, and until when. Pure: knows no queue, no settings and no clock.
#pragma once

#include <optional>

#include "Foundation/Date.h"

namespace qs {

struct OutboxDates {
    Date received;                  // in an outbox the message's own date
    bool isScheduled = false;       // it has the header
    std::optional<Date> scheduled;  // what stands there, if that is a date
};

// QSSendDelay and QSSendDelaySeconds.
struct SendDelay {
    bool isOn = false;
    double seconds = 0;
};

// Nothing: it may leave. A scheduled message is never subject to the delay.
std::optional<Date> heldUntil(const OutboxDates& dates, const SendDelay& delay, Date now);

// Whether an attempt that ended without delivery was, as far as dates can tell, a hold, of which nobody needs to be
// told. For a delayed message a second longer than the hold itself, as the host may be late in asking.
bool wasHeld(const OutboxDates& dates, const SendDelay& delay, Date now);

}  // namespace qs
