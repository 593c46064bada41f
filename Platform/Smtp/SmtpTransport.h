// Hands one message to a submission server (RFC 6409) over libcurl: TLS as the account asks, chain and name verified,
// authentication, refusals per recipient. Blocking; one call at a time from the delivery thread.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/ByteSource.h"
#include "Foundation/Date.h"
#include "Foundation/Result.h"
#include "Smtp/SubmissionServer.h"

namespace qs {

struct SmtpEnvelope {
    std::string from;
    std::vector<std::string> to;
    SizedSource content;  // transmitted form, CR LF line ends; read once
};

// Recipients that the server does not take, each with a sentence that has the server's words.
struct SmtpRefusals {
    std::map<std::string, std::string> forGood;
    std::map<std::string, std::string> forNow;  // a later attempt may succeed
    bool empty() const { return forGood.empty() && forNow.empty(); }
};

struct SmtpOutcome {
    enum class Kind {
        Accepted,   // by the server, for every recipient that is not among `refused`
        Temporary,  // clearly not taken; a later attempt may succeed
        Refused,    // clearly not taken, for good
        InDoubt     // the final dot may have gone out and no answer came
    };
    Kind kind = Kind::Temporary;
    std::string answer;  // a sentence, with the server's own words where it spoke
    SmtpRefusals refused;
    bool isSignInRefused = false;  // so the server was not asked about anything else
};

struct SmtpWatch {
    // Called once, right before the end of the message may leave, with the recipients that the server does not take;
    // when it answers false (its note could not be written) the transfer is broken off and nothing was delivered.
    std::function<bool(const SmtpRefusals& refused)> beforeFinalDot;
    // Called once, as soon as the server has said that it took the message: what follows is only courtesy.
    std::function<void()> accepted;
    // Asked about once a second: true breaks off at once, or, after the final dot, when no answer comes within 5 s.
    std::function<bool()> isCancelled;
};

// A server that does not answer is given 600 s at every step, the final dot's included.
SmtpOutcome sendOverSmtp(const SubmissionServer& server, const SmtpEnvelope& envelope, const SmtpWatch& watch);

inline constexpr std::string_view kSmtpErrorDomain = "Smtp";
enum class SmtpFailure { NotReachable = 1, TimedOut, NoTls, NotTrusted, OpenPassword, SignInRefused, Other };

struct SmtpCheckOptions {
    TimeInterval seconds = 15;          // for connecting, and for each answer
    std::function<bool()> isCancelled;  // asked about once a second; may be empty
};

// Signs in, if the server has a user, and leaves again, without any mail. From every thread; blocking. The error's code
// is an SmtpFailure.
Result<void> checkSmtp(const SubmissionServer& server, const SmtpCheckOptions& options);

}  // namespace qs
