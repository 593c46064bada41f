// What can go wrong between us and an IMAP server, in words that tell a caller what to do next.
#pragma once

#include <string_view>

#include "Foundation/Result.h"

namespace qs {

inline constexpr std::string_view kImapErrorDomain = "Imap";

// The codes of errors of that domain. From the first group the connection is over; after the others it goes on.
enum class ImapFailure {
    // No way to the server, for now: name not found, nobody answers.
    NotReachable = 1,
    TimedOut,
    HungUp,         // or said BYE
    Cancelled,      // by ImapConnection::cancel()
    TlsFailed,      // no common TLS, no STARTTLS offered, something said before it
    NotTrusted,     // the certificate: unknown authority, other name, expired
    OpenPassword,   // nothing was sent: the password would have gone over an open connection
    SignInRefused,  // user and password (or token) are wrong, or the account may not use IMAP
    Malformed,      // what came is no IMAP, or larger than allowed
    Source,         // nothing is wrong with the server: what was to be appended could not be read

    // The server refuses for a while: too many connections, maintenance, throttling. Try later. When signing in, and
    // when it hung up with these words, the connection is over.
    Temporary = 20,
    Refused,      // NO: with the server's words in the description; see imapResponseCode()
    NotAccepted,  // BAD: the server does not take the command
    NotOffered    // nothing was sent: the server lacks the extension
};

inline ImapFailure imapFailure(const Error& error) { return static_cast<ImapFailure>(error.code); }

// The response code of the answer, in capitals and without its arguments: "TRYCREATE", "ALREADYEXISTS", "OVERQUOTA",
// "NONEXISTENT", ... (RFC 5530). Empty when there was none.
std::string_view imapResponseCode(const Error& error);

}  // namespace qs
