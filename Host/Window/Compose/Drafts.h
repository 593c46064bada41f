// Drafts in the library: what belongs to one message is found by its unique id, which stays the same over all versions.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Mail/Mailbox.h"
#include "MailLibrary.h"

namespace qs {

class AccountBook;

// On drafts only, never on what is sent: which message it forwards, that it is to be plain text, and recipients as they
// were typed where one is no address yet (an address header would lose it).
inline constexpr std::string_view kDraftToHeader = "X-Draft-To";
inline constexpr std::string_view kDraftCcHeader = "X-Draft-Cc";
inline constexpr std::string_view kDraftBccHeader = "X-Draft-Bcc";
inline constexpr std::string_view kDraftForwardsHeader = "X-Draft-Forwards";
inline constexpr std::string_view kDraftFormatHeader = "X-Draft-Format";
inline constexpr std::string_view kDraftFormatPlain = "plain";

// Messages with this unique id in mailboxes of that kind, of all accounts, newest first. None for an empty id.
std::vector<MessageSummary> messagesWithUniqueID(MailLibrary& library, const AccountBook& accounts, MailboxKind kind,
                                                 std::string_view uniqueID);
// Erases them from all Drafts mailboxes; what can't be erased is logged.
void eraseDrafts(MailLibrary& library, const AccountBook& accounts, std::string_view uniqueID);
// A crash between adding a version and erasing the one before leaves both. Moves all but the newest of each unique id
// to the trash of its account. With an id, only of that one.
void settleDoubleDrafts(MailLibrary& library, const AccountBook& accounts, std::string_view uniqueID = {});

}  // namespace qs
