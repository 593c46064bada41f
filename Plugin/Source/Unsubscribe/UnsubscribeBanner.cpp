#include "Unsubscribe/UnsubscribeBanner.h"

#include "Application/EventMonitors.h"
#include "Application/MailApp.h"
#include "Core/QSPopoverController.h"
#include "Core/QSRunAlertPanel.h"
#include "Core/QSSession.h"
#include "Foundation/DateFormatter.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/NotificationCenter.h"
#include "Foundation/RunLoop.h"
#include "Mail/MessageArray.h"
#include "MailCategories/BannerViewController_Quillstead.h"
#include "MailCategories/MessageViewer_Quillstead.h"
#include "Models/Alert.h"
#include "Models/ModelChanges.h"
#include "Unsubscribe/QSUnsubscribeManager.h"
#include "Viewer/Banner.h"

namespace qs {

namespace {

constexpr TimeInterval kHintDelay = 1.0;
constexpr const char* kMonitorKey = "modifierKeyMonitor";

std::optional<Date> unsubscribedAt(const BannerSubject& message) {
    const auto date = QSUnsubscribeManager::unsubscribeDateForMessage(message);
    return date && *date >= message.originalMessage->dateReceived() ? date : std::nullopt;
}

bool offersToUnsubscribe(const BannerViewController& banner) {
    return banner.representedObject && !unsubscribedAt(*banner.representedObject);
}

void setButton(BannerButton& button, bool isOptionKeyDown) {
    const auto& action = isOptionKeyDown ? banner_quillstead::unsubscribeAndDelete : banner_quillstead::unsubscribe;
    button.title = isOptionKeyDown ? QSLocalizedString("Unsubscribe & Delete") : QSLocalizedString("Unsubscribe");
    button.action = action.selector().name();
}

// One monitor for each banner, however often that is filled in: monitors are never removed.
void followOptionKey(BannerViewController& banner) {
    if (banner.associated<bool>(kMonitorKey)) return;
    banner.setAssociatedObject(kMonitorKey, true);
    EventMonitors::current().addLocalMonitorForEventsMatchingMask(
        kFlagsChangedMask, [weak = banner.weak_from_this()](const Event& event) {
            const auto shown = std::static_pointer_cast<BannerViewController>(weak.lock());
            if (!shown || !QSSession::currentIfLoaded() || !offersToUnsubscribe(*shown)) return event;
            if (const auto button = banner_quillstead::primaryActionButton(shown)) {
                setButton(*button, (event.modifierFlags & kOptionKeyFlag) != 0);
                noteModelChange();
            }
            return event;
        });
}

void queueHint(const std::shared_ptr<BannerButton>& button) {
    RunLoop::main().after(kHintDelay, [button] {
        if (!QSSession::currentIfLoaded()) return;
        QSPopoverController::sharedController().queuePopoverWithIdentifier(
            "UnsubscribeButton",
            QSLocalizedString("You can now easily unsubscribe from unwanted newsletters by using this button."), button,
            kAboveBanner);
    });
}

void bannersDidChange() {
    NotificationCenter::defaultCenter().post(std::string(QSBannerViewInfoDidChangeNotification));
}

bool wasDeleted(const MessageRef& message) {
    const auto viewer =
        message_viewer_quillstead::viewerForMessage.onClass(QSClassFromString("MessageViewer"), message);
    const auto application = MailApp::shared();
    if (!viewer || !application) return false;
    const auto sender = std::make_shared<MessageArray>(MessageList{message});
    return application->sendAction("deleteMessages:", viewer.get(), sender.get());
}

void tellFailure() {
    logError("Could not unsubscribe from newsletter!");
    QSRunAlertPanel(
        QSLocalizedString("Failed to unsubscribe"),
        QSLocalizedString("Quillstead could not unsubscribe you from this newsletter. Please try to unsubscribe "
                          "manually by following the link in the message."),
        {});
}

}  // namespace

void showUnsubscribeBanner(BannerViewController& banner) {
    const auto button = banner_quillstead::primaryActionButton(banner);
    const auto date = unsubscribedAt(*banner.representedObject);
    if (button) button->isHidden = date.has_value();
    if (date) {
        banner.icon = "plugin:unsubscribed";
        banner.messageField.text =
            stringWithFormat(QSLocalizedString("You have been unsubscribed from this newsletter at %@"),
                             {formatDate(*date, {.pattern = localizedDatePattern(kBannerDateAndTime), .locale = {}})});
        return;
    }
    banner.icon = "plugin:newsletter";
    banner.messageField.text = QSLocalizedString("You are subscribed to this newsletter");
    if (!button) return;
    setButton(*button, false);
    button->target = banner.weak_from_this();
    button->isEnabled = !QSUnsubscribeManager::isUnsubscribingFromMessage(*banner.representedObject);
    queueHint(button);
    followOptionKey(banner);
}

void unsubscribeFromBanner(BannerViewController& banner, AfterUnsubscribing after) {
    const auto message = banner.representedObject;
    if (!message || QSUnsubscribeManager::isUnsubscribingFromMessage(*message)) return beep();
    QSUnsubscribeManager::unsubscribeFromMessage(*message, [message, after](bool unsubscribed) {
        if (unsubscribed && (after == AfterUnsubscribing::Stay || wasDeleted(message->originalMessage)))
            QSUnsubscribeManager::markMessageAsUnsubscribed(*message);
        bannersDidChange();
        if (!unsubscribed) tellFailure();
    });
    bannersDidChange();
}

}  // namespace qs
