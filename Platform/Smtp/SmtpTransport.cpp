#include "Smtp/SmtpTransport.h"

#include <curl/curl.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <optional>

#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Reachability/NetworkState.h"
#include "Smtp/PasswordCommand.h"
#include "Text/Ascii.h"
#include "Text/ByteCount.h"
#include "Text/MailAddresses.h"

namespace qs {

namespace {

constexpr long kConnectSeconds = 60;
constexpr long kAnswerSeconds = 600;  // RFC 5321 asks for that long after the final dot
constexpr long kFarewellSeconds = 5;
constexpr TimeInterval kGraceAfterDot = 5;
constexpr std::size_t kLastPiece = 2;  // bytes; the less, the shorter the time in which the outcome is unknown

struct EasyDeleter {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct ListDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using Easy = std::unique_ptr<CURL, EasyDeleter>;
using List = std::unique_ptr<curl_slist, ListDeleter>;

// One transfer: what was handed out, and what the server said to what.
struct Transfer {
    const SizedSource& content;
    const SmtpWatch& watch;
    std::uint64_t left = content.size;  // bytes that are still to be handed out
    std::optional<Error> readFault;     // of the content
    bool dotMayBeOut = false;
    bool noteFailed = false;
    std::optional<TimeInterval> cancelledAt;
    std::string replyLines, lastReply;  // of the reply that is coming in; of the last complete one
    int lastCode = 0;
    bool isOver = false;  // the farewell and its answer say nothing about the message
    std::optional<int> codeAfterDot;
    std::deque<std::string> recipients;       // in the order in which the server will be asked about them
    std::deque<std::string> askedRecipients;  // RCPT commands without an answer yet
    SmtpRefusals refused;
    bool needsUtf8 = false;       // an address has letters before its "@" that are not ASCII
    bool offersUtf8 = false;      // SMTPUTF8 (RFC 6531), said in the last greeting
    bool lacksUtf8 = false;       // so the message can't go through this server
    std::uint64_t mostBytes = 0;  // SIZE (RFC 1870), said in the last greeting; 0: no limit was told
    bool isTooLarge = false;      // so it can't, either
};

bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// A domain has a form in ASCII, what stands before it has none.
bool needsUtf8(std::string_view address) { return !isAscii(address.substr(0, address.rfind('@'))); }

std::string printable(std::string_view text) {
    std::string result;
    for (const char c : text)
        if (!isAsciiControl(c)) result += c;
    return result.substr(0, 500);
}

// Servers end their words with a full stop or without one.
std::string asSentence(std::string text) {
    if (std::string_view(".!?").find(text.back()) == std::string_view::npos) text += '.';
    return text;
}

// A reply's lines end with the one whose code is followed by a blank ("250 ok" after "250-size").
void noteReplyLine(Transfer& transfer, std::string_view line) {
    if (transfer.isOver || line.size() < 3 || !std::all_of(line.begin(), line.begin() + 3, isAsciiDigit)) return;
    const std::string text = printable(line.substr(std::min<std::size_t>(4, line.size())));
    if (equalsIgnoringCase(text, "SMTPUTF8")) transfer.offersUtf8 = true;
    if (startsWithIgnoringCase(text, "SIZE ")) transfer.mostBytes = std::strtoull(text.c_str() + 5, nullptr, 10);
    transfer.replyLines += (transfer.replyLines.empty() ? "" : " ") + text;
    if (line.size() > 3 && line[3] == '-') return;
    transfer.lastCode = std::stoi(std::string(line.substr(0, 3)));
    transfer.lastReply = std::string(line.substr(0, 3)) + " " + std::exchange(transfer.replyLines, {});
    if (transfer.dotMayBeOut) {
        transfer.codeAfterDot = transfer.lastCode;
        transfer.isOver = true;
        if (transfer.lastCode / 100 == 2 && transfer.watch.accepted) transfer.watch.accepted();
    }
    if (transfer.askedRecipients.empty()) return;
    const std::string& recipient = transfer.askedRecipients.front();
    if (transfer.lastCode >= 400) {
        auto& refused = transfer.lastCode >= 500 ? transfer.refused.forGood : transfer.refused.forNow;
        refused[recipient] = asSentence("The server does not take mail for " + recipient + ": " + transfer.lastReply);
    }
    transfer.askedRecipients.pop_front();
}

// Looks at commands only to know which recipient a reply is about. Nothing that is sent is kept or logged: it may be a
// password or a person's mail.
int debug(CURL*, curl_infotype type, char* data, std::size_t size, void* user) {
    auto& transfer = *static_cast<Transfer*>(user);
    std::string_view text(data, size);
    if (type == CURLINFO_HEADER_OUT && startsWithIgnoringCase(text, "RCPT TO:<")) {
        // By their order: what is sent may be another form of the address.
        if (transfer.recipients.empty()) return 0;
        transfer.askedRecipients.push_back(std::move(transfer.recipients.front()));
        transfer.recipients.pop_front();
    } else if (type == CURLINFO_HEADER_OUT && startsWithIgnoringCase(text, "EHLO")) {
        transfer.offersUtf8 = false;  // what was said before the encryption does not count
        transfer.mostBytes = 0;
    } else if (type == CURLINFO_HEADER_OUT && startsWithIgnoringCase(text, "MAIL FROM:")) {
        transfer.lacksUtf8 = transfer.needsUtf8 && !transfer.offersUtf8;
        transfer.isTooLarge = transfer.mostBytes > 0 && transfer.content.size > transfer.mostBytes;
    } else if (type == CURLINFO_HEADER_OUT && startsWithIgnoringCase(text, "QUIT")) {
        transfer.isOver = true;
    } else if (type == CURLINFO_HEADER_IN) {
        while (!text.empty()) {
            const auto end = std::min(text.find('\n'), text.size());
            noteReplyLine(transfer, trimmedAscii(text.substr(0, end)));
            text.remove_prefix(std::min(end + 1, text.size()));
        }
    }
    return 0;
}

bool readAll(Transfer& transfer, char* buffer, std::size_t length) {
    for (std::size_t have = 0; have < length;) {
        const auto more = transfer.content.read(buffer + have, length - have);
        if (!more || *more == 0) {
            transfer.readFault = more ? Error{std::string(kSmtpErrorDomain),
                                              static_cast<int>(SmtpFailure::Other),
                                              "It ends too early.",
                                              {}}
                                      : more.error();
            return false;
        }
        have += *more;
    }
    return true;
}

std::size_t readMessage(char* buffer, std::size_t size, std::size_t count, void* user) {
    auto& transfer = *static_cast<Transfer*>(user);
    if (transfer.lacksUtf8 || transfer.isTooLarge) return CURL_READFUNC_ABORT;
    auto length = static_cast<std::size_t>(std::min<std::uint64_t>(size * count, transfer.left));
    if (length == transfer.left && length > kLastPiece) length -= kLastPiece;
    if (!readAll(transfer, buffer, length)) return CURL_READFUNC_ABORT;
    // With the last piece handed out, curl ends the message by itself.
    if (length == transfer.left && !transfer.dotMayBeOut) {
        if (!transfer.watch.beforeFinalDot(transfer.refused)) {
            transfer.noteFailed = true;
            return CURL_READFUNC_ABORT;
        }
        transfer.dotMayBeOut = true;
    }
    transfer.left -= length;
    return length;
}

int progress(void* user, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    auto& transfer = *static_cast<Transfer*>(user);
    if (!transfer.watch.isCancelled || !transfer.watch.isCancelled()) return 0;
    if (!transfer.dotMayBeOut) return 1;
    const TimeInterval now = RunLoop::main().uptime();
    if (!transfer.cancelledAt) transfer.cancelledAt = now;
    return now - *transfer.cancelledAt > kGraceAfterDot;
}

std::string sentenceFor(CURLcode code, const SubmissionServer& server, const char* details) {
    switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST: return "The server " + server.host + " can't be found.";
    case CURLE_COULDNT_CONNECT: return "The server " + server.host + " can't be reached.";
    case CURLE_OPERATION_TIMEDOUT: return "The server " + server.host + " did not answer in time.";
    case CURLE_LOGIN_DENIED: return "The server " + server.host + " did not accept user name and password.";
    case CURLE_USE_SSL_FAILED: return "The server " + server.host + " offers no encrypted connection.";
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
        return "The server " + server.host + " could not prove who it is, so nothing was sent to it.";
    default: break;
    }
    const std::string text = printable(*details ? details : curl_easy_strerror(code));
    return "The connection to " + server.host + " failed: " + text + ".";
}

// What the server itself said beats curl's words for it.
SmtpOutcome failedOutcome(CURLcode code, const Transfer& transfer, const SubmissionServer& server,
                          const char* details) {
    using Kind = SmtpOutcome::Kind;
    if (transfer.noteFailed)
        return {Kind::Temporary, "The delivery could not be noted on the disk, so nothing was sent.", {}};
    if (transfer.lacksUtf8)
        return {Kind::Refused,
                "The server " + server.host +
                    " takes no addresses with letters like “ö” before the “@”, so nothing was sent.",
                {}};
    if (transfer.isTooLarge)
        return {Kind::Refused,
                "The server " + server.host + " takes no messages of more than " + megabytesText(transfer.mostBytes) +
                    ", and this one has " + megabytesText(transfer.content.size) + ", so nothing was sent.",
                {}};
    if (transfer.readFault)
        return {
            Kind::Temporary, "The message can't be read, so nothing was sent: " + transfer.readFault->description, {}};
    const std::string said = asSentence("The server " + server.host + " answered: " + transfer.lastReply);
    if (transfer.dotMayBeOut) {
        if (!transfer.codeAfterDot || *transfer.codeAfterDot < 400)
            return {Kind::InDoubt, "The connection to " + server.host + " broke before it had answered.", {}};
        return {*transfer.codeAfterDot >= 500 ? Kind::Refused : Kind::Temporary, said, transfer.refused};
    }
    const bool isForNow = transfer.lastCode >= 400 && transfer.lastCode < 500;
    if (code == CURLE_LOGIN_DENIED)
        return {isForNow ? Kind::Temporary : Kind::Refused, sentenceFor(code, server, details), {}, !isForNow};
    if (transfer.lastCode >= 400) {
        // Some recipients may be refused for now and others for good: then it is worth another attempt.
        const bool forGood = transfer.refused.empty() ? !isForNow : transfer.refused.forNow.empty();
        return {forGood ? Kind::Refused : Kind::Temporary, said, transfer.refused};
    }
    return {Kind::Temporary, sentenceFor(code, server, details), {}};
}

std::string urlOf(const SubmissionServer& server) {
    const bool isIPv6 = server.host.find(':') != std::string::npos;
    return std::string(server.security == TransportSecurity::Tls ? "smtps://" : "smtp://") +
           (isIPv6 ? "[" + server.host + "]" : server.host) + ":" + std::to_string(server.port) + "/localhost";
}

template <class T>
void set(const Easy& easy, CURLoption option, T value) {
    curl_easy_setopt(easy.get(), option, value);
}

void setSecurity(const Easy& easy, const SubmissionServer& server) {
    if (server.security == TransportSecurity::StartTls) set(easy, CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_ALL));
    set(easy, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    set(easy, CURLOPT_SSL_VERIFYPEER, 1L);
    set(easy, CURLOPT_SSL_VERIFYHOST, 2L);
    if (!server.certificateAuthorities.empty()) set(easy, CURLOPT_CAINFO, server.certificateAuthorities.c_str());
}

tl::unexpected<Error> smtpFailed(SmtpFailure code, std::string description) {
    return failure(std::string(kSmtpErrorDomain), static_cast<int>(code), std::move(description));
}

// Fails when the account can't sign in as it is set up.
Result<void> setSecret(const Easy& easy, const SubmissionServer& server) {
    if (server.user.empty()) return {};
    if (server.security == TransportSecurity::None && !isOwnHost(server.host))
        return smtpFailed(SmtpFailure::OpenPassword,
                          "The account would send its password over an open connection, so nothing was sent. Choose "
                          "TLS or STARTTLS for it.");
    auto secret = server.secret ? server.secret() : runPasswordCommand(server.passwordCommand);
    if (!secret) return failed(secret);
    set(easy, CURLOPT_USERNAME, server.user.c_str());
    if (server.authentication == ServerAuthentication::XOAuth2) {
        set(easy, CURLOPT_XOAUTH2_BEARER, secret->c_str());
        set(easy, CURLOPT_LOGIN_OPTIONS, "AUTH=XOAUTH2");
    } else {
        set(easy, CURLOPT_PASSWORD, secret->c_str());
    }
    explicit_bzero(secret->data(), secret->size());
    return {};
}

void setLimits(const Easy& easy, long connectSeconds, long answerSeconds) {
    set(easy, CURLOPT_CONNECTTIMEOUT, connectSeconds);
    set(easy, CURLOPT_SERVER_RESPONSE_TIMEOUT, answerSeconds);
    set(easy, CURLOPT_NOSIGNAL, 1L);
    set(easy, CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
    set(easy, CURLOPT_PROTOCOLS_STR, "smtp,smtps");
}

Easy newEasy() {
    static const CURLcode ready = curl_global_init(CURL_GLOBAL_DEFAULT);
    return Easy(ready == CURLE_OK ? curl_easy_init() : nullptr);
}

void setMessage(const Easy& easy, Transfer& transfer, const SmtpEnvelope& envelope) {
    set(easy, CURLOPT_UPLOAD, 1L);
    set(easy, CURLOPT_MAIL_FROM, ("<" + envelope.from + ">").c_str());
    set(easy, CURLOPT_MAIL_RCPT_ALLLOWFAILS, 1L);
    set(easy, CURLOPT_READFUNCTION, &readMessage);
    set(easy, CURLOPT_READDATA, &transfer);
    set(easy, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(envelope.content.size));
    set(easy, CURLOPT_VERBOSE, 1L);
    set(easy, CURLOPT_DEBUGFUNCTION, &debug);
    set(easy, CURLOPT_DEBUGDATA, &transfer);
    set(easy, CURLOPT_NOPROGRESS, 0L);
    set(easy, CURLOPT_XFERINFOFUNCTION, &progress);
    set(easy, CURLOPT_XFERINFODATA, &transfer);
    setLimits(easy, kConnectSeconds, kAnswerSeconds);
}

SmtpFailure failureOf(CURLcode code) {
    switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT: return SmtpFailure::NotReachable;
    case CURLE_OPERATION_TIMEDOUT: return SmtpFailure::TimedOut;
    case CURLE_LOGIN_DENIED: return SmtpFailure::SignInRefused;
    case CURLE_USE_SSL_FAILED:
    case CURLE_SSL_CONNECT_ERROR: return SmtpFailure::NoTls;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE: return SmtpFailure::NotTrusted;
    default: return SmtpFailure::Other;
    }
}

int checkProgress(void* user, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    const auto& options = *static_cast<const SmtpCheckOptions*>(user);
    return options.isCancelled && options.isCancelled();
}

std::size_t dropAnswer(char*, std::size_t size, std::size_t count, void*) { return size * count; }

}  // namespace

Result<void> checkSmtp(const SubmissionServer& server, const SmtpCheckOptions& options) {
    const Easy easy = newEasy();
    if (!easy) return smtpFailed(SmtpFailure::Other, "The mail transport could not be started.");
    char details[CURL_ERROR_SIZE] = "";
    set(easy, CURLOPT_ERRORBUFFER, details);
    set(easy, CURLOPT_URL, urlOf(server).c_str());
    setSecurity(easy, server);
    if (auto ready = setSecret(easy, server); !ready) return ready;
    const long seconds = std::max(static_cast<long>(options.seconds), 1L);
    setLimits(easy, seconds, seconds);
    set(easy, CURLOPT_CUSTOMREQUEST, "NOOP");
    set(easy, CURLOPT_WRITEFUNCTION, &dropAnswer);
    set(easy, CURLOPT_HEADERFUNCTION, &dropAnswer);
    set(easy, CURLOPT_NOPROGRESS, 0L);
    set(easy, CURLOPT_XFERINFOFUNCTION, &checkProgress);
    set(easy, CURLOPT_XFERINFODATA, &options);
    const CURLcode code = curl_easy_perform(easy.get());
    set(easy, CURLOPT_SERVER_RESPONSE_TIMEOUT, kFarewellSeconds);
    if (code == CURLE_OK) return {};
    return smtpFailed(failureOf(code), sentenceFor(code, server, details));
}

SmtpOutcome sendOverSmtp(const SubmissionServer& server, const SmtpEnvelope& envelope, const SmtpWatch& watch) {
    using Kind = SmtpOutcome::Kind;
    const Easy easy = newEasy();
    if (!easy) return {Kind::Temporary, "The mail transport could not be started.", {}};
    if (!isDeliverableAddress(envelope.from))
        return {Kind::Refused, "The sender's address is none: " + printable(envelope.from), {}};

    Transfer transfer{.content = envelope.content, .watch = watch, .needsUtf8 = needsUtf8(envelope.from)};
    List recipients;
    for (const auto& recipient : envelope.to) {
        if (!isDeliverableAddress(recipient)) {
            transfer.refused.forGood[recipient] = printable(recipient) + " is no mail address.";
            continue;
        }
        transfer.needsUtf8 = transfer.needsUtf8 || needsUtf8(recipient);
        transfer.recipients.push_back(recipient);
        recipients.reset(curl_slist_append(recipients.release(), ("<" + recipient + ">").c_str()));
    }
    if (!recipients) return {Kind::Refused, "None of the recipients is a mail address.", transfer.refused};

    char details[CURL_ERROR_SIZE] = "";
    set(easy, CURLOPT_ERRORBUFFER, details);
    set(easy, CURLOPT_URL, urlOf(server).c_str());
    setSecurity(easy, server);
    if (const auto ready = setSecret(easy, server); !ready) return {Kind::Temporary, ready.error().description, {}};
    setMessage(easy, transfer, envelope);
    set(easy, CURLOPT_MAIL_RCPT, recipients.get());

    const CURLcode code = curl_easy_perform(easy.get());
    // The farewell is said when the handle goes; a server that does not answer it is not waited for.
    set(easy, CURLOPT_SERVER_RESPONSE_TIMEOUT, kFarewellSeconds);
    if (code == CURLE_OK) return {Kind::Accepted, transfer.lastReply, transfer.refused};
    // A server that took the message may fail afterwards as it likes.
    if (transfer.codeAfterDot && *transfer.codeAfterDot / 100 == 2)
        return {Kind::Accepted, transfer.lastReply, transfer.refused};
    return failedOutcome(code, transfer, server, details);
}

}  // namespace qs
