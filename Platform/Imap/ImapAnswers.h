// What the items of a server's answers mean. Private to this folder.
#pragma once

#include "Imap/ImapReader.h"
#include "Imap/ImapTypes.h"

namespace qs {

// Of "* 12 FETCH (...)"; takes the content out of it. What makes no sense is left out.
ImapMessage messageFrom(ImapResponse& fetch);
// Of LIST, LSUB and XLIST. Nothing when it is none.
std::optional<ImapMailbox> mailboxFrom(const ImapResponse& list);
ImapStatus statusFrom(const ImapResponse& status);
ImapNamespaces namespacesFrom(const ImapResponse& response);
// Of "VANISHED (EARLIER) 3:8"; nothing when it is none.
std::optional<ImapUpdate> vanishedFrom(const ImapResponse& response);
// The uids of SEARCH and ESEARCH.
void addFound(const ImapResponse& response, ImapUidSet& found);
// Adds what COPYUID tells.
void addCopied(const ImapResponse& response, ImapCopied& copied);

// "17-Jul-1996 02:44:25 -0700"; nothing for what is none.
std::optional<Date> dateFromImap(std::string_view text);
std::string imapDateTime(Date date);  // in UTC
std::string imapDay(Date date);       // "17-Jul-1996", in UTC

}  // namespace qs
