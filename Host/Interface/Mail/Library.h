// The library of all messages of all accounts, and the store behind it that reports arrivals.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Foundation/Runtime.h"
#include "Mail/Message.h"
#include "Mail/MessageCriterion.h"

namespace qs {

// Search types of messagesMatchingCriterion.
enum LibrarySearchType { kSearchEverything = 0, kSearchIndexOnly = 1, kSearchStore = 2 };

class Mailbox;

class Library : public HostObject {
public:
    using HostObject::HostObject;  // class "MFLibrary"
    // The library of the running host; null before there is one.
    static std::shared_ptr<Library> shared();

    // Newest first. Blocking but quick; from every thread.
    virtual MessageList messagesMatchingCriterion(const MessageCriterion& criterion, unsigned options,
                                                  int searchType) = 0;
    virtual MessageRef messageWithLibraryID(std::int64_t libraryID) = 0;  // null when it is gone
    // All copies of the message, in all mailboxes. The id without angle brackets. One that was moved is a copy too,
    // where it was, until everybody has been told of its arrival where it is.
    virtual MessageList messagesWithMessageIDHeader(std::string_view messageID) = 0;
};

class LibraryStore : public HostObject {
public:
    using HostObject::HostObject;  // class "MFLibraryStore", or of it "MFLibraryIMAPStore"
    static std::shared_ptr<LibraryStore> shared();
};

// Exchangeable. The host calls it on the main thread after messages came into mailboxes: by delivery, by a move, by
// another program. `duringOpen`: found while a mailbox was first read, nothing new to the user.
namespace library_store {
// OS minor 11 and up.
inline const Operation<void(const MessageList& added, const MessageList& secondary, bool duringOpen, unsigned options)>
    messagesWereAdded{"messagesWereAdded:secondaryMessages:duringOpen:options:"};
// OS minor 10.
inline const Operation<void(const MessageList& added, const MessageList& members, bool duringOpen, unsigned options)>
    messagesWereAddedConversations{"messagesWereAdded:conversationsMembers:duringOpen:options:"};
}  // namespace library_store

// Which labels are added to and taken from messages of a Gmail account.
struct GmailLabelChange {
    std::vector<std::shared_ptr<Mailbox>> MessageAddLabels, MessageRemoveLabels;
};
namespace library_imap_store {
// Durable here when it returns, at the server later. OS minor 12 and up.
inline const Operation<void(const GmailLabelChange& labels, const MessageList& messages)>
    async_setGmailLabelsFromDictionary{"async_setGmailLabelsFromDictionary:forMessages:"};
// OS minor 10 and 11.
inline const Operation<void(const GmailLabelChange& labels, const MessageList& messages, bool updatingServer)>
    async_setGmailLabelsFromDictionaryUpdatingServer{"async_setGmailLabelsFromDictionary:forMessages:updatingServer:"};
}  // namespace library_imap_store

// Posted on the default centre, main thread, when labels of messages changed, here or at the server. User info:
// "messages", an array of library ids.
inline constexpr std::string_view MFLibraryMessagesGmailLabelsChangedNotification =
    "MFLibraryMessagesGmailLabelsChangedNotification";
// Posted, main thread, object: the mailbox, when the number that the sidebar shows beside it may have changed.
inline constexpr std::string_view MailboxDisplayCountDidChangeNotification = "MailboxDisplayCountDidChange";

}  // namespace qs
