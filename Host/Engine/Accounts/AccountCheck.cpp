#include "Accounts/AccountCheck.h"

#include <cstring>
#include <mutex>
#include <optional>

#include "AccountRecord.h"
#include "Accounts/AccountSecrets.h"
#include "Accounts/ImapServerOf.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Imap/ImapConnection.h"
#include "Smtp/SmtpTransport.h"

namespace qs {

namespace {

constexpr TimeInterval kConnectSeconds = 15, kSilenceSeconds = 20, kAnswerSeconds = 40;

// What can be wrong with either server.
enum class Trouble { NotReachable, TimedOut, NoTls, NotTrusted, OpenPassword, SignInRefused, Other };

struct Tried {
    ServerSide side;
    std::string host;
    int port;
    ServerAuthentication authentication;
};

AccountFault faultOf(Trouble trouble, const Tried& tried, const std::string& hint, const std::string& said) {
    const auto& [side, host, port, authentication] = tried;
    using Field = AccountFault::Field;
    switch (trouble) {
    case Trouble::NotReachable:
        return {
            side, Field::Host,
            stringWithFormat("%@ can't be found or does not answer on port %ld. Please check both, and that you are "
                             "online.",
                             {host, port})};
    case Trouble::TimedOut:
        return {side, Field::Host,
                stringWithFormat("%@ did not answer in time on port %ld. Perhaps another port or encryption is right.",
                                 {host, port})};
    case Trouble::NoTls:
        return {side, Field::Security,
                stringWithFormat("%@ offers no such encryption on port %ld. Please choose another encryption or port.",
                                 {host, port})};
    case Trouble::NotTrusted:
        return {side, Field::Host,
                stringWithFormat("%@ could not prove who it is: its certificate is not valid, or is for another name. "
                                 "No password was sent to it. Please check the name.",
                                 {host})};
    case Trouble::OpenPassword:
        return {side, Field::Security, "The password would go over an open connection. Please choose TLS or STARTTLS."};
    case Trouble::SignInRefused:
        if (authentication == ServerAuthentication::XOAuth2)
            return {
                side, Field::User,
                stringWithFormat("%@ did not accept the sign-in. Please check the user name, and whether you signed "
                                 "in at the right account.",
                                 {host})};
        return {
            side, Field::User,
            stringWithFormat("%@ did not accept user name and password. ", {host}) +
                (hint.empty() ? "Please check both. Some providers want a password made for mail programs." : hint)};
    case Trouble::Other: break;
    }
    return {side, Field::Other, said};
}

Trouble troubleOfImap(const Error& error) {
    if (error.domain != kImapErrorDomain) return Trouble::Other;
    switch (imapFailure(error)) {
    case ImapFailure::NotReachable: return Trouble::NotReachable;
    case ImapFailure::TimedOut: return Trouble::TimedOut;
    case ImapFailure::TlsFailed: return Trouble::NoTls;
    case ImapFailure::NotTrusted: return Trouble::NotTrusted;
    case ImapFailure::OpenPassword: return Trouble::OpenPassword;
    case ImapFailure::SignInRefused: return Trouble::SignInRefused;
    default: return Trouble::Other;
    }
}

Trouble troubleOfSmtp(const Error& error) {
    if (error.domain != kSmtpErrorDomain) return Trouble::Other;
    switch (static_cast<SmtpFailure>(error.code)) {
    case SmtpFailure::NotReachable: return Trouble::NotReachable;
    case SmtpFailure::TimedOut: return Trouble::TimedOut;
    case SmtpFailure::NoTls: return Trouble::NoTls;
    case SmtpFailure::NotTrusted: return Trouble::NotTrusted;
    case SmtpFailure::OpenPassword: return Trouble::OpenPassword;
    case SmtpFailure::SignInRefused: return Trouble::SignInRefused;
    case SmtpFailure::Other: break;
    }
    return Trouble::Other;
}

}  // namespace

struct AccountCheck::Shared {
    AccountRecord account;
    GivenSecrets secrets;
    std::string hint;
    std::function<void(std::vector<AccountFault>)> done;

    std::mutex lock;
    bool isCancelled = false;
    std::shared_ptr<ImapConnection> imap;
    // Of the two sides, those that are not back yet and what the others found. Main thread.
    int waiting = 0;
    std::vector<AccountFault> faults;

    bool wasCancelled() {
        const std::lock_guard hold(lock);
        return isCancelled;
    }

    std::optional<AccountFault> tryIncoming() {
        const IncomingServer& server = *account.incoming;
        ImapServer wanted = imapServerOf(server);
        wanted.limits.connectSeconds = kConnectSeconds;
        wanted.limits.silenceSeconds = kSilenceSeconds;
        wanted.limits.answerSeconds = kAnswerSeconds;
        const auto connection = std::make_shared<ImapConnection>(wanted);
        {
            const std::lock_guard hold(lock);
            if (isCancelled) return {};
            imap = connection;
        }
        const auto kind = server.authentication == ServerAuthentication::XOAuth2 ? ImapSecret::Kind::AccessToken
                                                                                 : ImapSecret::Kind::Password;
        const auto opened = connection->open({kind, secrets.incoming});
        if (opened) {
            connection->close();
            return {};
        }
        logInfo("trying the account at " + server.host + ": " + opened.error().description);
        return faultOf(troubleOfImap(opened.error()),
                       {ServerSide::Incoming, server.host, server.port, server.authentication}, hint,
                       opened.error().description);
    }

    std::optional<AccountFault> tryOutgoing() {
        SubmissionServer server = *account.outgoing;
        server.secret = [this] { return secrets.outgoing; };
        const auto tried =
            checkSmtp(server, {.seconds = kConnectSeconds, .isCancelled = [this] { return wasCancelled(); }});
        if (tried) return {};
        logInfo("trying the account at " + server.host + ": " + tried.error().description);
        return faultOf(troubleOfSmtp(tried.error()),
                       {ServerSide::Outgoing, server.host, server.port, server.authentication}, hint,
                       tried.error().description);
    }

    void take(const std::optional<AccountFault>& fault) {
        if (fault) faults.push_back(*fault);
        if (--waiting > 0 || wasCancelled()) return;
        if (const auto finished = std::exchange(done, nullptr)) finished(faults);
    }
};

GivenSecrets::~GivenSecrets() {
    for (std::string* secret : {&incoming, &outgoing})
        explicit_bzero(secret->data(), secret->size());
}

std::unique_ptr<AccountCheck> AccountCheck::start(const AccountRecord& account, GivenSecrets secrets, std::string hint,
                                                  std::function<void(std::vector<AccountFault>)> done) {
    auto shared = std::make_shared<Shared>();
    shared->account = account;
    shared->secrets = std::move(secrets);
    shared->hint = std::move(hint);
    shared->done = std::move(done);
    using Try = std::optional<AccountFault> (Shared::*)();
    std::vector<Try> tries;
    if (account.incoming) tries.push_back(&Shared::tryIncoming);
    if (account.outgoing) tries.push_back(&Shared::tryOutgoing);
    shared->waiting = std::max(static_cast<int>(tries.size()), 1);
    RunLoop& loop = RunLoop::main();
    if (tries.empty()) loop.post([shared] { shared->take({}); });
    for (const Try each : tries)
        loop.postToGlobalQueue([shared, each, &loop] {
            auto fault = ((*shared).*each)();
            loop.post([shared, fault = std::move(fault)] { shared->take(fault); });
        });
    return std::unique_ptr<AccountCheck>(new AccountCheck(std::move(shared)));
}

AccountCheck::~AccountCheck() {
    shared_->done = nullptr;
    const std::lock_guard hold(shared_->lock);
    shared_->isCancelled = true;
    if (shared_->imap) shared_->imap->cancel();
}

}  // namespace qs
