#include "DirectInbox/DirectInboxIcons.h"

#include "Core/QSSession.h"
#include "Mail/MessageFlagBits.h"
#include "Mail/MessageHeaders.h"
#include "MailCategories/MessageMarks.h"
#include "MailCategories/StatusIcons.h"
#include "Outgoing/QSHeaderKeys.h"
#include "Snooze/QSSnoozeManager.h"

namespace qs {

namespace {

constexpr int kSlotSize = 16, kImageSize = 12;  // points

void addHostImages(std::vector<ListIcon>& images, std::uint32_t flags) {
    const std::uint32_t attachments = (flags & kMessageAttachmentsMask) >> kMessageAttachmentsShift;
    const auto add = [&](bool isSo, const char* image, const char* label) {
        if (isSo) images.push_back({image, QSLocalizedString(label), kSlotSize});
    };
    add(flags & kMessageIsReplied, "MessageListReplyTemplate", "Replied to");
    add(flags & kMessageIsForwarded, "MessageListForwardTemplate", "Forwarded");
    add(flags & kMessageIsRedirected, "MessageListRedirectedTemplate", "Redirected");
    add(attachments != 0 && attachments != 63, "MessageListAttachmentTemplate", "With attachments");
    add(flags & kMessageIsJunk, "junkMailFlag", "Junk");
}

}  // namespace

void addFlagImages(QSDirectInboxRow& row, const Message& message, std::uint32_t messageFlags,
                   const MessageMarks& marks) {
    auto& images = row.QSDirectInboxMessageFlagImages;
    addHostImages(images, messageFlags);
    const auto add = [&](bool isSo, const StatusIcon& icon) {
        if (isSo) images.push_back({imageOf(icon), labelOf(icon), kImageSize});
    };
    const auto headers = message.headersIfAvailable();
    const std::string messageID = message.messageID();
    const MessageMarks::Marks& known = marks.of(messageID);
    add(headers && headers->hasHeaderForKey(QSHeaderKeyXScheduledDate), status_icons::kScheduled);
    add(known.notes != NoteMark::None, status_icons::kNote);
    add(known.hasTask, known.isTaskCompleted ? status_icons::kCompletedTask : status_icons::kTask);
    add(known.hasFollowUp, status_icons::kFollowUp);
    add(QSSnoozeManager::sharedManager().isSnoozedMessageWithMessageID(messageID), status_icons::kSnoozed);
    if (!messageID.empty() && headers && headers->hasHeaderForKey(QSHeaderKeyXTrackingUUID))
        add(known.tracking != TrackingMark::None,
            known.tracking == TrackingMark::Opened ? status_icons::kOpened : status_icons::kUnopened);
    if (known.hasTask) row.values[std::string(QSDirectInboxMessageTaskCompletedKey)] = known.isTaskCompleted;
}

}  // namespace qs
