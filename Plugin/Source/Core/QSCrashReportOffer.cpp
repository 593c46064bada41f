#include "Core/QSCrashReportOffer.h"

#include "Core/QSRunAlertPanel.h"
#include "Core/QSSession.h"
#include "CrashReporter/CrashReporter.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Models/Alert.h"
#include "Platform.h"
#include "Workspace/Workspace.h"

namespace qs {

namespace {

void ask(CrashReporter& reporter, const std::vector<std::filesystem::path>& reports) {
    const int answer = QSRunAlertPanel(
        QSLocalizedString("The program quit unexpectedly"),
        QSLocalizedString("A report with a stack trace was written the last time. It stays on this computer. It holds "
                          "no mail and no passwords.\n%@"),
        {QSLocalizedString("Show Report"), QSLocalizedString("Delete"), QSLocalizedString("Keep")},
        {reports.back().string()});
    if (RunLoop::main().isStopped()) return;  // nobody answered; asked again at the next start
    for (const auto& report : reports) {
        if (answer == kAlertSecondButtonReturn)
            reporter.deleteReport(report);
        else
            reporter.dismissReport(report);
    }
    if (answer != kAlertFirstButtonReturn || !Platform::current().workspace) return;
    auto opened = Platform::current().workspace->openFile(reports.back(), "Console");
    if (!opened) logWarning("The crash report could not be opened: " + opened.error().description);
}

}  // namespace

void offerPendingCrashReports() {
    auto reporter = Platform::current().crashReporter;
    if (!reporter || reporter->pendingReports().empty()) return;
    RunLoop::main().post([reporter] {
        auto reports = reporter->pendingReports();
        if (QSSession::currentIfLoaded() && !reports.empty()) ask(*reporter, reports);
    });
}

}  // namespace qs
