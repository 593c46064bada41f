#include "Library/IndexTexts.h"

#include "Library/Index.h"
#include "Library/SearchText.h"
#include "Text/CaseFolding.h"

namespace qs::texts {

namespace {

// Texts of the header as rows have them, which is what takes them out of the fragments again.
struct HeaderTexts {
    std::string subject, sender, recipients;
};

void putFragments(Database& index, std::int64_t seq, const HeaderTexts& texts) {
    index.run("INSERT INTO fragments(rowid, subject, sender, recipients) VALUES(?, ?, ?, ?)",
              {seq, foldedCase(texts.subject), foldedCase(texts.sender), foldedCase(texts.recipients)});
}

void putWords(Database& index, std::int64_t seq, const HeaderTexts& texts, const std::string& allRecipients,
              const std::string& body) {
    index.run("INSERT INTO words(rowid, subject, sender, recipients, body) VALUES(?, ?, ?, ?, ?)",
              {seq, wordsApart(texts.subject), wordsApart(texts.sender), wordsApart(allRecipients), wordsApart(body)});
}

void putBody(Database& index, std::int64_t seq, const std::string& body) {
    index.run("UPDATE words SET body = ? WHERE rowid = ?", {wordsApart(body), seq});
}

void forget(Database& index, std::int64_t seq) { index.run("DELETE FROM texts_to_come WHERE seq = ?", {seq}); }

}  // namespace

void put(Database& index, std::int64_t seq, const MessageFacts& facts) {
    const HeaderTexts texts{facts.subject, facts.sender, facts.recipients};
    putFragments(index, seq, texts);
    putWords(index, seq, texts, facts.allRecipients, facts.body);
}

void putLater(Database& index, std::int64_t seq, const MessageFacts& facts) {
    index.run("INSERT INTO texts_to_come(seq, recipients) VALUES(?, ?)", {seq, facts.allRecipients});
}

void fill(Database& index, std::int64_t seq, const MessageFacts& facts) {
    if (isToCome(index, seq))
        putWhatWasToCome(index, seq, &facts);
    else
        putBody(index, seq, facts.body);
}

void fillLater(Database& index, std::int64_t seq) {
    index.run("INSERT OR IGNORE INTO texts_to_come(seq, recipients) VALUES(?, NULL)", {seq});
}

std::vector<IndexedFile> toCome(Database& index, std::size_t most) {
    std::vector<IndexedFile> found;
    for (const char* const whose : {"m.file != ''", "m.file = ''"}) {
        Query row = index.query("SELECT " + tables::fileColumns("m.") +
                                    " FROM texts_to_come t CROSS JOIN messages m ON m.seq = t.seq WHERE " + whose +
                                    " ORDER BY t.seq DESC LIMIT ?",
                                {static_cast<std::int64_t>(most)});
        while (row.step())
            found.push_back(tables::fileFrom(row));
        if (!found.empty()) break;
    }
    return found;
}

bool areVeryMany(Database& index) {
    return index.integer("SELECT count(*) FROM (SELECT 1 FROM texts_to_come LIMIT ?)", {kVeryManyMessages}) ==
           kVeryManyMessages;
}

bool isToCome(Database& index, std::int64_t seq) {
    return index.integer("SELECT count(*) FROM texts_to_come WHERE seq = ?", {seq}) != 0;
}

void putWhatWasToCome(Database& index, std::int64_t seq, const MessageFacts* facts) {
    HeaderTexts texts;
    std::optional<std::string> recipients;
    {
        Query row = index.query("SELECT m.subject, m.sender, m.recipients, t.recipients FROM texts_to_come t "
                                "CROSS JOIN messages m ON m.seq = t.seq WHERE t.seq = ?",
                                {seq});
        if (!row.step()) return;
        texts = {row.text(0), row.text(1), row.text(2)};
        if (!row.isNull(3)) recipients = row.text(3);
    }
    const std::string body = facts ? facts->body : std::string();
    if (recipients) {
        putFragments(index, seq, texts);
        putWords(index, seq, texts, *recipients, body);
    } else if (facts) {
        putBody(index, seq, body);
    }
    forget(index, seq);
}

}  // namespace qs::texts
