// What can be asked of the messages of the selected mailbox.
#include <cstdlib>
#include <iterator>

#include "Support/GmailConnection.h"

namespace qs {

namespace {

std::string headerOf(const std::string& content) {
    const auto end = content.find("\r\n\r\n");
    return end == std::string::npos ? content : content.substr(0, end + 4);
}

std::string literal(const std::string& bytes) { return "{" + std::to_string(bytes.size()) + "}\r\n" + bytes; }

// "4096.100>": so many bytes from there.
std::string piece(const std::string& content, const std::string& range) {
    char* end = nullptr;
    const std::size_t start = std::strtoull(range.c_str(), &end, 10), count = std::strtoull(end + 1, nullptr, 10);
    return "BODY[]<" + std::to_string(start) + "> " +
           literal(start < content.size() ? content.substr(start, count) : std::string());
}

std::string joined(const std::vector<std::uint32_t>& uids) {
    std::string text;
    for (const std::uint32_t uid : uids)
        text += (text.empty() ? "" : ",") + std::to_string(uid);
    return text;
}

}  // namespace

std::string GmailConnection::answerUid(const Words& words) {
    const std::string verb = imapUppered(words[0].text);
    const Words rest(words.begin() + 1, words.end());
    if (isOf(verb, rest, "FETCH", 2)) return fetch(rest);
    if (verb == "SEARCH") return search(rest);
    if (isReadOnly_) return "NO [CANNOT] The mailbox is open to read.";
    if (isOf(verb, rest, "STORE", 3)) return store(rest);
    if (isOf(verb, rest, "COPY", 2)) return copyOrMove(rest, false);
    if (isOf(verb, rest, "MOVE", 2)) return copyOrMove(rest, true);
    if (isOf(verb, rest, "EXPUNGE", 1)) return expunge(rest);
    return bad("unknown command");
}

std::vector<std::uint32_t> GmailConnection::here(const ImapUidSet& uids) const {
    std::vector<std::uint32_t> found;
    for (const auto& [uid, number] : hub_.mail.mailboxes.at(selected_).messages)
        if (uids.contains(uid)) found.push_back(uid);
    return found;
}

std::size_t GmailConnection::sequenceOf(std::uint32_t uid) const {
    return static_cast<std::size_t>(std::distance(seen_.begin(), seen_.find(uid))) + 1;
}

GmailMessage& GmailConnection::message(std::uint32_t uid) const {
    return hub_.mail.messages.at(hub_.mail.mailboxes.at(selected_).messages.at(uid));
}

std::string GmailConnection::flagsOf(std::uint32_t uid) const {
    std::string text;
    for (const std::string& flag : message(uid).flags)
        text += (text.empty() ? "" : " ") + flag;
    if (hub_.mail.mailboxes.at(selected_).deleted.contains(uid)) text += text.empty() ? "\\Deleted" : " \\Deleted";
    return "(" + text + ")";
}

std::string GmailConnection::fetch(const Words& words) {
    const auto uids = ImapUidSet::parse(words[0].text);
    if (!uids || !words[1].isList) return bad("no uids, or no items");
    std::uint64_t since = 0;
    if (words.size() > 2) {
        const Words& more = words[2].words;
        if (more.size() != 2 || imapUppered(more[0].text) != "CHANGEDSINCE") return bad("unknown modifier");
        since = std::strtoull(more[1].text.c_str(), nullptr, 10);
    }
    tellChanges();
    for (const std::uint32_t uid : here(*uids))
        if (message(uid).modSeq > since && !fetchOne(uid, words[1].words)) return bad("unknown item");
    return "OK Success";
}

bool GmailConnection::fetchOne(std::uint32_t uid, const Words& items) {
    const GmailMessage& mail = message(uid);
    std::string text;
    for (const Word& item : items) {
        const std::string name = imapUppered(item.text);
        std::string value;
        if (name == "UID")
            value = name + " " + std::to_string(uid);
        else if (name == "FLAGS")
            value = name + " " + flagsOf(uid);
        else if (name == "MODSEQ")
            value = name + " (" + std::to_string(mail.modSeq) + ")";
        else if (name == "INTERNALDATE")
            value = name + " " + imapQuoted(mail.date);
        else if (name == "RFC822.SIZE")
            value = name + " " + std::to_string(mail.content.size());
        else if (name == "X-GM-MSGID" || name == "X-GM-THRID")
            value = name + " " + std::to_string(mail.number);
        else if (name == "BODY.PEEK[]")
            value = "BODY[] " + literal(mail.content);
        else if (name.starts_with("BODY.PEEK[]<"))
            value = piece(mail.content, name.substr(12));
        else if (name == "BODY.PEEK[HEADER]" || name.starts_with("BODY.PEEK[HEADER.FIELDS ("))
            value = "BODY" + name.substr(9) + " " + literal(headerOf(mail.content));
        if (name == "BODY.PEEK[]" || name.starts_with("BODY.PEEK[]<0.")) ++hub_.fetched[mail.number];
        if (name == "X-GM-LABELS") {
            for (const std::string& label : mail.labels)
                if (label != selected_) value += (value.empty() ? "" : " ") + imapQuoted(hub_.mail.labelOf(label));
            value = name + " (" + value + ")";
        }
        if (value.empty()) return false;
        text += (text.empty() ? "" : " ") + value;
    }
    say("* " + std::to_string(sequenceOf(uid)) + " FETCH (" + text + ")");
    return true;
}

std::string GmailConnection::search(const Words& words) {
    const bool isExtended = words.size() > 1 && imapUppered(words[0].text) == "RETURN";
    const Words keys(words.begin() + (isExtended ? 2 : 0), words.end());
    const bool isAll = keys.size() == 1 && imapUppered(keys[0].text) == "ALL";
    const bool isHeader = keys.size() == 3 && imapUppered(keys[0].text) == "HEADER";
    if (!isAll && !isHeader) return bad("unknown search key");
    std::vector<std::uint32_t> found;
    for (const std::uint32_t uid : here(ImapUidSet::all()))
        if (isAll || headerOf(message(uid).content).find(keys[2].text) != std::string::npos) found.push_back(uid);
    if (isExtended)
        say("* ESEARCH (TAG \"x\") UID" + (found.empty() ? "" : " ALL " + joined(found)));
    else
        say("* SEARCH " + joined(found));
    return "OK SEARCH completed (Success)";
}

std::string GmailConnection::store(const Words& words) {
    const auto uids = ImapUidSet::parse(words[0].text);
    std::string what = imapUppered(words[1].text);
    if (!uids || !words[2].isList || what.empty() || (what[0] != '+' && what[0] != '-')) return bad("no such change");
    const bool isAdded = what[0] == '+';
    what.erase(0, 1);
    if (what == "X-GM-LABELS.SILENT" || what == "X-GM-LABELS") return storeLabels(*uids, isAdded, words[2].words);
    if (what != "FLAGS.SILENT" && what != "FLAGS") return bad("no such change");
    auto& deleted = hub_.mail.mailboxes.at(selected_).deleted;
    for (const std::uint32_t uid : here(*uids)) {
        std::set<std::string> flags = message(uid).flags;
        for (const Word& flag : words[2].words) {
            if (flag.text == "\\Deleted") {
                isAdded ? (void)deleted.insert(uid) : (void)deleted.erase(uid);
                continue;
            }
            isAdded ? (void)flags.insert(flag.text) : (void)flags.erase(flag.text);
        }
        hub_.mail.setFlags(message(uid).number, std::move(flags));
    }
    return "OK Success";
}

// The label of the mailbox that is selected stays.
std::string GmailConnection::storeLabels(const ImapUidSet& uids, bool isAdded, const Words& labels) {
    std::set<std::string> names;
    for (const Word& label : labels) {
        const std::string mailbox = hub_.mail.mailboxOf(label.text);
        if (mailbox.empty()) return "NO [NONEXISTENT] Unknown label (Failure)";
        if (mailbox != selected_) names.insert(mailbox);
    }
    for (const std::uint32_t uid : here(uids))
        hub_.mail.label(message(uid).number, isAdded ? names : std::set<std::string>(),
                        isAdded ? std::set<std::string>() : names);
    return "OK Success";
}

std::string GmailConnection::copyOrMove(const Words& words, bool moves) {
    const auto uids = ImapUidSet::parse(words[0].text);
    const std::string to = words[1].text;
    if (!uids) return bad("no uids");
    if (!hub_.mail.mailboxes.contains(to)) return "NO [TRYCREATE] No folder " + to + " (Failure)";
    std::vector<std::uint32_t> from, target;
    for (const std::uint32_t uid : here(*uids)) {
        const std::uint64_t number = message(uid).number;
        moves ? hub_.mail.move(number, selected_, to) : hub_.mail.copy(number, to);
        from.push_back(uid);
        target.push_back(hub_.mail.uidIn(to, number));
    }
    const std::string code = "[COPYUID " + std::to_string(hub_.mail.mailboxes.at(to).uidValidity) + " " + joined(from) +
                             " " + joined(target) + "]";
    if (from.empty()) return "OK (Success)";
    if (!moves) return "OK " + code + " (Success)";
    say("* OK " + code + " Moved");
    return "OK (Success)";
}

std::string GmailConnection::expunge(const Words& words) {
    const auto uids = ImapUidSet::parse(words[0].text);
    if (!uids) return bad("no uids");
    for (const std::uint32_t uid : here(*uids))
        if (hub_.mail.mailboxes.at(selected_).deleted.contains(uid)) hub_.mail.expunge(selected_, uid);
    return "OK Success";
}

std::string GmailConnection::append(const Words& words) {
    const std::string name = words[0].text;
    if (!hub_.mail.mailboxes.contains(name)) return "NO [TRYCREATE] No folder " + name + " (Failure)";
    std::set<std::string> flags;
    for (const Word& flag : words[1].words)
        flags.insert(flag.text);
    const std::string date = words.size() > 2 && !words[words.size() - 2].isList ? words[words.size() - 2].text
                                                                                 : "23-Nov-2026 09:30:00 +0000";
    const std::uint64_t number = hub_.mail.add(words.back().text, {name}, flags, date);
    return "OK [APPENDUID " + std::to_string(hub_.mail.mailboxes.at(name).uidValidity) + " " +
           std::to_string(hub_.mail.uidIn(name, number)) + "] (Success)";
}

}  // namespace qs
