// What is asked of an IMAP server and what it answers, as values. Messages are octets here; nobody parses them.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/ByteSource.h"
#include "Foundation/Date.h"
#include "Foundation/Result.h"
#include "Imap/ImapMailboxName.h"
#include "Imap/ImapUidSet.h"

namespace qs {

using ImapFlags = std::vector<std::string>;  // "\Seen", "$Forwarded", ...; compared without regard to case
bool hasImapFlag(const ImapFlags& flags, std::string_view flag);

enum class ImapUse { None, All, Archive, Drafts, Flagged, Important, Junk, Sent, Trash };  // RFC 6154, RFC 8457

struct ImapMailbox {
    ImapMailboxName name;
    char delimiter = 0;  // between the levels of the name; 0: there are none
    ImapUse use = ImapUse::None;
    bool isSelectable = true, mayHaveChildren = true;
    bool isSubscribed = false;
};

struct ImapNamespace {
    std::string prefix;  // as the server writes it, such as "INBOX."
    char delimiter = 0;
};
struct ImapNamespaces {
    std::vector<ImapNamespace> personal, others, shared;
};

struct ImapStatus {
    std::uint32_t messages = 0, unseen = 0, uidNext = 0, uidValidity = 0;
    std::uint64_t highestModSeq = 0;  // 0: the server keeps none
};

// A message as far as it was asked for or told about.
struct ImapMessage {
    std::uint32_t sequence = 0;
    std::uint32_t uid = 0;  // 0: not told
    std::optional<ImapFlags> flags;
    std::optional<Date> internalDate;
    std::optional<std::uint64_t> size;  // bytes, as the server counts them
    std::uint64_t modSeq = 0;           // 0: not told
    // The header or some of its fields with the blank line behind them, or the message or a piece of it: CR LF line
    // ends, as sent.
    std::optional<std::string> content;
    std::optional<std::uint64_t> contentStart;  // of a piece, in the message; servers that know none give the whole
    // At servers with Gmail's extensions.
    std::uint64_t gmailMessage = 0, gmailThread = 0;
    std::optional<std::vector<ImapMailboxName>> gmailLabels;
};

// What is known of a mailbox from before; the server then tells what has changed since (RFC 7162).
struct ImapKnownState {
    std::uint32_t uidValidity = 0;
    std::uint64_t modSeq = 0;
    ImapUidSet uids;  // those still kept here; empty: the server assumes all
};

struct ImapSelection {
    std::uint32_t messages = 0, uidValidity = 0, uidNext = 0;
    std::uint64_t highestModSeq = 0;  // 0: the server keeps none
    bool isReadOnly = false;
    ImapFlags permanentFlags;
    bool takesNewKeywords = false;  // flags that nobody used before
    // When a known state was given, its uidValidity holds, and the server knows QRESYNC:
    bool tellsChanges = false;
    ImapUidSet vanished;
    std::vector<ImapMessage> changed;  // flags and modSeq
};

struct ImapFetch {
    enum class Content {
        None,
        ListFields,  // the fields of the header that lists and conversations are made of
        Header,
        Whole,
        Piece  // `pieceBytes` of the message from `pieceStart` on, as far as it has them
    };
    bool flags = true;  // with modSeq where the mailbox keeps them
    bool date = false, size = false;
    Content content = Content::None;
    std::uint64_t pieceStart = 0;
    std::size_t pieceBytes = 0;
    bool gmail = false;              // ids and labels, where the server has them
    std::uint64_t changedSince = 0;  // 0: all; else those alone whose modSeq is higher (CONDSTORE)
    // With changedSince, at a server with QRESYNC: updates tell what vanished since, too.
    bool tellsVanished = false;
};

struct ImapSearch {
    std::string messageId;      // those whose header has it, with its <>; empty: any
    std::optional<Date> since;  // arrived on that day (UTC) or later; servers know days alone
};

enum class ImapChange { Add, Remove, Replace };

struct ImapCopied {
    std::uint32_t uidValidity = 0;              // of the target; 0 when the server did not tell what became of the uids
    std::vector<std::uint32_t> source, target;  // one by one
};

struct ImapAppended {
    std::uint32_t uidValidity = 0, uid = 0;  // 0 when the server did not tell
};

// What a server says unasked, in the order in which it does.
struct ImapUpdate {
    enum class Kind {
        Exists,    // `number` messages are in the mailbox now
        Expunged,  // the message with the sequence number `number` is gone; later ones moved up
        Vanished,  // `uids` are gone (servers with QRESYNC say this in place of Expunged)
        Changed,   // `message`: flags, and with CONDSTORE modSeq; perhaps without a uid
        Alert      // `text` must be shown to the user
    };
    Kind kind = Kind::Exists;
    std::uint32_t number = 0;
    bool isEarlier = false;  // Vanished: before this connection looked
    ImapUidSet uids;
    ImapMessage message;
    std::string text;
};

}  // namespace qs
