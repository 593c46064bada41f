// The time of a log line: the run loop's, or the wall clock's while there is no loop.
#pragma once

#include "Foundation/Date.h"

namespace qs {

Date logTimeNow();

}  // namespace qs
