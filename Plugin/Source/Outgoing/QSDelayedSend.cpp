#include "Outgoing/QSDelayedSend.h"

#include "Application/MailApp.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSPopoverController.h"
#include "Core/QSSession.h"
#include "Foundation/Format.h"
#include "Mail/AddressScan.h"
#include "Mail/MessageHeaders.h"
#include "MailCategories/CNAvatarViewController_Quillstead.h"
#include "Outgoing/QSUndoSend.h"
#include "Settings/UserDefaults.h"

namespace qs {

namespace {

constexpr std::string_view kIdentifier = "DelayedSend";

enum Segment { kSendNow = 0, kUndoSend = 1 };

class CountdownView : public QSPopoverInfoView {
public:
    using QSPopoverInfoView::QSPopoverInfoView;
    std::string uniqueID;  // of the message
};

std::string uniqueIDOf(const MessageHeaders& headers) {
    return headers.firstHeaderForKey(MCHeaderKeyXUniversallyUniqueIdentifier).value_or("");
}

std::string recipientPicture(const MessageHeaders& headers) {
    const auto to = scanAddresses(headers.firstHeaderForKey(MCHeaderKeyTo).value_or(""));
    if (to.empty()) return {};
    const ScannedAddress& recipient = to.front();
    std::string picture = contactImage(recipient.address, recipient.name);
    return picture.empty() ? imageWithInitials(recipient.name.empty() ? recipient.address : recipient.name) : picture;
}

void perform(int segment, const MessageRef& message) {
    const auto app = MailApp::shared();
    if (segment == kUndoSend) held_mail::undoSend(app, message.get());
    if (segment == kSendNow) held_mail::sendNow(app, message.get());
}

}  // namespace

void showCountdown(const MessageRef& message) {
    auto anchor = QSPluginDelegate::sharedDelegate().anchorViewForPopover();
    const auto headers = message->headers();
    if (!anchor || !headers) return;
    const auto seconds = QSPluginDelegate::quillsteadDefaults().integerForKey("QSSendDelaySeconds");
    const auto view = std::make_shared<CountdownView>(
        std::string(kIdentifier),
        stringWithFormat(QSLocalizedString("Your message will be sent automatically in %ld seconds."), {seconds}),
        std::move(anchor));
    view->uniqueID = uniqueIDOf(*headers);
    view->imageView = recipientPicture(*headers);
    view->actionButtonTitles = {QSLocalizedString("Send now"), QSLocalizedString("Undo send")};
    view->actionButtonIcons = {"TB_SendTemplate", "plugin:TB_UndoSend"};
    view->timeout = static_cast<double>(seconds);
    view->showOnlyOnce = false;
    view->completionHandler = [message](int segment) { perform(segment, message); };
    QSPopoverController::sharedController().showPopoverView(view);
}

void forgetHeldVersion(std::string_view uniqueID) {
    QSPluginDelegate::sharedDelegate().setFlag(false, QSMessageFlagSendImmediately, uniqueID);
    const auto shown = std::dynamic_pointer_cast<CountdownView>(
        QSPopoverController::sharedController().viewWithIdentifier(kIdentifier));
    if (shown && shown->uniqueID == uniqueID) shown->hidePopover();
}

}  // namespace qs
