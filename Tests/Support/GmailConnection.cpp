#include "Support/GmailConnection.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "Support/TestSocket.h"
#include "Text/Ascii.h"
#include "Text/Base64.h"

namespace qs {

std::string imapQuoted(const std::string& text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') result += '\\';
        result += c;
    }
    return result + '"';
}

std::string imapUppered(std::string text) {
    for (char& c : text)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return text;
}

namespace {

constexpr const char* kCapabilities =
    "CAPABILITY IMAP4rev1 UNSELECT IDLE NAMESPACE QUOTA ID XLIST CHILDREN X-GM-EXT-1 UIDPLUS ENABLE MOVE CONDSTORE "
    "ESEARCH UTF8=ACCEPT LIST-EXTENDED LIST-STATUS LITERAL- SPECIAL-USE";
constexpr std::size_t kLongestUnasked = 4096;  // of literals that wait for nothing (LITERAL-)
constexpr const char* kFlags = "(\\Answered \\Flagged \\Draft \\Deleted \\Seen $Forwarded)";

}  // namespace

std::string GmailConnection::bad(const std::string& why) {
    hub_.complaints.push_back(why + ": " + line_);
    return "BAD Could not parse command";
}

void GmailConnection::say(const std::string& line) {
    if (!socket_.write(line + "\r\n")) isOver_ = true;
}

std::optional<std::string> GmailConnection::readCommand() {
    literals_.clear();
    std::string line;
    for (;;) {
        auto part = socket_.readLine();
        if (!part) return {};
        while (part->ends_with('\n') || part->ends_with('\r'))
            part->pop_back();
        const auto open = part->ends_with('}') ? part->rfind('{') : std::string::npos;
        if (open == std::string::npos) return line + *part;
        const std::size_t size = std::strtoull(part->c_str() + open + 1, nullptr, 10);
        const bool waits = (*part)[part->size() - 2] != '+';
        if (waits) say("+ go ahead");
        auto bytes = !waits && size > kLongestUnasked ? std::nullopt : socket_.read(size);
        if (!bytes) return {};
        line += part->substr(0, open) + "\"\x01" + std::to_string(literals_.size()) + "\"";
        literals_.push_back(std::move(*bytes));
    }
}

GmailConnection::Word GmailConnection::nextWord(const std::string& line, std::size_t& at) {
    Word word;
    if (line[at] == '(') {
        word.isList = true;
        for (++at; at < line.size() && line[at] != ')';) {
            if (line[at] == ' ')
                ++at;
            else
                word.words.push_back(nextWord(line, at));
        }
        ++at;
        return word;
    }
    if (line[at] == '"') {
        for (++at; at < line.size() && line[at] != '"'; ++at) {
            if (line[at] == '\\') ++at;
            word.text += line[at];
        }
        ++at;
        if (word.text.starts_with('\x01')) word.text = literals_.at(std::strtoul(word.text.c_str() + 1, nullptr, 10));
        return word;
    }
    for (bool isInBrackets = false; at < line.size(); ++at) {
        isInBrackets = (isInBrackets || line[at] == '[') && line[at] != ']';
        if (!isInBrackets && (line[at] == ' ' || line[at] == '(' || line[at] == ')')) break;
        word.text += line[at];
    }
    return word;
}

GmailConnection::Words GmailConnection::wordsOf(const std::string& line) {
    Words words;
    for (std::size_t at = 0; at < line.size();) {
        if (line[at] == ' ' || line[at] == ')')
            ++at;
        else
            words.push_back(nextWord(line, at));
    }
    return words;
}

void GmailConnection::serve() {
    say("* OK Gimap ready for requests");
    while (!isOver_) {
        const auto line = readCommand();
        if (!line || !play(*line)) break;
    }
    socket_.hangUp();
}

bool GmailConnection::play(const std::string& line) {
    const auto blank = line.find(' ');
    if (blank == std::string::npos) return false;
    const std::string tag = line.substr(0, blank);
    Words words = wordsOf(line.substr(blank + 1));
    if (words.empty()) return false;
    const std::string verb = imapUppered(words.front().text);
    words.erase(words.begin());
    bool isIdle = false;
    {
        const std::lock_guard guard(hub_.lock);
        line_ = line.substr(blank + 1);
        hub_.commands.push_back(line_);
        const bool isCut = hub_.untilCut > 0 && --hub_.untilCut == 0;
        hub_.wasCut = hub_.wasCut || isCut;
        if (isCut && hub_.cutsBefore) return false;
        isIdle = verb == "IDLE" && !selected_.empty();
        if (!isIdle) {
            const bool isRefused = !hub_.refused.empty() && line_.find(hub_.refused) != std::string::npos;
            const std::string said = isRefused ? "NO Not now. (Failure)" : answer(verb, words);
            if (isCut) return false;
            tellChanges();
            say(tag + " " + said);
            if (verb == "LOGOUT") return false;
            hub_.tellIdle();
        }
    }
    if (isIdle) idle(tag);
    return !isOver_;
}

bool GmailConnection::isOf(const std::string& verb, const Words& words, const char* name, std::size_t least) const {
    return verb == name && words.size() >= least;
}

std::string GmailConnection::answer(const std::string& verb, const Words& words) {
    const auto done = [&](bool isDone) {
        return std::string(isDone ? "OK Success" : "NO [NONEXISTENT] Invalid folder");
    };
    if (verb == "CAPABILITY") {
        say(std::string("* ") + kCapabilities + (isSignedIn_ ? "" : " SASL-IR AUTH=PLAIN AUTH=XOAUTH2"));
        return "OK Thats all she wrote!";
    }
    if (verb == "NOOP" || verb == "LOGOUT") return "OK Success";
    if (isOf(verb, words, "AUTHENTICATE", 2)) return authenticate(words);
    if (!isSignedIn_) return bad("not signed in");
    if (verb == "ID") {
        say("* ID (\"name\" \"GImap\" \"vendor\" \"Google, Inc.\")");
        return "OK Success";
    }
    if (verb == "NAMESPACE") {
        say("* NAMESPACE ((\"\" \"/\")) NIL NIL");
        return "OK Success";
    }
    if (isOf(verb, words, "LIST", 2)) {
        list();
        return "OK Success";
    }
    if (isOf(verb, words, "STATUS", 2)) return status(words);
    if (isOf(verb, words, "SELECT", 1)) return select(words, false);
    if (isOf(verb, words, "EXAMINE", 1)) return select(words, true);
    if (isOf(verb, words, "CREATE", 1))
        return hub_.mail.create(words[0].text) ? "OK Success" : "NO [ALREADYEXISTS] Duplicate";
    if (isOf(verb, words, "RENAME", 2)) return done(hub_.mail.rename(words[0].text, words[1].text));
    if (isOf(verb, words, "DELETE", 1)) return done(hub_.mail.remove(words[0].text));
    if (verb == "SUBSCRIBE" || verb == "UNSUBSCRIBE") return "OK Success";
    if (isOf(verb, words, "APPEND", 2)) return append(words);
    if (isOf(verb, words, "UID", 2)) return selected_.empty() ? bad("nothing is selected") : answerUid(words);
    return bad("unknown command");
}

std::string GmailConnection::authenticate(const Words& words) {
    const std::string given = base64EncodedString(std::string("\0ada\0analytical", 15));
    if (imapUppered(words[0].text) != "PLAIN") return bad("another mechanism than the account's");
    if (words[1].text != given) return "NO [AUTHENTICATIONFAILED] Invalid credentials (Failure)";
    isSignedIn_ = true;
    return "OK ada@example.org authenticated (Success)";
}

void GmailConnection::list() {
    say("* LIST (\\HasChildren \\NonExistent \\Subscribed) \"/\" \"[Gmail]\"");
    for (const auto& [name, mailbox] : hub_.mail.mailboxes)
        say("* LIST (\\HasNoChildren \\Subscribed" + (mailbox.use.empty() ? "" : " " + mailbox.use) + ") \"/\" " +
            imapQuoted(name));
}

std::string GmailConnection::status(const Words& words) {
    const auto found = hub_.mail.mailboxes.find(words[0].text);
    if (found == hub_.mail.mailboxes.end()) return "NO [NONEXISTENT] Unknown Mailbox";
    const auto& [name, mailbox] = *found;
    std::string facts;
    for (const Word& item : words[1].words) {
        const std::string wanted = imapUppered(item.text);
        std::uint64_t value = 0;
        if (wanted == "MESSAGES")
            value = mailbox.messages.size();
        else if (wanted == "UIDNEXT")
            value = mailbox.uidNext;
        else if (wanted == "UIDVALIDITY")
            value = mailbox.uidValidity;
        else if (wanted == "HIGHESTMODSEQ")
            value = hub_.mail.highestModSeq(name);
        else if (wanted == "UNSEEN")
            value = static_cast<std::uint64_t>(std::ranges::count_if(mailbox.messages, [&](const auto& entry) {
                return !hub_.mail.messages.at(entry.second).flags.contains("\\Seen");
            }));
        else
            return bad("unknown status item");
        facts += (facts.empty() ? "" : " ") + wanted + " " + std::to_string(value);
    }
    say("* STATUS " + imapQuoted(name) + " (" + facts + ")");
    return "OK Success";
}

std::string GmailConnection::select(const Words& words, bool isReadOnly) {
    selected_.clear();
    seen_.clear();
    if (words.size() > 2 ||
        (words.size() == 2 && (words[1].words.size() != 1 || imapUppered(words[1].words[0].text) != "CONDSTORE")))
        return bad("unknown parameter");
    const auto found = hub_.mail.mailboxes.find(words[0].text);
    if (found == hub_.mail.mailboxes.end()) return "NO [NONEXISTENT] Unknown Mailbox: " + words[0].text;
    const auto& [name, mailbox] = *found;
    selected_ = name;
    isReadOnly_ = isReadOnly;
    for (const auto& [uid, number] : mailbox.messages)
        seen_[uid] = hub_.mail.messages.at(number).modSeq;
    say(std::string("* FLAGS ") + kFlags);
    say(std::string("* OK [PERMANENTFLAGS ") + kFlags + "] Flags permitted.");
    say("* OK [UIDVALIDITY " + std::to_string(mailbox.uidValidity) + "] UIDs valid.");
    say("* " + std::to_string(mailbox.messages.size()) + " EXISTS");
    say("* 0 RECENT");
    say("* OK [UIDNEXT " + std::to_string(mailbox.uidNext) + "] Predicted next UID.");
    say("* OK [HIGHESTMODSEQ " + std::to_string(hub_.mail.highestModSeq(name)) + "]");
    return std::string("OK [") + (isReadOnly ? "READ-ONLY" : "READ-WRITE") + "] " + name + " selected. (Success)";
}

void GmailConnection::idle(const std::string& tag) {
    {
        const std::lock_guard guard(hub_.lock);
        say("+ idling");
        isIdle_ = true;
        tellChanges();
    }
    const auto line = socket_.readLine();
    const std::lock_guard guard(hub_.lock);
    isIdle_ = false;
    if (!line || imapUppered(line->substr(0, 4)) != "DONE")
        isOver_ = true;
    else
        say(tag + " OK IDLE terminated (Success)");
}

void GmailConnection::tellIfIdle() {
    if (isIdle_) tellChanges();
}

void GmailConnection::tellChanges() {
    if (selected_.empty()) return;
    const auto found = hub_.mail.mailboxes.find(selected_);
    if (found == hub_.mail.mailboxes.end()) return selected_.clear();
    const auto& messages = found->second.messages;
    for (auto each = seen_.begin(); each != seen_.end();) {
        if (messages.contains(each->first)) {
            ++each;
            continue;
        }
        say("* " + std::to_string(sequenceOf(each->first)) + " EXPUNGE");
        each = seen_.erase(each);
    }
    const std::size_t before = seen_.size();
    std::vector<std::uint32_t> changed;
    for (const auto& [uid, number] : messages) {
        const std::uint64_t now = hub_.mail.messages.at(number).modSeq;
        const auto [known, isNew] = seen_.emplace(uid, now);
        if (!isNew && known->second != now) changed.push_back(uid);
        known->second = now;
    }
    if (seen_.size() != before) say("* " + std::to_string(seen_.size()) + " EXISTS");
    for (const std::uint32_t uid : changed)
        say("* " + std::to_string(sequenceOf(uid)) + " FETCH (UID " + std::to_string(uid) + " FLAGS " + flagsOf(uid) +
            " MODSEQ (" + std::to_string(message(uid).modSeq) + "))");
}

}  // namespace qs
