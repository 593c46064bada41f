// The library: every message of every mailbox, indexed in SQLite over the Maildir trees. The files are the truth, the
// index is derived and rebuilt when it is missing, damaged or out of step.
//
// Safe from every thread. Calls block but are quick, but for rescan(). How folders are read: MailReading.h. Changes are
// announced on the main thread: "MailLibraryDidChange" on the default notification centre (user info "mailboxes": array
// of identifiers), coalesced per turn of the run loop, and arrivals through library_store::messagesWereAdded.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/ByteSource.h"
#include "Foundation/Date.h"
#include "Foundation/Result.h"
#include "Library/SearchQuery.h"
#include "Mail/Library.h"
#include "Mail/Mailbox.h"
#include "Mail/Message.h"
#include "MailboxConversations.h"

namespace qs {

class AccountBook;
class FileSystem;
class MailAccount;
class OpenFile;

inline constexpr std::string_view MailLibraryDidChangeNotification = "MailLibraryDidChange";
// Posted by the library store's own code for arrivals, so not when a plug-in keeps the call to itself. Main thread;
// object: the library store; user info: "messages" (array of ids), "duringOpen".
inline constexpr std::string_view MailLibraryMessagesWereAddedNotification = "MailLibraryMessagesWereAdded";

// Posted by an account that is to be brought into step with its server soon. Object: the account.
inline constexpr std::string_view MailAccountWantsCleanupNotification = "MailAccountWantsCleanup";

// Errors of the library itself. Those of the disk come as they are, in the file system's domain.
inline constexpr std::string_view kMailLibraryErrorDomain = "MailLibrary";
enum MailLibraryErrorCode {
    kMailLibraryNotFound = 1,     // the message, mailbox or account is not there, or not any more
    kMailLibraryInvalidName = 2,  // cannot be the name of a mailbox or a file
    kMailLibraryFull = 3,         // no room for another keyword in a mailbox
    kMailLibraryIndex = 4,        // the index cannot be written
    kMailLibraryExists = 5,       // there is such a mailbox already
    kMailLibraryNotFetched = 6,   // the message is only listed yet; its file is still at the server
};

// One row of a list, without touching the message's file.
struct MessageSummary {
    std::int64_t id = 0;
    std::string mailbox;  // identifier
    std::string messageID, uniqueID, from, to, subject, snippet;
    Date received, sent;
    MessageFlags flags;
    int attachments = 0, priority = 3;
    std::uint64_t size = 0;
    std::string damage;             // a sentence when the message can be read only in part or not at all; else empty
    std::int64_t key = 0;           // its place among the rows of any list; for ListPlace
    std::int64_t conversation = 0;  // changes when two conversations turn out to be one
    // False: its file is still at the server, and nothing is known but its header. Flags, moves within the account and
    // removals work all the same.
    bool isFetched = true;
};

struct ListPage {
    // How many there are. A search counts no further than some thousand rows behind the page, and then says so.
    int total = 0;
    bool hasMore = false;
    std::vector<MessageSummary> rows;
};

// A row whose place in a list is known from an earlier page. Reading on from it is quick however long the list is.
struct ListPlace {
    int row = 0;
    std::int64_t key = 0;  // 0: none
};

// What changes in flags; what is not set stays.
struct FlagChange {
    std::optional<bool> seen, answered, flagged, draft, deleted, forwarded, junk;
    std::optional<int> colour;
};

// A message of which another place holds the original, by the unique part of its file's name.
struct MirroredArrival {
    std::string name;
    std::string_view content;
    MessageFlags flags;
    Date received;
    // Instead of the content, of a large one: its file, synced, in the tmp/ of a mailbox of the account. If the message
    // is added, it is moved.
    std::filesystem::path file = {};
};
// One whose file will come later, as far as its header tells.
struct MirroredListing {
    std::string name;
    std::string_view header;
    MessageFlags flags;
    Date received;
};
// As one number, as MaildirFlags.h packs them: those to be set, and those to be taken away.
struct FlagBits {
    int set = 0, clear = 0;
};
// What was done here to a message whose file is not here yet. It is done to the file when that comes.
struct MirrorWish {
    FlagBits flags;
    std::optional<std::string> folder;  // moved there
    bool isRemoved = false;
    friend bool operator==(const MirrorWish& a, const MirrorWish& b) {
        return a.flags.set == b.flags.set && a.flags.clear == b.flags.clear && a.folder == b.folder &&
               a.isRemoved == b.isRemoved;
    }
};

// Whoever keeps accounts in step with another place: remembers what no file here can tell. Called on any thread, with
// the library waiting: must not ask it. Folders go without the "." in front, messages by the unique part of the name.
//
// The will… calls come before something is done: durable when they return; when they fail nothing is changed.
class MirrorKeeper {
public:
    virtual ~MirrorKeeper() = default;
    struct Message {
        std::string account, folder, name;
    };
    // Messages leave an account for good, erased or moved to another account.
    virtual Result<void> willRemove(const std::vector<Message>& messages) = 0;
    // Something is done to messages that are only listed.
    virtual Result<void> willChange(const std::vector<std::pair<Message, MirrorWish>>& changes) = 0;
    struct Renaming {
        std::string from, to;
    };
    virtual Result<void> willRename(const std::string& account, const std::vector<Renaming>& folders) = 0;
    // With all that is in them.
    virtual Result<void> willRemoveFolders(const std::string& account, const std::vector<std::string>& folders) = 0;
    // Of all messages of the account that are only listed, by name.
    virtual std::map<std::string, MirrorWish> wishes(const std::string& account) = 0;
    // Somebody wants to read it now. Returns at once.
    virtual void isWanted(const std::string& account, const std::string& name) = 0;
};

class MailLibrary : public Library, public MailboxConversations {
public:
    using Library::Library;
    static Result<std::shared_ptr<MailLibrary>> open(const std::filesystem::path& dataFolder,
                                                     std::shared_ptr<AccountBook> accounts, FileSystem& files);

    // The store that is asked when messages came, and the accounts as host objects (the same ones on every call).
    virtual std::shared_ptr<LibraryStore> store() = 0;
    virtual std::vector<std::shared_ptr<MailAccount>> mailAccounts() = 0;

    // Newest first. `search` is what the person typed (SearchQuery.h). `known` must be of the same list, and of its
    // present state; else the page begins a few rows away.
    virtual ListPage page(const MessageCriterion& criterion, std::string_view search, int offset, int limit,
                          const ListPlace& known = {}) = 0;
    // What the person typed, as a criterion.
    virtual SearchQuery searchQuery(std::string_view typed) = 0;
    // The messages that belong together with this one (References, In-Reply-To), itself included, oldest first; of
    // more than `limit` the newest. Empty when the message is gone.
    virtual std::vector<MessageSummary> conversation(std::int64_t id, int limit) = 0;
    // All that match, newest first; at most `limit`.
    virtual std::vector<std::int64_t> ids(const MessageCriterion& criterion, std::string_view search, int limit) = 0;
    virtual MessageRef messageWithID(std::int64_t id) = 0;  // null when it is gone
    virtual std::optional<MessageSummary> summary(std::int64_t id) = 0;
    // The octets as they lie in the Maildir. Of a message that is only listed: NotFetched, and it is sent for at once.
    virtual Result<std::string> content(std::int64_t id) = 0;
    // The same for messages of any size.
    virtual Result<std::shared_ptr<const OpenFile>> openContent(std::int64_t id) = 0;
    virtual std::filesystem::path file(std::int64_t id) = 0;  // empty when it is gone

    virtual std::shared_ptr<Mailbox> mailboxWithIdentifier(std::string_view identifier) = 0;
    virtual std::shared_ptr<Mailbox> mailbox(std::string_view account, MailboxKind kind, bool create) = 0;
    virtual Result<std::shared_ptr<Mailbox>> createMailbox(std::string_view account, std::string_view name) = 0;
    virtual std::vector<std::shared_ptr<Mailbox>> mailboxes(std::string_view account) = 0;  // special ones first
    // Whether the person may rename and remove it: not the special ones, and none that other programs keep.
    virtual bool isChangeable(const Mailbox& mailbox) = 0;
    virtual std::vector<std::shared_ptr<Mailbox>> mailboxesBelow(const Mailbox& mailbox) = 0;  // on all levels
    // Gives it another name or place: levels parted by "/". Those below it come along. All of them get new identifiers,
    // their messages new ids; answers the mailbox as it is now. Durable when it returns.
    virtual Result<std::shared_ptr<Mailbox>> renameMailbox(const Mailbox& mailbox, std::string_view name) = 0;
    // For good, with its messages and all that is below it. Durable when it returns.
    virtual Result<void> removeMailbox(const Mailbox& mailbox) = 0;
    // After the account book changed.
    virtual void accountsDidChange() = 0;

    // Durable when it returns. `uniqueName`, if given, makes a second add of the same name to the same mailbox (also
    // after a crash, also if the first has meanwhile been flagged) find the first instead of adding another.
    Result<MessageRef> add(Mailbox& mailbox, std::string_view content, MessageFlags flags, Date received,
                           std::string_view uniqueName = {}) {
        return addFrom(mailbox, sourceOf(content), flags, received, uniqueName);
    }
    // The same for messages of any size.
    virtual Result<MessageRef> addFrom(Mailbox& mailbox, const ByteSource& content, MessageFlags flags, Date received,
                                       std::string_view uniqueName = {}) = 0;
    virtual Result<void> setFlags(const std::vector<std::int64_t>& ids, const FlagChange& change) = 0;
    // Moves, also across accounts (copy, sync, then remove). What could not be moved stays where it was and the error
    // says so; the others are moved.
    virtual Result<void> move(const std::vector<std::int64_t>& ids, Mailbox& to) = 0;
    virtual Result<void> erase(const std::vector<std::int64_t>& ids) = 0;  // for good
    // Takes a message out of the library and hands its file's new place over: the outbox's claim. Exactly one of
    // several callers succeeds.
    virtual Result<std::filesystem::path> claim(std::int64_t id, const std::filesystem::path& intoFolder) = 0;

    // For whoever keeps an account in step with another place. Messages go by names here; one that is gone or has moved
    // is passed over, and the keeper is not asked.
    //
    // Durable when it returns, and cheaper than one add() for each. Those whose name the mailbox has are left alone.
    // `isNews`: the person hears of it, as of new mail. What the mirror's keeper knows of wishes is heeded: the flags,
    // the folder, and those that were removed are left out.
    virtual Result<void> addMirrored(Mailbox& mailbox, const std::vector<MirroredArrival>& messages, bool isNews) = 0;
    virtual Result<void> setMirroredFlags(Mailbox& mailbox, const std::map<std::string, FlagBits>& flags) = 0;
    virtual Result<void> dropMirrored(Mailbox& mailbox, const std::vector<std::string>& names) = 0;
    // Puts messages into the list whose files are still to come; with the flags that they have there. Wishes are
    // heeded here, too. Kept in the index alone, so that they are gone when that is made anew.
    virtual Result<void> listMirrored(Mailbox& mailbox, const std::vector<MirroredListing>& messages) = 0;
    struct Listed {
        std::string folder;
        int flags = 0;  // packed
    };
    // All messages of the account that are only listed, by name.
    virtual std::map<std::string, Listed> listed(std::string_view account) = 0;
    // Of messages that are only listed: other flags, or no place in the list any more.
    virtual void changeListed(std::string_view account, const std::map<std::string, int>& flags,
                              const std::vector<std::string>& gone) = 0;
    virtual void setMirrorKeeper(std::shared_ptr<MirrorKeeper> keeper) = 0;  // null: none

    // Takes up what other programs changed in a mailbox's folders: all of it before this returns.
    virtual void rescan(std::string_view mailboxIdentifier) = 0;
    // From now on, takes up such changes soon after they were made, on a thread of its own.
    virtual void watchFolders() = 0;
    virtual std::vector<std::string> takeNotices() = 0;  // damaged messages met while indexing, and their like
    // Addresses seen in mail, by frequency, that begin with the prefix in name or address; display forms.
    virtual std::vector<std::string> completeAddress(std::string_view prefix, int limit) = 0;
};

}  // namespace qs
