// Which mailbox of the server is which folder here. Pure.
//
// Special mailboxes are known by their use (RFC 6154), else by their name; everything else goes by its path. A mailbox
// that was kept before stays where it is, whatever the server says of its use now.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "Imap/ImapTypes.h"
#include "Imap/MirrorState.h"

namespace qs {

// By folder. What cannot be selected is left out, and, where there are labels (a mailbox of all mail beside the
// others), those that merely gather what lies elsewhere. At Gmail all mail is the archive, whatever else goes by that
// name.
std::map<std::string, ImapMailboxName> foldersFor(const std::vector<ImapMailbox>& listed, const std::string& prefix,
                                                  const std::vector<MirroredMailbox>& kept, bool isGmail = false);
// What it is at Gmail.
MirroredMailbox::Use useAtGmail(const ImapMailbox& mailbox);
// The name for a folder that the server does not have yet. `delimiter` 0: the server knows no levels.
ImapMailboxName serverNameFor(const std::string& folder, const std::string& prefix, char delimiter);
// As people read it, with "/" between the levels.
std::string pathOnServer(const std::string& serverName, const std::string& prefix, char delimiter);
// Of a folder here, as people read it.
std::string shownPath(const std::string& folder);
// Folders that stay here: messages that wait to be sent are nobody else's business.
bool staysHere(const std::string& folder);

}  // namespace qs
