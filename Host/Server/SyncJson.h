// How accounts stand with their mail servers, for the page.
#pragma once

#include <boost/json/fwd.hpp>

#include "Foundation/Date.h"

namespace qs {

struct SyncStatus;

// null when there is nothing to tell: the account is in step.
boost::json::value syncJson(const SyncStatus& status, Date now);

}  // namespace qs
