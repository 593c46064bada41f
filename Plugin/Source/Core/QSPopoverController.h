// Shows the plug-in's popovers: one-time hints wait in a queue and appear one at a time; a countdown is shown at once.
//
//     QSPopoverController::sharedController().queuePopoverWithIdentifier(
//         "EmojiButton", QSLocalizedString("Show some emotions …"), button->view(), 3);
//
// A hint that was closed never comes again; the setting "QSShowed<identifier>" remembers it. Main thread.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Core/QSPopoverInfoView.h"
#include "Foundation/Date.h"

namespace qs {

class QSPopoverController : public QSPopoverInfoViewDelegate, public std::enable_shared_from_this<QSPopoverController> {
public:
    QSPopoverController();
    ~QSPopoverController() override;
    static QSPopoverController& sharedController();  // the session's

    // Queues a default hint. The text is a localised one. Does nothing for a null view.
    void queuePopoverWithIdentifier(std::string identifier, std::string withInfoText, std::shared_ptr<View> forView,
                                    int preferredEdge);
    // Does nothing when it has no associated view, was shown before (and is to be shown only once), or one of the same
    // identifier waits already.
    void queuePopoverView(const std::shared_ptr<QSPopoverInfoView>& view);
    // Shows it at once, alongside others, unless one of the same identifier waits or is shown.
    void showPopoverView(const std::shared_ptr<QSPopoverInfoView>& view);

    bool didShowPopoverWithIdentifier(std::string_view identifier) const;
    bool showing() const;  // any of the queue
    // The first that isn't shown; null for none.
    std::shared_ptr<QSPopoverInfoView> nextViewInQueue() const;
    // The one that is shown or waits; null for none.
    std::shared_ptr<QSPopoverInfoView> viewWithIdentifier(std::string_view identifier) const;

    void didClosePopoverView(QSPopoverInfoView& view) override;

private:
    void checkQueueWithTimer();
    void dropThoseWithoutWindow();
    void showNext();
    void show(const std::shared_ptr<QSPopoverInfoView>& view);

    std::vector<std::shared_ptr<QSPopoverInfoView>> popoverQueue_;  // those that are shown, too
    std::optional<Date> lastShown_;
    std::shared_ptr<Timer> timer_;
};

}  // namespace qs
