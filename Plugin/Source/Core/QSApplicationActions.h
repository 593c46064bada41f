// What the plug-in's items of the Help menu do. Main thread.
#pragma once

namespace qs {

// Opens the current log file; beeps, with a line in the log, when there is none.
void showLogFile();
// Asks, then unlinks the services, removes all settings and the store, and tells the helper to remove the bundle.
void askAndUninstall();
void openIssueTracker();

}  // namespace qs
