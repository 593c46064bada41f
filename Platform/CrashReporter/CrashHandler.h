// What runs when the process dies: writes the report with nothing but calls that are allowed in a signal handler.
// Everything it needs is made ready ahead. Private to this folder.
#pragma once

#include <string>
#include <string_view>

namespace qs {

// The text that opens a report. From every thread, before and after the handlers are installed.
void setCrashReportHeader(std::string_view header);
// Installs the handlers for faults and for uncaught exceptions; the report goes to `file`, which must not exist yet.
// The default action follows the report.
void installCrashHandlers(std::string file);

}  // namespace qs
