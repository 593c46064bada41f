// The library itself. Its parts: LibraryCore.cpp and LibraryConversations.cpp answer questions, LibraryTree.cpp knows
// accounts and mailboxes, LibraryMailboxes.cpp makes, renames and removes these, LibraryChanges.cpp changes files and
// index together, LibraryMirror.cpp does so for what happened elsewhere, LibraryListed.cpp for messages of which only
// the header is here yet, LibraryGmail.cpp for labels, LibraryCopies.cpp for messages in several mailboxes.
// LibraryReading.cpp says when folders are read and in which order, LibraryScan.cpp reads one, LibraryTexts.cpp takes
// up the texts of many messages behind these, LibraryWatch.cpp hears of what other programs do.
//
// The files are the truth: every change is made to them first and to the index in the same breath, under the index's
// one write lock. When the index then fails, the change stands and the mailbox is read anew.
//
// Locks, in the order in which they may be taken: refreshing_, scanning_, the index, tree_, notices_, gone_,
// reading_'s.
#pragma once

#include <atomic>
#include <deque>
#include <map>
#include <mutex>
#include <set>

#include "Foundation/RunLoop.h"
#include "Library/Announcer.h"
#include "Library/FreshFiles.h"
#include "Library/Index.h"
#include "Library/IndexQuery.h"
#include "Library/LibraryObjects.h"
#include "Library/Lull.h"
#include "Library/MailFolderWatch.h"
#include "Library/ReadingState.h"
#include "MailReading.h"
#include "Maildir/MaildirFlags.h"
#include "MessageCopies.h"

namespace qs {

class GmailKeeper;

using LibraryMailboxRef = std::shared_ptr<LibraryMailbox>;

class LibraryCore final : public MailLibrary, public MailReading, public MessageCopies {
public:
    LibraryCore(std::filesystem::path dataFolder, std::shared_ptr<AccountBook> accounts, FileSystem& files);
    ~LibraryCore() override;
    // Opens what the index knows already. Fails when not even the folder of the mail can be made.
    Result<void> begin();

    // Library
    MessageList messagesMatchingCriterion(const MessageCriterion& criterion, unsigned options, int searchType) override;
    MessageRef messageWithLibraryID(std::int64_t libraryID) override { return messageWithID(libraryID); }
    MessageList messagesWithMessageIDHeader(std::string_view messageID) override;

    // MailReading
    bool isReadIn() const override { return reading_->isOver(); }
    void readIn() override;
    void whenReadIn(std::function<void()> done) override { reading_->whenOver(std::move(done)); }
    void waitUntilReadIn() override { reading_->waitUntilOver(); }
    void waitForTexts() override;
    void stopReading() override;
    ReadingProgress readingProgress(std::string_view account) const override { return reading_->progress(account); }
    bool readNow(std::string_view mailboxIdentifier) override;

    // MessageCopies
    std::int64_t shownRow(std::int64_t id) override;
    std::int64_t rowIn(const Mailbox& mailbox, std::int64_t id) override;
    void numbersAreKnown(Mailbox& mailbox, const std::vector<std::string>& names) override;

    // MailLibrary
    std::shared_ptr<LibraryStore> store() override { return store_; }
    std::vector<std::shared_ptr<MailAccount>> mailAccounts() override;
    ListPage page(const MessageCriterion& criterion, std::string_view search, int offset, int limit,
                  const ListPlace& known) override;
    SearchQuery searchQuery(std::string_view typed) override;
    std::vector<MessageSummary> conversation(std::int64_t id, int limit) override;
    std::vector<std::int64_t> ids(const MessageCriterion& criterion, std::string_view search, int limit) override;
    std::vector<ConversationFacts> conversationFacts(std::string_view mailbox,
                                                     const std::vector<std::int64_t>& conversations) override;
    std::vector<MessageSummary> conversationIn(std::string_view mailbox, std::int64_t conversation, int limit) override;
    std::vector<std::int64_t> idsInConversations(std::string_view mailbox,
                                                 const std::vector<std::int64_t>& conversations) override;
    int conversationsBetween(std::string_view mailbox, std::int64_t above, std::int64_t below) override;
    std::vector<ConversationLead> leads(std::string_view mailbox, int limit) override;
    MessageRef messageWithID(std::int64_t id) override;
    std::optional<MessageSummary> summary(std::int64_t id) override;
    Result<std::string> content(std::int64_t id) override;
    Result<std::shared_ptr<const OpenFile>> openContent(std::int64_t id) override;
    std::filesystem::path file(std::int64_t id) override;
    std::shared_ptr<Mailbox> mailboxWithIdentifier(std::string_view identifier) override;
    std::shared_ptr<Mailbox> mailbox(std::string_view account, MailboxKind kind, bool create) override;
    Result<std::shared_ptr<Mailbox>> createMailbox(std::string_view account, std::string_view name) override;
    std::vector<std::shared_ptr<Mailbox>> mailboxes(std::string_view account) override;
    bool isChangeable(const Mailbox& mailbox) override;
    std::vector<std::shared_ptr<Mailbox>> mailboxesBelow(const Mailbox& mailbox) override;
    Result<std::shared_ptr<Mailbox>> renameMailbox(const Mailbox& mailbox, std::string_view name) override;
    Result<void> removeMailbox(const Mailbox& mailbox) override;
    void accountsDidChange() override;
    Result<MessageRef> addFrom(Mailbox& mailbox, const ByteSource& content, MessageFlags flags, Date received,
                               std::string_view uniqueName) override;
    Result<void> setFlags(const std::vector<std::int64_t>& ids, const FlagChange& change) override;
    Result<void> move(const std::vector<std::int64_t>& ids, Mailbox& to) override;
    Result<void> erase(const std::vector<std::int64_t>& ids) override;
    Result<std::filesystem::path> claim(std::int64_t id, const std::filesystem::path& intoFolder) override;
    Result<void> addMirrored(Mailbox& mailbox, const std::vector<MirroredArrival>& messages, bool isNews) override;
    Result<void> setMirroredFlags(Mailbox& mailbox, const std::map<std::string, FlagBits>& flags) override;
    Result<void> dropMirrored(Mailbox& mailbox, const std::vector<std::string>& names) override;
    Result<void> listMirrored(Mailbox& mailbox, const std::vector<MirroredListing>& messages) override;
    std::map<std::string, Listed> listed(std::string_view account) override;
    void changeListed(std::string_view account, const std::map<std::string, int>& flags,
                      const std::vector<std::string>& gone) override;
    void setMirrorKeeper(std::shared_ptr<MirrorKeeper> keeper) override;
    void rescan(std::string_view mailboxIdentifier) override { readNow(mailboxIdentifier); }
    void watchFolders() override;
    std::vector<std::string> takeNotices() override;
    std::vector<std::string> completeAddress(std::string_view prefix, int limit) override;

    // For its host objects.
    struct Counts {
        int total = 0, unread = 0;
    };
    Counts counts(const LibraryMailbox& mailbox);
    // Also of a message that no list has any more.
    std::optional<MessageSummary> details(std::int64_t id);
    // With one statement what the messages' objects would otherwise ask for one by one.
    void readDetails(const MessageList& messages);
    Result<std::string> contentStart(std::int64_t id, std::size_t limit);
    FileSystem& files() const { return files_; }
    std::shared_ptr<LibraryStore> imapStore() const { return imapStore_; }
    bool isGmail(const std::string& account) const;
    bool isGmailLabel(const LibraryMailbox& mailbox) const;
    std::vector<std::shared_ptr<Mailbox>> gmailLabels(std::int64_t id, const LibraryMailbox& mailbox);
    // Of messages at Gmail, in any of the mailboxes that show them. Durable when it returns.
    Result<void> changeLabels(const std::vector<std::int64_t>& ids,
                              const std::vector<std::shared_ptr<LibraryMailbox>>& added,
                              const std::vector<std::shared_ptr<LibraryMailbox>>& taken);

private:
    struct Parsed;
    using KeywordsByFolder = std::map<std::int64_t, MaildirKeywords>;

    // Questions
    // What `ask` answers when it is given the index; an empty answer, and a log line, when the index fails.
    template <class Ask>
    auto reading(Ask ask) -> decltype(ask(std::declval<Database&>())) {
        try {
            const auto index = index_->read();
            return ask(*index);
        } catch (const DatabaseFailure& failure) {
            indexFailed(failure);
            return {};
        }
    }
    void indexFailed(const DatabaseFailure& failure);
    tl::unexpected<Error> indexFailure(const DatabaseFailure& failure);
    SqlSelection selectionOf(const MessageCriterion& criterion, std::string_view search);
    LibraryMessageRef messageFor(std::int64_t id, std::int64_t mailbox, int flags, Date received);
    LibraryMessageRef messageIn(Database& index, std::int64_t id);  // null: it has no row
    // Reads the message's file, under its new name when another program has renamed it.
    template <class Reader>
    auto read(std::int64_t id, Reader reader) -> decltype(reader(std::filesystem::path()));

    // The tree
    std::filesystem::path folderOfAccount(std::string_view account) const;
    // Takes up accounts and folders; answers the mailboxes that were not known before.
    std::vector<LibraryMailboxRef> refreshTree();
    void refreshAccount(const std::shared_ptr<LibraryAccount>& account, std::vector<LibraryMailboxRef>& found);
    void addOthersTree(const std::shared_ptr<LibraryAccount>& account, const std::filesystem::path& root,
                       std::vector<LibraryMailboxRef>& found);
    Result<LibraryMailboxRef> addMailbox(const std::shared_ptr<LibraryAccount>& account, const std::string& folder);
    LibraryMailboxRef mailboxNumbered(std::int64_t number) const;
    LibraryMailboxRef mailboxNamed(std::string_view identifier) const;
    std::shared_ptr<LibraryAccount> accountNamed(std::string_view identifier) const;
    std::vector<LibraryMailboxRef> allMailboxes() const;
    void forgetMailbox(const LibraryMailboxRef& mailbox);
    void putMailboxes(const std::vector<LibraryMailboxRef>& mailboxes);
    void takeUp(const LibraryMailboxRef& made);  // one that was made here: indexed, watched, told
    // Mailboxes made, renamed and removed by the person
    struct Renaming {
        LibraryMailboxRef mailbox;
        std::string folder;  // to be
    };
    // The mailbox and those below it, deepest last.
    std::vector<LibraryMailboxRef> withThoseBelow(const LibraryMailboxRef& mailbox) const;
    Result<LibraryMailboxRef> changeable(const Mailbox& mailbox) const;
    Result<std::string> freeFolder(std::string_view account, std::string_view name,
                                   const std::vector<LibraryMailboxRef>& except) const;
    Result<std::vector<Renaming>> renamings(const LibraryMailboxRef& mailbox, const std::string& folder) const;
    Result<void> renameFolders(const std::string& account, const std::vector<Renaming>& renamings);
    std::vector<LibraryMailboxRef> takeOver(const std::vector<Renaming>& renamings);
    Result<void> tellOfRemoval(const std::vector<LibraryMailboxRef>& mailboxes);
    void moveRows(const LibraryMailbox& from, const LibraryMailboxRef& to);
    void sweepRemovedFolders(const std::filesystem::path& account);

    // Changes
    MaildirKeywords& keywordsOf(KeywordsByFolder& known, const LibraryMailbox& mailbox);
    void sendFor(std::int64_t id);  // a message that is only listed
    // What one call changes on its way.
    struct Work {
        KeywordsByFolder keywords;
        std::set<std::filesystem::path> folders;  // to be synced
        std::map<std::int64_t, LibraryMailboxRef> changed;
        std::vector<std::int64_t> takenUp;  // messages that lay there and were not in the index
        // At Gmail: messages whose labels changed, by account, with those that left a mailbox.
        std::map<std::pair<std::string, std::uint64_t>, std::vector<MessageRef>> relabelled;
        std::optional<DatabaseFailure> indexFailure;
    };
    // Changes files and index in one go: the folders are synced, the index committed, and what changed is told. An
    // error of `change` is passed on, and what it did before stands.
    Result<void> changeFiles(const std::function<Result<void>(Database& index, Work& work)>& change);
    // Within such a change. It is the files that count: once the index has taken something amiss it is left alone, the
    // files go on, and the mailboxes are read anew.
    static void inIndex(Work& work, const std::function<void()>& change);
    void commit(Index::Writing& index, Work& work);
    Result<void> setFlagsOf(Database& index, const IndexedFile& row, const FlagChange& change, Work& work);
    Result<void> changeFlags(Database& index, const IndexedFile& row,
                             const std::function<MessageFlags(MessageFlags)>& changed, Work& work);
    // Must have succeeded before the messages go.
    Result<void> tellKeeper(const std::vector<IndexedFile>& rows);
    // Of messages that are only listed. All of them or none.
    Result<void> setFlagsOfListed(Database& index, const std::vector<IndexedFile>& rows, const FlagChange& change,
                                  Work& work);
    Result<std::int64_t> moveListed(Database& index, const IndexedFile& row, const LibraryMailbox& to, Work& work);
    struct Arrival;
    std::map<std::string, MirrorWish> wishesOf(const std::string& account);
    // All but those that nobody wants any more, each with the mailbox where it now belongs.
    std::vector<Arrival> wantedArrivals(const LibraryMailboxRef& box, const std::vector<MirroredArrival>& messages);
    Result<void> readLarge(Arrival& arrival);                              // one that has a file
    void readContents(std::vector<Arrival>& arrivals, tables::Text text);  // of those that have none
    static tables::Inserted insert(Database& index, Arrival& arrival, tables::Text text);
    Result<void> deliverArrivals(std::vector<Arrival>& arrivals);
    // What was wished for while the file was written.
    Result<void> followWish(Arrival& arrival, const MirrorWish& wish, Work& work);
    Result<void> eraseOne(Database& index, IndexedFile row, Work& work);
    // Renames or copies the file; the index follows. Answers the number in the new mailbox.
    Result<std::int64_t> moveOne(Database& index, const IndexedFile& row, const LibraryMailbox& to, Work& work);
    Result<std::string> copyAcross(const LibraryMailbox& from, const IndexedFile& row, const LibraryMailbox& to,
                                   const std::string& name, const std::string& letters);
    // A name under which the message can lie in the mailbox.
    Result<std::string> nameIn(Database& index, const LibraryMailbox& from, const IndexedFile& row,
                               const LibraryMailbox& to, bool& isThere, Work& work);
    Result<void> syncFolders(const Work& work);
    // After a change: to whoever shows these mailboxes, or, when the index failed, to be read anew soon.
    void announce(const Work& work);
    void rescanLater(const Work& work);
    // The row with the file's present name, when another program has renamed it; nothing when it is gone.
    std::optional<IndexedFile> foundAgain(Database& index, IndexedFile row, Work& work);
    // A living object of the message goes on telling what was known before its row goes or changes its number.
    void keepDetails(Database& index, std::int64_t id);

    // At Gmail
    std::shared_ptr<GmailKeeper> gmail() const;  // null: there is no such account
    std::uint64_t gmailMessage(const IndexedFile& row) const;
    std::vector<std::shared_ptr<Mailbox>> gmailLabels(const LibraryMailbox& mailbox, const std::string& name) const;
    // The rows of a message, the one to be shown first.
    std::vector<IndexedFile> gmailCopies(Database& index, const std::string& account, std::uint64_t message) const;
    // Of rows of that account that have come, or whose messages may have become known.
    void numberRows(Database& index, const std::string& account, const std::vector<IndexedFile>& rows, Work& work);
    // Before the row goes, or moves: lists of its copies' mailboxes will be others.
    void noteCopiesOf(Database& index, const IndexedFile& row, Work& work);
    // The row is gone; 0: so is the message, unless there are copies of it.
    void remember(const IndexedFile& gone, std::int64_t moved);
    std::int64_t shownCopy(const std::string& account, std::uint64_t message);  // 0: there is none here
    void noteLeaving(Database& index, const IndexedFile& row, Work& work);
    // Whether what has come is another copy of what was here before; then its labels have changed.
    bool noteCopy(const LibraryMailbox& mailbox, const std::string& name, bool isNews, Work& work);
    std::vector<IndexedFile> withGmailCopies(Database& index, std::vector<IndexedFile> rows) const;
    Result<void> labelOne(Database& index, const std::string& account, std::uint64_t message,
                          const std::vector<LibraryMailboxRef>& added, const std::vector<LibraryMailboxRef>& taken,
                          Work& work);
    // Of messages whose mailbox goes, those that lose but a label by that: it is ordered, and they are taken off the
    // list.
    Result<void> takeLabels(std::vector<IndexedFile>& rows);
    LibraryMailboxRef allMailOf(const std::string& account) const;
    Result<IndexedFile> copyForLabel(Database& index, const IndexedFile& source, const LibraryMailbox& to,
                                     std::uint64_t message, Work& work);
    Result<void> keepAmongAllMail(Database& index, const IndexedFile& row, const LibraryMailbox& all,
                                  std::uint64_t message, Work& work);
    // Does what can be done by labels, and answers the messages that are moved like any others.
    Result<std::vector<std::int64_t>> moveByLabels(const std::vector<std::int64_t>& ids, const LibraryMailboxRef& to);

    // Reading folders
    // Puts a piece of work into the queue that reads.
    void addJob(std::function<void()> job);
    // Their folders are looked at soon.
    void readSoon(const std::vector<LibraryMailboxRef>& mailboxes);
    void readAll(std::vector<LibraryMailboxRef> mailboxes);
    bool mayReadOn() const { return !reading_->isStopped() && !isRebuilding_; }
    // A mailbox whose folders have been compared with the index, and when these were changed before that.
    struct Compared {
        LibraryMailboxRef mailbox;
        std::optional<Date> cur, fresh;
    };
    // Brings the index in step with a mailbox's folders: other work comes in between the batches. False when not all
    // was read. For readAll() in two steps, which throw DatabaseFailure.
    bool scan(const LibraryMailboxRef& mailbox);
    std::optional<Compared> look(const LibraryMailboxRef& mailbox);
    void finish(const Compared& compared);
    bool isUnchanged(const LibraryMailbox& mailbox);
    bool isCurrent(const LibraryMailboxRef& mailbox) const;
    // The steps of a comparison, all on lists in the database. Answers whether rows were changed; nothing when the
    // folder could not be listed.
    std::optional<bool> compare(const LibraryMailbox& mailbox);
    Result<void> listFolder(const LibraryMailbox& mailbox, Database& index, std::vector<std::string>& twice);
    void settleTwice(const LibraryMailbox& mailbox, Database& index, const std::vector<std::string>& twice);
    bool dropMissing(const LibraryMailbox& mailbox, Database& index);
    bool takeRenamed(const LibraryMailbox& mailbox, Database& index);
    std::vector<NewFile> nextFresh(const LibraryMailbox& mailbox, const std::string& last, std::size_t limit);
    // Puts the messages into the index that are on the mailbox's list: all (false when it was stopped), or a first
    // batch of the newest.
    bool takeFresh(const LibraryMailboxRef& mailbox);
    void takeNewest(const LibraryMailboxRef& mailbox);
    // Reads the files; in the order of their dates. On any thread.
    std::vector<Parsed> parseAll(const LibraryMailbox& mailbox, const std::vector<NewFile>& files);
    std::optional<Parsed> parse(const LibraryMailbox& mailbox, const NewFile& file, const MaildirKeywords& keywords);
    // `files` are done with, whether they could be parsed or not.
    void indexParsed(const LibraryMailboxRef& mailbox, const std::vector<NewFile>& files,
                     const std::vector<Parsed>& parsed);
    tables::Inserted insert(Database& index, const LibraryMailbox& mailbox, const Parsed& parsed);

    // Texts of messages that came in great numbers
    static tables::Text textOf(std::size_t messages);  // of so many that come at once
    void readTextsSoon();
    struct TextRead;
    bool readTexts();  // false when none is left that can be read
    std::optional<MessageFacts> factsOfFile(std::int64_t id);
    std::size_t takeTexts(const std::vector<TextRead>& read);

    // A file without a row, as while the index is being made, gets one.
    std::optional<IndexedFile> takeUpStray(Database& index, const LibraryMailbox& mailbox, const NewFile& file,
                                           Work& work);

    // Other programs
    void foldersChanged(const MailFolderWatch::Changes& changes);
    // `names` of files that came or went; those that the index knows to be right cost one look at the disk.
    void filesChanged(const LibraryMailboxRef& mailbox, const std::set<std::string>& names);
    // Those of the files that have a row already get it set right and are taken off the list.
    bool takeRenamed(const LibraryMailbox& mailbox, std::vector<NewFile>& files);
    void treeChanged();
    void watch(const std::vector<LibraryMailboxRef>& mailboxes);
    void rebuild();
    void addNotice(std::string notice);

    const std::filesystem::path dataFolder_;
    const std::shared_ptr<AccountBook> book_;
    FileSystem& files_;
    const std::shared_ptr<LibraryStore> store_, imapStore_;
    const std::shared_ptr<MessageCache> cache_;
    const std::shared_ptr<Announcer> announcer_;
    std::mutex notices_;
    std::vector<std::string> noticeTexts_;
    std::unique_ptr<Index> index_;

    // What became of rows, as long as somebody may have them selected.
    struct Gone {
        std::int64_t moved = 0;
        std::int64_t account = 0;
        std::uint64_t gmail = 0;
    };
    std::mutex gone_;
    std::map<std::int64_t, Gone> goneRows_;
    std::deque<std::int64_t> goneOrder_;  // the oldest first

    std::mutex refreshing_;  // one at a time looks for accounts and folders
    mutable std::mutex tree_;
    std::vector<std::shared_ptr<LibraryAccount>> accounts_;
    std::map<std::int64_t, LibraryMailboxRef> mailboxes_;  // by number

    std::mutex scanning_;                     // a step of reading, or a renaming of folders
    std::atomic<bool> isRebuilding_ = false;  // or is to be
    std::atomic<std::shared_ptr<MirrorKeeper>> keeper_;
    std::unique_ptr<MailFolderWatch> watch_;
    const std::shared_ptr<ReadingState> reading_ = std::make_shared<ReadingState>();
    std::atomic<bool> isTextReadingAsked_ = false;
    Lull arrivals_;  // of messages, in great numbers
    // Last, so that they end first.
    OperationQueue textReader_{1, OperationQueue::Threads::Own};
    OperationQueue reader_{1, OperationQueue::Threads::Own};
};

}  // namespace qs
