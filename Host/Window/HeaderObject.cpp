#include "HeaderObject.h"

#include "Foundation/Assertion.h"
#include "Mail/Mailbox.h"
#include "Models/ModelChanges.h"
#include "Platform.h"
#include "Viewer/Banner.h"
#include "Viewer/HeaderView.h"
#include "Viewer/ListDates.h"

namespace qs {
namespace {

HeaderViewController& header(HostObject& self) { return static_cast<HeaderViewController&>(self); }

const Operation<void()>& pictureUpdate() {
    return osMinor() >= 12 ? header_view::updateAvatarView : header_view::updateSenderImageView;
}

void showDate(HostObject& self) {
    const auto& subject = header(self).representedObject;
    if (!subject) return;
    const Message& message = *subject->originalMessage;
    const auto mailbox = message.mailbox();
    const bool wasWrittenHere =
        mailbox && (mailbox->kind() == MailboxKind::Sent || mailbox->kind() == MailboxKind::Outbox);
    header(self).dateView.text = longDateText(wasWrittenHere ? message.dateSent() : message.dateReceived());
}

}  // namespace

void defineHeaderClass() {
    Class& cls = ClassRegistry::current().define("HeaderViewController");
    cls.add(pictureUpdate(), [](HostObject&) {});
    cls.add(header_view::updateDateView, showDate);
}

void showInHeader(HeaderViewController& header, const MessageRef& message) {
    const auto before = header.representedObject ? header.representedObject->originalMessage : nullptr;
    if (message != before) header.representedObject = message ? std::make_shared<BannerSubject>(message) : nullptr;
    if (!message) return;
    try {
        header_view::updateDateView(header);
        pictureUpdate()(header);
    } catch (const std::exception&) {
        logCaughtException("The head of a message is shown as far as it was drawn");
    }
    noteModelChange();
}

}  // namespace qs
