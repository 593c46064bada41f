#include "Library/IndexTables.h"

#include <unicode/uchar.h>

#include <algorithm>

#include "Library/ConversationLeads.h"
#include "Library/Conversations.h"
#include "Library/IndexCopies.h"
#include "Library/IndexTexts.h"
#include "Library/ListKey.h"
#include "Library/SearchText.h"
#include "Maildir/MaildirFlags.h"
#include "Text/CaseFolding.h"
#include "Text/Digests.h"
#include "Text/MailAddresses.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

constexpr int kNumberBits = 53;
constexpr std::size_t kLongestAddressWord = 60, kMostAddressWords = 8;

std::int64_t numberFrom(const std::string& text) {
    const std::string digest = SHA256Digest(text);
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < 8; ++i)
        number = number << 8 | static_cast<unsigned char>(digest[i]);
    number >>= 64 - kNumberBits;
    return static_cast<std::int64_t>(std::max<std::uint64_t>(number, 1));
}

double shownDate(const IndexedMailbox& mailbox, Date delivered, std::optional<Date> sent) {
    return (mailbox.showsSendDate ? sent.value_or(delivered) : delivered).secondsSince1970;
}

// A number that no other message has. Two names with the same number are all but impossible; the later one then gets
// another, which depends on the order.
std::int64_t freeNumber(Database& index, std::string_view mailbox, std::string_view name) {
    for (int attempt = 0;; ++attempt) {
        const std::int64_t id = messageNumber(mailbox, name, attempt);
        if (index.integer("SELECT count(*) FROM messages WHERE id = ?", {id}) == 0) return id;
    }
}

// Behind the messages of the same date.
std::int64_t freeKey(Database& index, double received) {
    for (std::int64_t first = firstKeyAt({received});; first += kKeysPerTick) {
        const std::int64_t last =
            index.integer("SELECT max(seq) FROM messages WHERE seq >= ? AND seq < ?", {first, first + kKeysPerTick});
        if (last == 0) return std::max<std::int64_t>(first, 1);
        if (last + 1 < first + kKeysPerTick) return last + 1;
    }
}

// The places from which a typed prefix may match: each word of the name with what follows, and the address.
std::vector<std::string> wordsOf(const MailAddress& address) {
    std::vector<std::string> words{foldedCase(address.address).substr(0, kLongestAddressWord)};
    const std::string name = foldedCase(address.name);
    bool isInWord = false;
    for (std::size_t i = 0; i < name.size() && words.size() < kMostAddressWords;) {
        const std::string_view rest = std::string_view(name).substr(i);
        const bool isLetter = u_isalnum(static_cast<UChar32>(firstUtf8Character(rest))) != 0;
        if (isLetter && !isInWord) words.push_back(singleLine(rest, kLongestAddressWord));
        isInWord = isLetter;
        i += std::max<std::size_t>(utf8CharacterLength(rest), 1);
    }
    return words;
}

void rememberAddress(Database& index, const MailAddress& address, double when) {
    if (!isDeliverableAddress(address.address)) return;
    const std::string key = foldedCase(address.address);
    const std::string display = address.display();
    std::int64_t number = 0;
    bool isKnownSo = false;
    if (Query row = index.query("SELECT number, display FROM addresses WHERE address = ?", {key}); row.step()) {
        number = row.integer(0);
        isKnownSo = address.name.empty() || row.text(1) == display;
    }
    if (number == 0) {
        index.run("INSERT INTO addresses(address, display, uses, last) VALUES(?, ?, 1, ?)", {key, display, when});
        number = index.integer("SELECT last_insert_rowid()");
    } else {
        index.run("UPDATE addresses SET uses = uses + 1, display = CASE WHEN ?3 >= last AND ?4 THEN ?2 ELSE display "
                  "END, last = max(last, ?3) WHERE number = ?1",
                  {number, display, when, std::int64_t{address.name.empty() ? 0 : 1}});
    }
    if (isKnownSo) return;
    for (const std::string& word : wordsOf(address))
        index.run("INSERT OR IGNORE INTO address_words(word, number) VALUES(?, ?)", {word, number});
}

void rememberAddresses(Database& index, const IndexedMailbox& mailbox, const MessageFacts& facts, Date delivered) {
    if (!mailbox.remembersAddresses) return;
    for (const MailAddress& each : facts.correspondents)
        rememberAddress(index, each, delivered.secondsSince1970);
}

// What only the whole message tells. What its header told stays.
void putContents(Database& index, const IndexedMailbox& mailbox, const IndexedFile& row, const MessageFacts& facts) {
    index.run("UPDATE OR FAIL messages SET snippet = ?, attachments = ?, damage = ? WHERE seq = ?",
              {facts.snippet, std::int64_t{facts.attachments}, facts.damage, row.seq});
    rememberAddresses(index, mailbox, facts, row.delivered);
}

// The file of a message has come that was only listed.
void fill(Database& index, const IndexedMailbox& mailbox, IndexedFile& row, const std::string& file, int flags,
          std::uint64_t size, const MessageFacts* facts) {
    row.file = file;
    row.flags = flags;
    index.run("UPDATE OR FAIL messages SET file = ?, flags = ?, size = ? WHERE seq = ?",
              {file, std::int64_t{flags}, static_cast<std::int64_t>(size), row.seq});
    if (!facts) return texts::fillLater(index, row.seq);
    putContents(index, mailbox, row, *facts);
    texts::fill(index, row.seq, *facts);
}

}  // namespace

std::int64_t accountNumber(std::string_view identifier) { return numberFrom("account\n" + std::string(identifier)); }

std::int64_t mailboxNumber(std::string_view identifier) { return numberFrom("mailbox\n" + std::string(identifier)); }

std::int64_t messageNumber(std::string_view mailboxIdentifier, std::string_view unique, int attempt) {
    std::string text = std::string(mailboxIdentifier) + "\n" + std::string(unique);
    if (attempt > 0) text += "\n" + std::to_string(attempt);
    return numberFrom(text);
}

std::int64_t conversationNumber(std::string_view messageID) {
    return numberFrom("conversation\n" + std::string(messageID));
}

namespace tables {

void putMailbox(Database& index, const IndexedMailbox& mailbox, std::string_view account) {
    index.run("INSERT OR IGNORE INTO mailboxes(number, identifier, account, place) VALUES(?, ?, ?, ?)",
              {mailbox.number, mailbox.identifier, std::string(account), mailbox.place});
}

void removeMailbox(Database& index, std::int64_t number) {
    std::vector<std::pair<std::int64_t, std::uint64_t>> copied;
    for (Query row = index.query("SELECT account, gmail FROM messages WHERE mailbox = ? AND gmail != 0", {number});
         row.step();)
        copied.emplace_back(row.integer(0), static_cast<std::uint64_t>(row.integer(1)));
    index.run("DELETE FROM messages WHERE mailbox = ?", {number});
    index.run("DELETE FROM leading WHERE mailbox = ?", {number});
    index.run("DELETE FROM mailboxes WHERE number = ?", {number});
    for (const auto& [account, message] : copied)
        copies::settle(index, account, message);
}

void keepOnlyMailboxes(Database& index, const std::vector<std::int64_t>& numbers) {
    std::vector<std::int64_t> gone;
    for (Query row = index.query("SELECT number FROM mailboxes"); row.step();)
        if (std::find(numbers.begin(), numbers.end(), row.integer()) == numbers.end()) gone.push_back(row.integer());
    for (const std::int64_t number : gone)
        removeMailbox(index, number);
}

std::string fileColumns(const std::string& table) {
    std::string columns;
    for (const char* column : {"seq", "id", "mailbox", "name", "file", "flags", "delivered", "sent", "gmail"})
        columns += (columns.empty() ? "" : ", ") + table + column;
    return columns;
}

IndexedFile fileFrom(const Query& row) {
    IndexedFile file{row.integer(0),
                     row.integer(1),
                     row.integer(2),
                     row.text(3),
                     row.text(4),
                     static_cast<int>(row.integer(5)),
                     Date{row.real(6)},
                     {},
                     static_cast<std::uint64_t>(row.integer(8))};
    if (row.real(7) > 0) file.sent = Date{row.real(7)};
    return file;
}

std::optional<Inserted> putFile(Database& index, const IndexedMailbox& mailbox, const std::string& name,
                                const std::string& file, int flags, std::uint64_t size, const MessageFacts* facts) {
    auto known = findByName(index, mailbox.number, name);
    if (!known) return {};
    const bool isFilled = known->isOnlyListed() && !file.empty();
    if (isFilled) fill(index, mailbox, *known, file, flags, size, facts);
    return Inserted{std::move(*known), isFilled};
}

Inserted insert(Database& index, const IndexedMailbox& mailbox, const std::string& name, const std::string& file,
                int flags, Date delivered, std::uint64_t size, const MessageFacts& facts, Text text) {
    const bool isTextNow = text == Text::Now;
    if (auto known = putFile(index, mailbox, name, file, flags, size, isTextNow ? &facts : nullptr)) return *known;
    const std::int64_t id = freeNumber(index, mailbox.identifier, name);
    const double shown = shownDate(mailbox, delivered, facts.sent);
    const double sent = facts.sent.value_or(Date{}).secondsSince1970;
    const std::int64_t conversation = takeIntoConversation(index, facts, id);
    const std::int64_t seq = freeKey(index, shown);
    leads::take(index, conversation, mailbox.number, seq);
    index.run("INSERT OR FAIL INTO messages(seq, id, mailbox, account, name, file, flags, message_id, unique_id, "
              "conversation, "
              "sender, recipients, subject, received, delivered, sent, snippet, attachments, size, priority, damage) "
              "VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
              {seq,
               id,
               mailbox.number,
               mailbox.account,
               name,
               file,
               std::int64_t{flags},
               facts.messageID,
               facts.uniqueID,
               conversation,
               facts.sender,
               facts.recipients,
               facts.subject,
               shown,
               delivered.secondsSince1970,
               sent,
               facts.snippet,
               std::int64_t{facts.attachments},
               static_cast<std::int64_t>(size),
               std::int64_t{facts.priority},
               facts.damage});
    if (isTextNow) texts::put(index, seq, facts);
    if (!isTextNow) texts::putLater(index, seq, facts);
    if (isTextNow && !file.empty()) rememberAddresses(index, mailbox, facts, delivered);
    return {{seq, id, mailbox.number, name, file, flags, delivered, facts.sent, 0}, true};
}

void takeText(Database& index, const IndexedMailbox& mailbox, const IndexedFile& row, const MessageFacts* facts) {
    if (facts) putContents(index, mailbox, row, *facts);
    texts::putWhatWasToCome(index, row.seq, facts);
}

void setFile(Database& index, std::int64_t seq, const std::string& file, int flags) {
    index.run("UPDATE OR FAIL messages SET file = ?, flags = ? WHERE seq = ?", {file, std::int64_t{flags}, seq});
}

std::int64_t setMailbox(Database& index, const IndexedFile& row, const IndexedMailbox& to, const std::string& name,
                        const std::string& file, int flags) {
    const std::int64_t id = freeNumber(index, to.identifier, name);
    const double shown = shownDate(to, row.delivered, row.sent);
    const std::int64_t first = firstKeyAt({shown});
    const bool isSamePlace = row.seq >= first && row.seq < first + kKeysPerTick;
    const std::int64_t seq = isSamePlace ? row.seq : freeKey(index, shown);
    if (!isSamePlace) {
        index.run("INSERT INTO words(rowid, subject, sender, recipients, body) "
                  "SELECT ?, subject, sender, recipients, body FROM words WHERE rowid = ?",
                  {seq, row.seq});
        index.run("DELETE FROM words WHERE rowid = ?", {row.seq});
    }
    const std::int64_t conversation = index.integer("SELECT conversation FROM messages WHERE seq = ?", {row.seq});
    const std::int64_t account = index.integer("SELECT account FROM messages WHERE seq = ?", {row.seq});
    const std::uint64_t gmail = account == to.account ? row.gmail : 0;
    const bool led = leads::giveUp(index, row.mailbox, row.seq);
    leads::take(index, conversation, to.number, seq);
    index.run("UPDATE messages SET seq = ?, id = ?, mailbox = ?, account = ?, gmail = ?, copy = 0, name = ?, "
              "file = ?, flags = ?, received = ? WHERE seq = ?",
              {seq, id, to.number, to.account, static_cast<std::int64_t>(gmail), name, file, std::int64_t{flags}, shown,
               row.seq});
    if (led) leads::passOn(index, conversation, row.mailbox);
    copies::settle(index, account, row.gmail);
    return id;
}

void remove(Database& index, std::int64_t seq) {
    std::int64_t conversation = 0, mailbox = 0, account = 0;
    std::uint64_t gmail = 0;
    if (Query row = index.query("SELECT conversation, mailbox, account, gmail FROM messages WHERE seq = ?", {seq});
        row.step()) {
        conversation = row.integer(0);
        mailbox = row.integer(1);
        account = row.integer(2);
        gmail = static_cast<std::uint64_t>(row.integer(3));
    }
    index.run("DELETE FROM messages WHERE seq = ?", {seq});
    if (leads::giveUp(index, mailbox, seq)) leads::passOn(index, conversation, mailbox);
    copies::settle(index, account, gmail);
}

std::optional<IndexedFile> find(Database& index, std::int64_t id) {
    Query row = index.query("SELECT " + fileColumns() + " FROM messages WHERE id = ?", {id});
    if (!row.step()) return {};
    return fileFrom(row);
}

std::vector<IndexedFile> filesOf(Database& index, std::int64_t mailbox) {
    std::vector<IndexedFile> all;
    Query row = index.query("SELECT " + fileColumns() + " FROM messages WHERE mailbox = ?", {mailbox});
    while (row.step())
        all.push_back(fileFrom(row));
    return all;
}

std::optional<IndexedFile> findByName(Database& index, std::int64_t mailbox, const std::string& name) {
    Query row =
        index.query("SELECT " + fileColumns() + " FROM messages WHERE mailbox = ? AND name = ?", {mailbox, name});
    if (!row.step()) return {};
    return fileFrom(row);
}

std::string summaryColumns() {
    return "m.id, (SELECT identifier FROM mailboxes WHERE number = m.mailbox), m.message_id, m.unique_id, m.sender, "
           "m.recipients, m.subject, m.snippet, m.received, m.sent, m.flags, m.attachments, m.size, m.damage, "
           "m.priority, m.seq, m.conversation, m.file != ''";
}

MessageSummary summaryFrom(const Query& row) {
    MessageSummary summary;
    summary.id = row.integer(0);
    summary.mailbox = row.text(1);
    summary.messageID = row.text(2);
    summary.uniqueID = row.text(3);
    summary.from = row.text(4);
    summary.to = row.text(5);
    summary.subject = row.text(6);
    summary.snippet = row.text(7);
    summary.received = {row.real(8)};
    summary.sent = {row.real(9) > 0 ? row.real(9) : row.real(8)};
    summary.flags = unpackedFlags(static_cast<int>(row.integer(10)));
    summary.attachments = static_cast<int>(row.integer(11));
    summary.size = static_cast<std::uint64_t>(row.integer(12));
    summary.damage = row.text(13);
    summary.priority = static_cast<int>(row.integer(14));
    summary.key = row.integer(15);
    summary.conversation = row.integer(16);
    summary.isFetched = row.integer(17) != 0;
    return summary;
}

std::vector<std::string> completeAddress(Database& index, std::string_view prefix, int limit) {
    std::vector<std::string> found;
    const std::string from = foldedCase(singleLine(prefix, kLongestAddressWord));
    if (from.empty() || limit <= 0) return found;
    Query row = index.query("SELECT a.display FROM addresses a WHERE a.number IN "
                            "(SELECT number FROM address_words WHERE word >= ?1 AND word < ?1 || char(1114111)) "
                            "ORDER BY a.uses DESC, a.last DESC, a.address LIMIT ?2",
                            {from, std::int64_t{limit}});
    while (row.step())
        found.push_back(row.text());
    return found;
}

}  // namespace tables

}  // namespace qs
