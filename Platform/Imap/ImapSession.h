// What the calls of ImapConnection share: the stream, the dialogue of one command, and what is known of the server.
// Private to this folder.
#pragma once

#include <set>

#include "Imap/ImapCommand.h"
#include "Imap/ImapConnection.h"
#include "Imap/ImapReader.h"
#include "Transport/SecureStream.h"

namespace qs {

tl::unexpected<Error> imapFailed(ImapFailure code, std::string description, std::string responseCode = {});
Error unaskedAnswer();

struct ImapConnection::Session {
    explicit Session(ImapServer given);

    // Sees each untagged response first; true: it was about this command and goes no further.
    using Untagged = std::function<bool(ImapResponse&)>;

    // Sends the command and reads up to its end: the tagged OK. Anything else is an error.
    Result<ImapResponse> run(const ImapCommand& command, const Untagged& untagged = {});
    // The pieces of it, for commands with a dialogue of their own.
    Result<std::string> send(const ImapCommand& command, const Untagged& untagged = {});  // answers the tag
    Result<void> write(std::string_view bytes);
    Result<std::size_t> read(char* buffer, std::size_t size);
    Result<void> sendContent(const SizedSource& content);
    // The next continuation or tagged response; untagged ones are dealt with.
    Result<ImapResponse> nextAnswer(const Untagged& untagged = {});
    Result<ImapResponse> next();
    void dealWith(ImapResponse& response, const Untagged& untagged = {});
    Error errorFor(const ImapResponse& answer) const;  // to a NO or BAD
    // What was asked for is a convenience. Fails only when the connection is over.
    Result<void> orWithout(const Result<void>& asked) const;

    // The connection is over.
    tl::unexpected<Error> lost(const Error& error);

    Result<void> ask(std::string_view words);  // a command without arguments
    bool has(std::string_view capability) const;
    std::optional<std::uint64_t> appendLimit() const;  // bytes of a message, where the server tells (RFC 7889)
    Result<void> readGreeting(bool& isSignedIn);
    Result<void> startTls();
    Result<void> signIn(const ImapSecret& secret);
    Result<void> learn();
    Result<void> introduce();
    void noteCapabilities(const std::vector<ImapItem>& items, std::size_t from);
    Result<ImapSelection> select(std::string_view verb, const ImapMailboxName& name,
                                 const std::optional<ImapKnownState>& known);
    Result<ImapCopied> copyOrMove(std::string_view verb, const ImapUidSet& uids, const ImapMailboxName& target);

    Result<SecureStream::Wait> waitIdly(unsigned updatesBefore);

    const ImapServer server;
    SecureStream stream;
    ImapReader reader;
    std::function<void(const ImapUpdate&)> handler;
    std::set<std::string> capabilities;  // in capitals
    std::map<std::string, std::string> identity;
    std::string farewell;  // the server's words of its BYE
    bool isFarewellForNow = false;
    unsigned lastTag = 0;
    std::size_t responses = 0, bytesSinceRenewal = 0;  // within the command of now
    unsigned updates = 0;                              // how many were told, alerts aside
    bool isOpen = false, isUsed = false, knowsQresync = false, renewsDeadline = false;
    bool capabilitiesAreNew = false;  // told since the sign-in began
};

}  // namespace qs
