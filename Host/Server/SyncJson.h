// How accounts stand with their mail servers, and with what lies in their folders, for the page.
#pragma once

#include <boost/json/fwd.hpp>

#include "Foundation/Date.h"

namespace qs {

struct ReadingProgress;
struct SyncStatus;

// null when there is nothing to tell: the account is in step.
boost::json::value syncJson(const SyncStatus& status, Date now);
// null when nothing is being read, or no more than takes a moment.
boost::json::value readingJson(const ReadingProgress& progress);

}  // namespace qs
