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

class Library : public HostObject {
public:
    using HostObject::HostObject;  // class "MFLibrary"
    // The library of the running host; null before there is one.
    static std::shared_ptr<Library> shared();

    // Newest first. Blocking but quick; from every thread.
    virtual MessageList messagesMatchingCriterion(const MessageCriterion& criterion, unsigned options,
                                                  int searchType) = 0;
    // All copies of the message, in all mailboxes. The id without angle brackets.
    virtual MessageList messagesWithMessageIDHeader(std::string_view messageID) = 0;
};

class LibraryStore : public HostObject {
public:
    using HostObject::HostObject;  // class "MFLibraryStore"
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

}  // namespace qs
