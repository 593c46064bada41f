// From nothing to a connection that is signed in.
#include <cstring>
#include <utility>

#include "Foundation/Log.h"
#include "Imap/ImapSession.h"
#include "Reachability/NetworkState.h"
#include "Text/Ascii.h"
#include "Text/Base64.h"

namespace qs {

namespace {

using Status = ImapResponse::Status;

// Whatever the server says to a wrong password, it is no NO like others. What an account has used up comes back.
Error signInError(Error error) {
    const auto code = imapResponseCode(error);
    // In whatever words: to be asked the same again and again leads servers to lock the account.
    if (code == "AUTHENTICATIONFAILED" || code == "EXPIRED") error.code = static_cast<int>(ImapFailure::Refused);
    if (code == "OVERQUOTA") error.code = static_cast<int>(ImapFailure::Temporary);
    if (imapFailure(error) == ImapFailure::Refused || imapFailure(error) == ImapFailure::NotAccepted)
        error.code = static_cast<int>(ImapFailure::SignInRefused);
    return error;
}

struct Wiped {
    std::string text;
    ~Wiped() { explicit_bzero(text.data(), text.size()); }
};

}  // namespace

Result<void> ImapConnection::open(const ImapSecret& secret) {
    Session& session = *session_;
    const ImapServer& server = session.server;
    if (std::exchange(session.isUsed, true))
        return imapFailed(ImapFailure::HungUp, "The connection to " + server.host + " was used before.");
    if (server.security == TransportSecurity::None && !isOwnHost(server.host))
        return imapFailed(ImapFailure::OpenPassword,
                          "The account would send its password over an open connection, so nothing was sent. Choose "
                          "TLS or STARTTLS for it.");
    DDLog::maskSecret(secret.text);
    const TimeInterval longest = server.limits.connectSeconds;
    if (auto made = session.stream.connect(server.host, server.port, longest); !made) return session.lost(made.error());
    if (server.security == TransportSecurity::Tls)
        if (auto made = session.stream.startTls(server.host, server.certificateAuthorities, longest); !made)
            return session.lost(made.error());
    session.stream.setSilence(server.limits.silenceSeconds);
    session.stream.setDeadline(server.limits.answerSeconds);
    session.isOpen = true;

    bool isSignedIn = false;
    if (auto greeted = session.readGreeting(isSignedIn); !greeted) return session.lost(greeted.error());
    if (server.security == TransportSecurity::StartTls) {
        // A greeting that skips the sign-in would skip STARTTLS, too: somebody in between may have sent it.
        if (isSignedIn)
            return session.lost(
                imapFailed(ImapFailure::TlsFailed, "The server " + server.host + " offers no encrypted connection.")
                    .value());
        if (auto secured = session.startTls(); !secured) return session.lost(secured.error());
    }
    if (session.capabilities.empty())
        if (auto asked = session.ask("CAPABILITY"); !asked) return session.lost(asked.error());
    if (!isSignedIn)
        if (auto signedIn = session.signIn(secret); !signedIn) return session.lost(signedIn.error());
    if (auto learnt = session.learn(); !learnt) return session.lost(learnt.error());
    return {};
}

Result<void> ImapConnection::Session::readGreeting(bool& isSignedIn) {
    auto greeting = next();
    if (!greeting) return failed(greeting);
    dealWith(*greeting);
    if (greeting->status == Status::Bye)
        return imapFailed(ImapFailure::Temporary, "The server " + server.host + " takes nobody now: " + farewell);
    isSignedIn = greeting->status == Status::Preauth;
    if (greeting->kind == ImapResponse::Kind::Untagged && (isSignedIn || greeting->status == Status::Ok)) return {};
    return imapFailed(ImapFailure::Malformed, "What answers at " + server.host + " is no IMAP server.");
}

Result<void> ImapConnection::Session::startTls() {
    if (auto asked = ask("STARTTLS"); !asked) {
        if (!isOpen) return asked;
        return imapFailed(ImapFailure::TlsFailed, "The server " + server.host + " offers no encrypted connection.");
    }
    // Plain text that waits here was put there to be taken for words from behind the encryption.
    if (reader.hasUnread())
        return imapFailed(ImapFailure::TlsFailed,
                          "The server " + server.host + " spoke before the connection was encrypted.");
    capabilities.clear();
    auto made = stream.startTls(server.host, server.certificateAuthorities, server.limits.connectSeconds);
    if (!made) return failed(made);
    return {};
}

Result<void> ImapConnection::Session::signIn(const ImapSecret& secret) {
    const bool isToken = secret.kind == ImapSecret::Kind::AccessToken;
    capabilitiesAreNew = false;
    if (!isToken && !has("AUTH=PLAIN")) {
        if (has("LOGINDISABLED"))
            return imapFailed(ImapFailure::SignInRefused,
                              "The server " + server.host + " takes no passwords over this connection.");
        auto answer = run(ImapCommand("LOGIN").string(server.user).string(secret.text));
        if (!answer) return failure(signInError(answer.error()));
        return {};
    }
    const Wiped plain{isToken ? "user=" + server.user + "\1auth=Bearer " + secret.text + "\1\1"
                              : std::string(1, '\0') + server.user + '\0' + secret.text};
    const Wiped encoded{base64EncodedString(plain.text)};
    ImapCommand command(isToken ? "AUTHENTICATE XOAUTH2" : "AUTHENTICATE PLAIN");
    const bool isAtOnce = has("SASL-IR");
    if (isAtOnce) command.raw(encoded.text);
    auto tag = send(command);
    if (!tag) return failed(tag);
    for (bool isSaid = isAtOnce;;) {
        auto answer = nextAnswer();
        if (!answer) return failed(answer);
        if (answer->kind == ImapResponse::Kind::Tagged) {
            if (answer->status == Status::Ok) return {};
            return failure(signInError(errorFor(*answer)));
        }
        // A second question is XOAUTH2's way to tell what is wrong with the token; the refusal follows.
        if (auto sent = write(isSaid ? "\r\n" : encoded.text + "\r\n"); !sent) return sent;
        isSaid = true;
    }
}

Result<void> ImapConnection::Session::learn() {
    // What was offered before the sign-in is not what is offered after it.
    if (!capabilitiesAreNew)
        if (auto asked = ask("CAPABILITY"); !asked) return asked;
    if (has("COMPRESS=DEFLATE") && server.compresses) {
        const auto asked = ask("COMPRESS DEFLATE");
        if (auto going = orWithout(asked); !going) return going;
        if (asked)
            if (auto begun = stream.startDeflate(reader.takeUnread()); !begun) return begun;
    }
    // Some servers serve nobody who did not introduce himself.
    if (has("ID"))
        if (auto going = orWithout(introduce()); !going) return going;
    if (has("QRESYNC") && has("ENABLE")) {
        auto answer = run(ImapCommand("ENABLE QRESYNC"), [this](ImapResponse& response) {
            if (response.name != "ENABLED") return false;
            for (const ImapItem& item : response.items)
                knowsQresync = knowsQresync || item.is("QRESYNC");
            return true;
        });
        if (!answer) return orWithout(failed(answer));
    }
    return {};
}

Result<void> ImapConnection::Session::introduce() {
    auto answer = run(ImapCommand("ID (\"name\" \"Quillstead\")"), [this](ImapResponse& response) {
        if (response.name != "ID") return false;
        if (response.items.empty()) return true;
        const std::vector<ImapItem>& items = response.items.front().items;
        for (std::size_t i = 0; i + 1 < items.size(); i += 2)
            if (!items[i + 1].isNil()) identity[asciiLowered(items[i].text)] = items[i + 1].text;
        return true;
    });
    if (!answer) return failed(answer);
    return {};
}

}  // namespace qs
