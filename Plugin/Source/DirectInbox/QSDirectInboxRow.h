// A row of the Direct Inbox: a dictionary that cells read by key, beside the host objects that a dictionary can't hold.
// A key whose value there is none for is left out.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Value.h"
#include "Mail/Message.h"
#include "Viewer/MessageListObjectProxy.h"

namespace qs {

inline constexpr std::string_view QSDirectInboxTypeKey = "QSDirectInboxType";  // number, a QSDirectInboxRowType

// Of a mailbox's heading.
inline constexpr std::string_view QSDirectInboxMailboxAccountNameKey = "QSDirectInboxMailboxAccountName";
inline constexpr std::string_view QSDirectInboxMailboxNameKey = "QSDirectInboxMailboxName";
inline constexpr std::string_view QSDirectInboxMailboxIdentifierKey = "QSDirectInboxMailboxIdentifier";
inline constexpr std::string_view QSDirectInboxMailboxIsFirstKey = "QSDirectInboxMailboxIsFirst";  // of the list
inline constexpr std::string_view QSDirectInboxMailboxIsLastKey = "QSDirectInboxMailboxIsLast";

// Of a message. The message itself, QSDirectInboxRepresentedMessageKey, and its small pictures,
// QSDirectInboxMessageFlagImagesKey, are members of the row.
inline constexpr std::string_view QSDirectInboxMessageSubjectKey = "QSDirectInboxMessageSubject";
inline constexpr std::string_view QSDirectInboxMessageSenderKey = "QSDirectInboxMessageSender";
inline constexpr std::string_view QSDirectInboxMessageSnippetKey = "QSDirectInboxMessageSnippet";
inline constexpr std::string_view QSDirectInboxMessageDateKey = "QSDirectInboxMessageDate";
inline constexpr std::string_view QSDirectInboxMessageAvatarKey = "QSDirectInboxMessageAvatar";  // a data URL
inline constexpr std::string_view QSDirectInboxMessageIsReadKey = "QSDirectInboxMessageIsRead";
inline constexpr std::string_view QSDirectInboxMessageJunkKey = "QSDirectInboxMessageJunk";
inline constexpr std::string_view QSDirectInboxMessagePriorityKey = "QSDirectInboxMessagePriority";  // it is high
inline constexpr std::string_view QSDirectInboxMessageFlagModeKey = "QSDirectInboxMessageFlagMode";
inline constexpr std::string_view QSDirectInboxMessageTaskCompletedKey = "QSDirectInboxMessageTaskCompleted";

enum class QSDirectInboxRowType { Message = 0, Mailbox = 1, EmptyMailbox = 2 };

struct QSDirectInboxRow {
    std::string identifier;  // unique in a list, and the same for the same thing in the next one
    Dictionary values;
    MessageRef QSDirectInboxRepresentedMessage;
    std::vector<ListIcon> QSDirectInboxMessageFlagImages;

    QSDirectInboxRowType type() const;
    const Value& operator[](std::string_view key) const;  // nil for a key that is left out
};

}  // namespace qs
