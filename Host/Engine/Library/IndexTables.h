// The rows of the index: putting messages in, changing and reading them. Plain functions over a connection; none of
// them touches a file of mail. Throws DatabaseFailure.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Database/Database.h"
#include "Foundation/Date.h"
#include "Library/MessageFacts.h"
#include "MailLibrary.h"

namespace qs {

// Numbers are made from names, so that they mean the same after the index was lost. They fit into a double, as the page
// needs it.
std::int64_t accountNumber(std::string_view identifier);
std::int64_t mailboxNumber(std::string_view identifier);
std::int64_t messageNumber(std::string_view mailboxIdentifier, std::string_view unique, int attempt);
std::int64_t conversationNumber(std::string_view messageID);

// Where a message lies and what its name says.
struct IndexedFile {
    std::int64_t seq = 0, id = 0, mailbox = 0;
    std::string name;  // the unique part
    std::string file;  // relative to the Maildir; empty while it is still at a server
    int flags = 0;     // packed
    Date delivered;
    std::optional<Date> sent;
    std::uint64_t gmail = 0;  // Gmail's number of the message, as far as it is known here

    bool isOnlyListed() const { return file.empty(); }
};

// A mailbox as the index needs to know it.
struct IndexedMailbox {
    std::int64_t number = 0, account = 0;
    std::string identifier, place;  // place: IndexCopies.h
    bool showsSendDate = false;     // outbox and drafts: sorted by the Date header
    bool remembersAddresses = true;
};

namespace tables {

void putMailbox(Database& index, const IndexedMailbox& mailbox, std::string_view account);
void removeMailbox(Database& index, std::int64_t number);  // with its messages
// Removes all mailboxes but these.
void keepOnlyMailboxes(Database& index, const std::vector<std::int64_t>& numbers);

// Answers the new row, or the existing one (unchanged) when the mailbox has a message of that name. With an empty file
// the message is only listed; the call with its file then fills the row in, which counts as new once more.
struct Inserted {
    IndexedFile row;
    bool isNew = false;
};
// When its text goes into the index: later, for many at once, which are found and show their beginnings only then.
// `facts` need only be those of the header in this case.
enum class Text { Now, Later };
Inserted insert(Database& index, const IndexedMailbox& mailbox, const std::string& name, const std::string& file,
                int flags, Date delivered, std::uint64_t size, const MessageFacts& facts, Text text = Text::Now);
// As far as the message has a row already: gives it its file, if it was only listed. Without `facts`, what the file
// holds is taken up later. Nothing when there is no row.
std::optional<Inserted> putFile(Database& index, const IndexedMailbox& mailbox, const std::string& name,
                                const std::string& file, int flags, std::uint64_t size, const MessageFacts* facts);
// Puts in what is still to come of a message's text; of one that is only listed, without facts, the header's.
void takeText(Database& index, const IndexedMailbox& mailbox, const IndexedFile& row, const MessageFacts* facts);
void setFile(Database& index, std::int64_t seq, const std::string& file, int flags);
// Gives the message its number in the other mailbox and answers it. One at Gmail is, in another account, any other.
std::int64_t setMailbox(Database& index, const IndexedFile& row, const IndexedMailbox& to, const std::string& name,
                        const std::string& file, int flags);
void remove(Database& index, std::int64_t seq);

std::string fileColumns(const std::string& table = {});  // `table` with a dot
IndexedFile fileFrom(const Query& row);
std::optional<IndexedFile> find(Database& index, std::int64_t id);
std::vector<IndexedFile> filesOf(Database& index, std::int64_t mailbox);
std::optional<IndexedFile> findByName(Database& index, std::int64_t mailbox, const std::string& name);

// The columns of a summary; `messages` must be called m in the statement.
std::string summaryColumns();
MessageSummary summaryFrom(const Query& row);

std::vector<std::string> completeAddress(Database& index, std::string_view prefix, int limit);

}  // namespace tables

}  // namespace qs
