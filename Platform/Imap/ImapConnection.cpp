#include "Imap/ImapConnection.h"

#include "Imap/ImapAnswers.h"
#include "Imap/ImapSession.h"

namespace qs {

namespace {

constexpr TimeInterval kFarewellSeconds = 3;

Result<void> done(const Result<ImapResponse>& answer) {
    if (!answer) return failed(answer);
    return {};
}

}  // namespace

ImapConnection::ImapConnection(ImapServer server) : session_(std::make_unique<Session>(std::move(server))) {}
ImapConnection::~ImapConnection() = default;

bool ImapConnection::isOpen() const { return session_->isOpen; }
void ImapConnection::cancel() { session_->stream.cancel(); }
void ImapConnection::wake() { session_->stream.wake(); }
bool ImapConnection::has(std::string_view capability) const { return session_->has(capability); }
const std::map<std::string, std::string>& ImapConnection::serverIdentity() const { return session_->identity; }
const ImapLimits& ImapConnection::limits() const { return session_->server.limits; }
std::vector<std::string> ImapConnection::capabilities() const {
    return {session_->capabilities.begin(), session_->capabilities.end()};
}
void ImapConnection::setUpdateHandler(std::function<void(const ImapUpdate&)> handler) {
    session_->handler = std::move(handler);
}

void ImapConnection::close() {
    if (!session_->isOpen) return;
    session_->stream.setSilence(kFarewellSeconds);
    session_->stream.setDeadline(kFarewellSeconds);
    if (session_->write("a" + std::to_string(++session_->lastTag) + " LOGOUT\r\n")) (void)session_->nextAnswer();
    session_->isOpen = false;
    session_->stream.close();
}

Result<void> ImapConnection::noop() { return session_->ask("NOOP"); }

Result<ImapNamespaces> ImapConnection::namespaces() {
    ImapNamespaces result;
    if (session_->has("NAMESPACE")) {
        auto answer = session_->run(ImapCommand("NAMESPACE"), [&](ImapResponse& response) {
            if (response.name != "NAMESPACE") return false;
            result = namespacesFrom(response);
            return true;
        });
        if (!answer) return failed(answer);
    }
    if (result.personal.empty()) result.personal.emplace_back();
    return result;
}

Result<ImapStatus> ImapConnection::status(const ImapMailboxName& name) {
    ImapStatus result;
    const bool hasModSeq = session_->has("CONDSTORE") || session_->has("QRESYNC");
    auto answer = session_->run(
        ImapCommand("STATUS").mailbox(name).raw(hasModSeq ? "(MESSAGES UNSEEN UIDNEXT UIDVALIDITY HIGHESTMODSEQ)"
                                                          : "(MESSAGES UNSEEN UIDNEXT UIDVALIDITY)"),
        [&](ImapResponse& response) {
            if (response.name != "STATUS") return false;
            result = statusFrom(response);
            return true;
        });
    if (!answer) return failed(answer);
    return result;
}

Result<std::vector<ImapMailbox>> ImapConnection::list() {
    const bool isExtended = session_->has("LIST-EXTENDED"), hasUses = session_->has("SPECIAL-USE");
    const bool isOldStyle = session_->has("XLIST") && !hasUses;
    std::vector<ImapMailbox> mailboxes;
    std::map<std::string, std::size_t> places;
    const auto noteMailbox = [&](ImapResponse& response) {
        if (response.name != "LIST" && response.name != "XLIST") return false;
        auto mailbox = mailboxFrom(response);
        if (!mailbox || !places.emplace(mailbox->name.wire(), mailboxes.size()).second) return true;
        mailboxes.push_back(std::move(*mailbox));
        return true;
    };
    const char* words = isExtended && hasUses ? "LIST \"\" \"*\" RETURN (SUBSCRIBED SPECIAL-USE)"
                        : isExtended          ? "LIST \"\" \"*\" RETURN (SUBSCRIBED)"
                        : isOldStyle          ? "XLIST \"\" \"*\""
                                              : "LIST \"\" \"*\"";
    if (auto answer = session_->run(ImapCommand(words), noteMailbox); !answer) return failed(answer);
    if (isExtended) return mailboxes;
    auto answer = session_->run(ImapCommand("LSUB \"\" \"*\""), [&](ImapResponse& response) {
        if (response.name != "LSUB") return false;
        const auto mailbox = mailboxFrom(response);
        const auto place = mailbox ? places.find(mailbox->name.wire()) : places.end();
        if (place != places.end()) mailboxes[place->second].isSubscribed = true;
        return true;
    });
    // Some servers know no subscriptions and say so.
    if (auto asked = session_->orWithout(done(answer)); !asked) return failed(asked);
    return mailboxes;
}

Result<void> ImapConnection::create(const ImapMailboxName& name) {
    return done(session_->run(ImapCommand("CREATE").mailbox(name)));
}
Result<void> ImapConnection::rename(const ImapMailboxName& from, const ImapMailboxName& to) {
    return done(session_->run(ImapCommand("RENAME").mailbox(from).mailbox(to)));
}
Result<void> ImapConnection::remove(const ImapMailboxName& name) {
    return done(session_->run(ImapCommand("DELETE").mailbox(name)));
}
Result<void> ImapConnection::subscribe(const ImapMailboxName& name, bool isSubscribed) {
    return done(session_->run(ImapCommand(isSubscribed ? "SUBSCRIBE" : "UNSUBSCRIBE").mailbox(name)));
}

Result<ImapSelection> ImapConnection::select(const ImapMailboxName& name, const std::optional<ImapKnownState>& known) {
    return session_->select("SELECT", name, known);
}
Result<ImapSelection> ImapConnection::examine(const ImapMailboxName& name, const std::optional<ImapKnownState>& known) {
    return session_->select("EXAMINE", name, known);
}

Result<ImapCopied> ImapConnection::copy(const ImapUidSet& uids, const ImapMailboxName& target) {
    return session_->copyOrMove("UID COPY", uids, target);
}
Result<ImapCopied> ImapConnection::move(const ImapUidSet& uids, const ImapMailboxName& target) {
    if (!session_->has("MOVE"))
        return imapFailed(ImapFailure::NotOffered, "The server " + session_->server.host + " can't move messages.");
    return session_->copyOrMove("UID MOVE", uids, target);
}

}  // namespace qs
