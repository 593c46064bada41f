// What a reply or a forwarded message takes over from the message that it answers: recipients, subject, thread and
// quotation. Pure: knows no window, no clock and no files.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qs {

class MessageHeaders;

struct Recipients {
    std::vector<std::string> to, cc;  // display forms
};

// Bare addresses of the person.
struct OwnAddresses {
    std::vector<std::string> account;  // of the account that answers
    std::vector<std::string> all;      // of all accounts, that one included
};

// The answer goes to Reply-To, else From; an answer to all also to everybody else who got the message but the person
// himself. A message that the answering account wrote is answered to those it went to; one from another account of the
// person's is answered like anybody's. Each address once.
Recipients replyRecipients(const MessageHeaders& original, bool toAll, const OwnAddresses& own);

std::string replySubject(std::string_view subject);    // "Re: ", once, in place of other languages' words, too
std::string forwardSubject(std::string_view subject);  // "Fwd: ", once

// The ids of the thread, the original's own last, as a References header. Long threads lose ids behind the first, as
// RFC 5322 suggests. Empty when there are none.
std::string referencesTo(const MessageHeaders& original);
std::string inReplyTo(const MessageHeaders& original);  // "<id>", or empty

// "On 22 Nov 2026, 10:00, Ada wrote:", as text.
std::string attribution(const MessageHeaders& original);
// Plain text in which the blanks that editors of HTML would take away, those that indent and align, can't be lost.
std::string withKeptBlanks(std::string_view text);
// Both take the body as safe markup and answer the inside of a new body, with room to write in front.
std::string quotedForReply(const MessageHeaders& original, std::string_view safeBody);
std::string quotedForForward(const MessageHeaders& original, std::string_view safeBody);

}  // namespace qs
