// The calls about the messages of the selected mailbox.
#include <algorithm>

#include "Imap/ImapAnswers.h"
#include "Imap/ImapSession.h"
#include "Text/ByteCount.h"

namespace qs {

namespace {

// Servers may refuse commands of more than 8192 bytes (RFC 7162, section 4).
constexpr std::size_t kLongestSet = 6000;
constexpr std::string_view kListFields =
    " BODY.PEEK[HEADER.FIELDS (DATE FROM TO CC BCC SUBJECT MESSAGE-ID IN-REPLY-TO REFERENCES X-PRIORITY "
    "X-UNIVERSALLY-UNIQUE-IDENTIFIER)]";
constexpr int kMostAtOnce = 1000;  // untagged responses heard before a change is passed on

std::string_view signOf(ImapChange change) {
    switch (change) {
    case ImapChange::Add: return "+";
    case ImapChange::Remove: return "-";
    case ImapChange::Replace: break;
    }
    return "";
}

std::string fetchItems(const ImapFetch& what, bool hasModSeq, bool isGmail) {
    std::string items = "(UID";
    if (what.flags) items += " FLAGS";
    if (what.flags && hasModSeq) items += " MODSEQ";
    if (what.date) items += " INTERNALDATE";
    if (what.size) items += " RFC822.SIZE";
    if (what.gmail && isGmail) items += " X-GM-MSGID X-GM-THRID X-GM-LABELS";
    if (what.content == ImapFetch::Content::ListFields) items += kListFields;
    if (what.content == ImapFetch::Content::Header) items += " BODY.PEEK[HEADER]";
    if (what.content == ImapFetch::Content::Whole) items += " BODY.PEEK[]";
    if (what.content == ImapFetch::Content::Piece)
        items += " BODY.PEEK[]<" + std::to_string(what.pieceStart) + "." + std::to_string(what.pieceBytes) + ">";
    return items + ")";
}

// Whether a FETCH answers the question, or tells of a change that somebody made meanwhile.
bool isAnswer(const ImapMessage& message, const ImapUidSet& uids, const ImapFetch& what) {
    if (message.uid == 0 || !uids.contains(message.uid)) return false;
    if (what.content != ImapFetch::Content::None) return message.content.has_value();
    if (what.size) return message.size.has_value();
    if (what.date) return message.internalDate.has_value();
    return message.flags.has_value() || !what.flags;
}

}  // namespace

Result<ImapSelection> ImapConnection::Session::select(std::string_view verb, const ImapMailboxName& name,
                                                      const std::optional<ImapKnownState>& known) {
    ImapCommand command(verb);
    command.mailbox(name);
    const bool asksChanges = known && knowsQresync && known->uidValidity != 0 && known->modSeq != 0;
    if (asksChanges) {
        std::string words = "(QRESYNC (" + std::to_string(known->uidValidity) + " " + std::to_string(known->modSeq);
        // Without the uids the server takes all for known, and tells of more that vanished than needed.
        const auto uids = known->uids.texts(kLongestSet);
        if (uids.size() == 1) words += " " + uids[0];
        command.raw(words + "))");
    } else if (has("CONDSTORE")) {
        command.raw("(CONDSTORE)");
    }
    ImapSelection selection;
    auto answer = run(command, [&](ImapResponse& response) {
        if (response.hasCode("CLOSED")) selection = {};  // what came so far was about the mailbox before
        const auto number = response.code.size() > 1 ? response.code[1].number() : std::nullopt;
        if (number && response.hasCode("UIDVALIDITY")) selection.uidValidity = static_cast<std::uint32_t>(*number);
        if (number && response.hasCode("UIDNEXT")) selection.uidNext = static_cast<std::uint32_t>(*number);
        if (number && response.hasCode("HIGHESTMODSEQ")) selection.highestModSeq = *number;
        if (response.hasCode("PERMANENTFLAGS") && response.code.size() > 1)
            for (const ImapItem& flag : response.code[1].items) {
                if (flag.text == "\\*")
                    selection.takesNewKeywords = true;
                else
                    selection.permanentFlags.push_back(flag.text);
            }
        if (response.name == "EXISTS") {
            selection.messages = response.number;
            return true;
        }
        if (!asksChanges) return false;
        if (response.name == "FETCH") {
            selection.changed.push_back(messageFrom(response));
            return true;
        }
        const auto vanished = response.name == "VANISHED" ? vanishedFrom(response) : std::nullopt;
        if (vanished) selection.vanished.add(vanished->uids);
        return vanished.has_value();
    });
    if (!answer) return failed(answer);
    selection.isReadOnly = verb == "EXAMINE" || answer->hasCode("READ-ONLY");
    selection.tellsChanges = asksChanges && selection.uidValidity == known->uidValidity;
    return selection;
}

Result<void> ImapConnection::fetch(const ImapUidSet& uids, const ImapFetch& what,
                                   const std::function<void(ImapMessage)>& each) {
    Session& session = *session_;
    const bool hasModSeq = session.has("CONDSTORE") || session.knowsQresync;
    const std::string items = fetchItems(what, hasModSeq, session.has("X-GM-EXT-1"));
    for (const std::string& set : uids.texts(kLongestSet)) {
        ImapCommand command("UID FETCH");
        command.raw(set).raw(items);
        if (what.changedSince != 0 && hasModSeq)
            command.raw("(CHANGEDSINCE " + std::to_string(what.changedSince) +
                        (what.tellsVanished && session.knowsQresync ? " VANISHED)" : ")"));
        session.renewsDeadline = true;
        auto answer = session.run(command, [&](ImapResponse& response) {
            if (response.name != "FETCH") return false;
            // Looked at twice when it is no answer; those are few and small.
            ImapMessage message = messageFrom(response);
            if (!isAnswer(message, uids, what)) return false;
            each(std::move(message));
            return true;
        });
        session.renewsDeadline = false;
        if (answer) continue;
        // Nothing was to be put anywhere: it is the account's traffic that is over its limit.
        if (imapResponseCode(answer.error()) == "OVERQUOTA")
            return imapFailed(ImapFailure::Temporary, answer.error().description, "OVERQUOTA");
        return failed(answer);
    }
    return {};
}

Result<ImapUidSet> ImapConnection::search(const ImapSearch& what) {
    ImapCommand command(session_->has("ESEARCH") ? "UID SEARCH RETURN (ALL)" : "UID SEARCH");
    if (what.since) command.raw("SINCE " + imapDay(*what.since));
    if (!what.messageId.empty()) command.raw("HEADER MESSAGE-ID").string(what.messageId);
    if (!what.since && what.messageId.empty()) command.raw("ALL");
    ImapUidSet found;
    auto answer = session_->run(command, [&](ImapResponse& response) {
        if (response.name != "SEARCH" && response.name != "ESEARCH") return false;
        addFound(response, found);
        return true;
    });
    if (!answer) return failed(answer);
    return found;
}

Result<ImapUidSet> ImapConnection::store(const ImapUidSet& uids, ImapChange change, const ImapFlags& flags,
                                         std::uint64_t unchangedSince) {
    ImapUidSet left;
    if (flags.empty() && change != ImapChange::Replace) return left;
    for (const std::string& set : uids.texts(kLongestSet)) {
        ImapCommand command("UID STORE");
        command.raw(set);
        if (unchangedSince != 0) command.raw("(UNCHANGEDSINCE " + std::to_string(unchangedSince) + ")");
        command.raw(std::string(signOf(change)) + "FLAGS.SILENT");
        if (!command.flags(flags))
            return imapFailed(ImapFailure::NotAccepted, "One of the flags is none that a server could take.");
        auto answer = session_->run(command);
        if (!answer) return failed(answer);
        if (answer->hasCode("MODIFIED") && answer->code.size() > 1)
            if (const auto modified = ImapUidSet::parse(answer->code[1].text)) left.add(*modified);
    }
    return left;
}

Result<void> ImapConnection::storeGmailLabels(const ImapUidSet& uids, ImapChange change,
                                              const std::vector<ImapMailboxName>& labels) {
    if (!session_->has("X-GM-EXT-1"))
        return imapFailed(ImapFailure::NotOffered, "The server " + session_->server.host + " knows no labels.");
    for (const std::string& set : uids.texts(kLongestSet)) {
        ImapCommand command("UID STORE");
        command.raw(set).raw(std::string(signOf(change)) + "X-GM-LABELS.SILENT").labels(labels);
        if (auto answer = session_->run(command); !answer) return failed(answer);
    }
    return {};
}

Result<ImapCopied> ImapConnection::Session::copyOrMove(std::string_view verb, const ImapUidSet& uids,
                                                       const ImapMailboxName& target) {
    ImapCopied copied;
    for (const std::string& set : uids.texts(kLongestSet)) {
        // MOVE tells it before the end of the command, COPY with it.
        auto answer = run(ImapCommand(verb).raw(set).mailbox(target), [&](ImapResponse& response) {
            addCopied(response, copied);
            return false;
        });
        if (!answer) return failed(answer);
        addCopied(*answer, copied);
    }
    return copied;
}

Result<void> ImapConnection::expunge(const ImapUidSet& uids) {
    if (!session_->has("UIDPLUS"))
        return imapFailed(ImapFailure::NotOffered,
                          "The server " + session_->server.host + " can't remove single messages.");
    for (const std::string& set : uids.texts(kLongestSet))
        if (auto answer = session_->run(ImapCommand("UID EXPUNGE").raw(set)); !answer) return failed(answer);
    return {};
}

Result<ImapAppended> ImapConnection::append(const ImapMailboxName& target, const SizedSource& content,
                                            const ImapFlags& flags, std::optional<Date> date) {
    if (const auto most = session_->appendLimit(); most && content.size > *most)
        return imapFailed(
            ImapFailure::Refused,
            "The server " + session_->server.host + " takes no messages above " + megabytesText(*most) + ".", "TOOBIG");
    ImapCommand command("APPEND");
    command.mailbox(target);
    if (!flags.empty() && !command.flags(flags))
        return imapFailed(ImapFailure::NotAccepted, "One of the flags is none that a server could take.");
    if (date) command.raw("\"" + imapDateTime(*date) + "\"");
    auto answer = session_->run(command.content(content));
    if (!answer) return failed(answer);
    ImapAppended appended;
    if (answer->hasCode("APPENDUID") && answer->code.size() > 2) {
        appended.uidValidity = answer->code[1].number32().value_or(0);
        appended.uid = answer->code[2].number32().value_or(0);
    }
    return appended;
}

Result<ImapConnection::IdleEnd> ImapConnection::idle() {
    Session& session = *session_;
    if (!session.has("IDLE"))
        return imapFailed(ImapFailure::NotOffered, "The server " + session.server.host + " tells nothing unasked.");
    const unsigned before = session.updates;
    for (;;) {
        auto tag = session.send(ImapCommand("IDLE"));
        if (!tag) return failed(tag);
        auto begun = session.nextAnswer();
        if (!begun) return failed(begun);
        if (begun->kind == ImapResponse::Kind::Tagged) return failure(session.errorFor(*begun));
        auto end = session.waitIdly(before);
        if (!end) return failed(end);
        if (auto sent = session.write("DONE\r\n"); !sent) return failed(sent);
        session.stream.setDeadline(session.server.limits.answerSeconds);
        auto answer = session.nextAnswer();
        if (!answer) return failed(answer);
        if (answer->kind == ImapResponse::Kind::Continuation) return session.lost(unaskedAnswer());
        if (answer->status != ImapResponse::Status::Ok) return failure(session.errorFor(*answer));
        if (session.updates != before) return IdleEnd::Update;
        if (*end == SecureStream::Wait::Woken) return IdleEnd::Woken;
    }
}

// Until an update was told (Readable), wake() was called, or it is time to say IDLE anew (Quiet).
Result<SecureStream::Wait> ImapConnection::Session::waitIdly(unsigned updatesBefore) {
    using Wait = SecureStream::Wait;
    for (int told = 0; updates == updatesBefore || (reader.hasUnread() && told < kMostAtOnce); ++told) {
        if (!reader.hasUnread()) {
            stream.setDeadline(0);
            auto waited = stream.waitForInput(server.limits.idleSeconds);
            if (!waited) return lost(waited.error());
            if (*waited != Wait::Readable) return *waited;
            auto read = reader.readAhead([this](char* b, std::size_t size) { return stream.readAvailable(b, size); });
            if (!read) return lost(read.error());
            if (!reader.hasUnread()) continue;
        }
        stream.setDeadline(server.limits.answerSeconds);
        auto response = next();
        if (!response) return failed(response);
        if (response->kind != ImapResponse::Kind::Untagged) return lost(unaskedAnswer());
        dealWith(*response);
    }
    return Wait::Readable;
}

}  // namespace qs
