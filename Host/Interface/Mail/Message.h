// A message in the library, as a plug-in sees it. Facts that the library knows (subject, dates, flags) answer at once;
// headers() may read the file. Safe from every thread, as deliveries look at messages from theirs.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Foundation/Date.h"
#include "Foundation/Runtime.h"

namespace qs {

class Mailbox;
class MailAccount;
class MessageHeaders;

struct MessageFlags {
    bool seen = false, answered = false, flagged = false, draft = false, deleted = false, forwarded = false,
         junk = false;
    int colour = 0;  // of the flag: 0 red, 1 orange, 2 yellow, 3 green, 4 blue, 5 purple, 6 grey
    friend bool operator==(const MessageFlags&, const MessageFlags&) = default;
};

class Message : public HostObject {
public:
    using HostObject::HostObject;  // class "MCMessage" or a subclass

    // The same for one message as long as it stays in its mailbox, also after a restart.
    virtual std::int64_t libraryID() const = 0;
    // All headers, read if need be; null when the message is gone or its file can't be read.
    virtual std::shared_ptr<MessageHeaders> headers() const = 0;
    // The same, for callers that can do without: null rather than slow. (This host's files are always at hand.)
    virtual std::shared_ptr<MessageHeaders> headersIfAvailable() const = 0;
    virtual std::string messageID() const = 0;  // without angle brackets; empty for none
    virtual std::string subject() const = 0;
    virtual std::string from() const = 0;  // display form, "Ada Lovelace <ada@example.org>"
    virtual std::string to() const = 0;    // all To recipients, display form
    virtual int priority() const = 0;      // X-Priority: 1 highest, 3 normal, 5 lowest
    // For a delivered message when it came in; for one in the outbox its "Date" header.
    virtual Date dateReceived() const = 0;
    virtual Date dateSent() const = 0;
    virtual MessageFlags flags() const = 0;
    virtual std::shared_ptr<Mailbox> mailbox() const = 0;
    virtual std::shared_ptr<MailAccount> account() const = 0;
    virtual std::vector<std::shared_ptr<Mailbox>> gmailLabels() const { return {}; }  // of Gmail's, those that it bears
    virtual std::uint64_t messageSize() const = 0;
    virtual int numberOfAttachments() const = 0;
    virtual std::string snippet() const = 0;
};

using MessageRef = std::shared_ptr<Message>;
using MessageList = std::vector<MessageRef>;

}  // namespace qs
