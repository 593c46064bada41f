// The viewer's patch: actions on the selected messages, and when they can be done. Main thread.
#include "MailCategories/MessageViewer_Quillstead.h"

#include "Core/PatchClass.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Models/Menu.h"
#include "Reminder/TaskActions.h"
#include "Snooze/QSSnoozeManager.h"

namespace qs {

namespace {

using Action = Operation<void(HostObject* sender)>;
const Operation<bool(MenuItem&)> quillstead_validateMenuItem{"quillstead_validateMenuItem:"};

// Items of the snooze menu say which mode they stand for.
std::int64_t snoozeModeOf(HostObject* sender) {
    const auto* item = dynamic_cast<MenuItem*>(sender);
    return item && item->tag() != kTagSnooze ? item->tag() : kSnoozeDefaultMode;
}

void snooze(HostObject& self, HostObject* sender) {
    if (!QSSession::currentIfLoaded()) return;
    for (const MessageRef& message : targetedMessages(self))
        QSSnoozeManager::sharedManager().snoozeMessage(message, snoozeModeOf(sender));
}

void unsnooze(HostObject& self, HostObject*) {
    if (!QSSession::currentIfLoaded()) return;
    for (const MessageRef& message : targetedMessages(self))
        if (const std::string messageID = message->messageID(); !messageID.empty())
            QSSnoozeManager::sharedManager().unsnoozeMessageWithMessageID(messageID, true);
}

bool validateMenuItem(HostObject& self, MenuItem& item) {
    if (!QSSession::currentIfLoaded()) return quillstead_validateMenuItem(self, item);
    switch (item.tag()) {
    case kTagCreateNote: return targetedMessages(self).size() == 1;
    case kTagCreateQuickNote:
    case kTagSnooze: return !targetedMessages(self).empty();
    default: return quillstead_validateMenuItem(self, item);
    }
}

void load() {
    PatchClass patch("MessageViewer_Quillstead");
    patch.addClassMethod(message_viewer_quillstead::viewerForMessage, [](Class&, const MessageRef& message) {
        return single_message_viewer::viewerForMessage.onClass(QSClassFromString("SingleMessageViewer"), message, false,
                                                               false, nullptr);
    });
    patch.add(Action("snooze:"), snooze);
    patch.add(Action("unsnooze:"), unsnooze);
    patch.add(Action("updateTask:"), [](HostObject& self, HostObject* sender) {
        if (QSSession::currentIfLoaded()) updateTasks(targetedMessages(self), sender);
    });
    patch.add(quillstead_validateMenuItem, validateMenuItem);
    addViewerNoteMethods(patch);
    addViewerToolbarMethods(patch);
    patch.addAsCategoryOf("MessageViewer");
    exchangeViewerToolbarMethods(patch);
    patch.exchange("MessageViewer", message_viewer::validateMenuItem.selector(),
                   quillstead_validateMenuItem.selector());
    patch.finish();
}

const PatchClassRegistration registration(load);

}  // namespace

MessageList targetedMessages(HostObject& viewer) {
    return dynamic_cast<MessageViewer&>(viewer).messagesTargetedByAction("replyMessage:");
}

std::shared_ptr<MessageViewer> frontmostViewerOrOneFor(const MessageRef& message) {
    if (auto viewer = MessageViewer::frontmostMessageViewerWithOptions(0)) return viewer;
    return message_viewer_quillstead::viewerForMessage.onClass(QSClassFromString("MessageViewer"), message);
}

}  // namespace qs
