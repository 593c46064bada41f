// Offers the reports of earlier crashes to the person: look at them, keep them, or throw them away.
#pragma once

namespace qs {

// Asks later, on the main queue, one alert for all; nothing when there is no report.
void offerPendingCrashReports();

}  // namespace qs
