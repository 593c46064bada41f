// The compose controller's patches: the send chain ahead of the host's own send, sending later, and what follows once
// the message stands in the outbox. All of it runs on the main thread.
#include "MailCategories/DocumentEditor_Quillstead.h"

#include "Compose/HeadersEditor.h"
#include "Core/PatchClass.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSPopoverController.h"
#include "Core/QSSession.h"
#include "Foundation/RunLoop.h"
#include "Mail/MailAccount.h"
#include "Mail/MessageHeaders.h"
#include "Outgoing/QSDelayedSend.h"
#include "Outgoing/QSHeaderKeys.h"
#include "Outgoing/QSSendHooks.h"
#include "Outgoing/QSSendLaterDialogController.h"
#include "Outgoing/SendLaterItem.h"
#include "Outgoing/SendSteps.h"
#include "Platform.h"
#include "Settings/UserDefaults.h"
#include "Text/MailHeaderDate.h"
#include "Tracking/TrackingPixelElement.h"

namespace qs {

namespace {

constexpr TimeInterval kCountdownDelay = 0.5;

const Operation<void(HostObject* sender)> quillstead_send{"quillstead_send:"};
const Operation<void(ComposeBackEnd&, const OutboxAppendResult&)> quillstead_backEndDidAppendMessageToOutbox{
    "quillstead_backEndDidAppendMessageToOutbox:result:"};

const Operation<void(HostObject* sender)> sendLater{"sendLater:"};
const Operation<bool(ToolbarItem&)> quillstead_validateToolbarItem{"quillstead_validateToolbarItem:"};
const Operation<bool(MenuItem&)> quillstead_validateMenuItem{"quillstead_validateMenuItem:"};

// The methods are a category of the window's controller, too, which has nothing to send.
ComposeController& controller(HostObject& self) { return dynamic_cast<ComposeController&>(self); }

// The date for which the message that this window edits is still scheduled; a message written anew has none.
std::optional<Date> scheduledDateOfOriginal(const ComposeBackEnd& backEnd) {
    auto original = backEnd.originalMessage();
    auto headers = original ? original->headersIfAvailable() : nullptr;
    auto text = headers ? headers->firstHeaderForKey(QSHeaderKeyXScheduledDate) : std::nullopt;
    return text ? dateFromMailHeaderString(*text) : std::nullopt;
}

// A message to nobody does nothing: the window may have gone while a step waited. The sender lives as long as its menu
// or toolbar; it may have gone too.
using WeakObject = std::weak_ptr<HostObject>;

WeakObject weak(HostObject* object) { return object ? object->weak_from_this() : WeakObject(); }

void hostSend(const WeakObject& controller, const WeakObject& sender) {
    quillstead_send(controller.lock(), sender.lock().get());
}

void askAboutSchedule(const WeakObject& self, const WeakObject& sender, const std::shared_ptr<ComposeBackEnd>& backEnd,
                      Date date) {
    auto dialog = std::make_shared<QSSendLaterDialogController>(send_steps::composeWindow(self.lock()));
    dialog->showSchedulingUpdateDialogForDate(date, [self, sender, backEnd, date](int code) {
        if (code == kSendLaterIgnored) {
            // The writer sees a date that isn't ahead, so the message goes out as a normal one.
            setSendLaterDate(*backEnd, RunLoop::main().now());
        } else if (code == kSendLaterConfirmed) {
            setSendLaterDate(*backEnd, date);
        } else {
            return;
        }
        hostSend(self, sender);
    });
}

void finishSend(const WeakObject& self, const WeakObject& sender) {
    auto locked = self.lock();
    if (!locked) return;
    send_steps::addTrackingPixelToMessageBody(*locked);
    auto backEnd = controller(*locked).backEnd();
    if (!backEnd) return;
    auto date = scheduledDateOfOriginal(*backEnd);
    if (date && date->isAheadOf(RunLoop::main().now())) return askAboutSchedule(self, sender, backEnd, *date);
    setSendLaterDate(*backEnd, std::nullopt);
    hostSend(self, sender);
}

void finishSendLater(const WeakObject& self, const WeakObject& sender) {
    auto locked = self.lock();
    if (!locked) return;
    send_steps::addTrackingPixelToMessageBody(*locked);
    auto backEnd = controller(*locked).backEnd();
    if (!backEnd) return;
    auto dialog = std::make_shared<QSSendLaterDialogController>(send_steps::composeWindow(*locked));
    dialog->showSchedulingDialogForDate(
        scheduledDateOfOriginal(*backEnd), [self, sender, backEnd](int code, std::optional<Date> date) {
            if (code == kSendLaterCancelled || !date) return;
            setSendLaterDate(*backEnd, date->isAheadOf(RunLoop::main().now()) ? date : std::nullopt);
            hostSend(self, sender);
        });
}

// The steps that both ways of sending begin with.
void checkThen(HostObject& object, HostObject* from, void (*finish)(const WeakObject& self, const WeakObject& sender)) {
    const WeakObject self = weak(&object), sender = weak(from);
    send_steps::checkForMissingAttachments(object, [self, sender, finish](int missing) {
        if (missing != 0) return;
        send_steps::checkForAttachmentUploading(self.lock(), [self, sender, finish](int upload) {
            if (upload == 0) finish(self, sender);
        });
    });
}

void send(HostObject& object, HostObject* from) {
    if (!QSSession::currentIfLoaded()) return quillstead_send(object, from);
    checkThen(object, from, finishSend);
}

// A message that can't be sent can't be scheduled either.
bool validateToolbarItem(HostObject& self, ToolbarItem& item) {
    if (item.itemIdentifier() != kSendLaterItem) return quillstead_validateToolbarItem(self, item);
    return QSSession::currentIfLoaded() && controller(self).sendButtonShouldBeEnabled();
}

bool validateMenuItem(HostObject& self, MenuItem& item) {
    if (item.tag() != kTagSendLater) return quillstead_validateMenuItem(self, item);
    return QSSession::currentIfLoaded() && controller(self).sendButtonShouldBeEnabled();
}

void announceInOutbox(const MessageRef& message) {
    auto headers = message->headersIfAvailable();
    if (headers && headers->hasHeaderForKey(QSHeaderKeyXScheduledDate))
        return QSPopoverController::sharedController().queuePopoverWithIdentifier(
            "ScheduledInOutbox",
            QSLocalizedString(
                "Your scheduled emails will be stored in your outbox until the configured send time is reached."),
            QSPluginDelegate::sharedDelegate().anchorViewForPopover(), 3);
    if (headers && headers->hasHeaderForKey(QSHeaderKeyXUnsubscribe)) return;
    auto& defaults = QSPluginDelegate::quillsteadDefaults();
    if (!defaults.boolForKey("QSShowUndoDialog") || !defaults.boolForKey("QSSendDelay")) return;
    RunLoop::main().after(kCountdownDelay, [message] {
        if (QSSession::currentIfLoaded()) showCountdown(message);
    });
}

void backEndDidAppendMessageToOutbox(HostObject& self, ComposeBackEnd& backEnd, const OutboxAppendResult& result) {
    quillstead_backEndDidAppendMessageToOutbox(self, backEnd, result);
    if (!result.message || !QSSession::currentIfLoaded()) return;
    auto editor = controller(self).headersEditor();
    const auto& createFollowUp = QSSession::current().sendHooks().createFollowUp;
    if (editor && result.account && createFollowUp && editor->associated<bool>("enableFollowUp"))
        createFollowUp(*editor, result.message, *result.account);
    announceInOutbox(result.message);
}

std::shared_ptr<Window> composeWindow(HostObject& self) {
    auto& editor = controller(self);
    if (osMinor() < 12) return editor.window();
    auto view = editor.view();
    return view ? view->window() : nullptr;
}

void load() {
    const int minor = osMinor();
    if (minor < 10) return;
    const std::string_view host = minor >= 11 ? "ComposeViewController" : "DocumentEditor";
    const std::string_view windowHost = minor >= 11 ? "ComposeWindowController" : host;

    PatchClass patch("DocumentEditor_Quillstead");
    patch.add(quillstead_send, send);
    patch.add(quillstead_backEndDidAppendMessageToOutbox, backEndDidAppendMessageToOutbox);
    patch.add(send_steps::composeWindow, composeWindow);
    patch.add(sendLater, [](HostObject& self, HostObject* sender) {
        if (QSSession::currentIfLoaded()) checkThen(self, sender, finishSendLater);
    });
    patch.add(quillstead_validateToolbarItem, validateToolbarItem);
    patch.add(quillstead_validateMenuItem, validateMenuItem);
    // Nothing looks at attachments until the parts that do so take these steps over.
    patch.add(send_steps::checkForMissingAttachments, [](HostObject&, const SendStepBlock& block) { block(0); });
    patch.add(send_steps::checkForAttachmentUploading, [](HostObject&, const SendStepBlock& block) { block(0); });
    patch.add(send_steps::addTrackingPixelToMessageBody,
              [](HostObject& self) { addTrackingPixelToMessageBody(controller(self)); });
    addComposeToolbarMethods(patch);
    patch.addAsCategoryOf(host);
    if (windowHost != host) patch.addAsCategoryOf(windowHost);
    patch.exchange(host, compose_controller::send.selector(), quillstead_send.selector());
    patch.exchange(host, compose_controller::backEndDidAppendMessageToOutbox.selector(),
                   quillstead_backEndDidAppendMessageToOutbox.selector());
    patch.exchange(host, toolbar_delegate::validateToolbarItem.selector(), quillstead_validateToolbarItem.selector());
    patch.exchange(host, compose_controller::validateMenuItem.selector(), quillstead_validateMenuItem.selector());
    exchangeComposeToolbarMethods(patch, windowHost);
    patch.finish();
}

const PatchClassRegistration registration(load);

}  // namespace

}  // namespace qs
