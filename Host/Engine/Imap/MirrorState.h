// What is known of an account's mailboxes at its IMAP server: which message there is which file here, and what both
// sides last agreed on. Kept in <account>/sync.sqlite beside the mail; what is committed outlives a power cut.
//
// The difference between this, the files and the server is what remains to be done, so there is no list of orders that
// could fall behind the files. What cannot be seen in such a difference is noted before it happens: that a message was
// erased on purpose (a file that merely vanished is fetched again), that a message is being uploaded, that a mailbox
// was renamed or removed, and what is done to a message of which only the header is here yet.
//
// Safe from every thread. Calls throw DatabaseFailure.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Result.h"
#include "MailLibrary.h"

namespace qs {

class Database;
class FileSystem;

struct MirroredMailbox {
    std::int64_t number = 0;  // 0: not kept yet
    std::string folder;       // of the Maildir++ tree, without the "." in front; empty for the inbox
    std::string serverName;   // as the server writes it
    std::uint32_t uidValidity = 0, uidNext = 0;
    // Up to here everything is here; 0: not everything is, or the server keeps none.
    std::uint64_t modSeq = 0;
    // What the person did here and the server has not done yet. A removed one keeps no folder: it goes by a name that
    // no folder has.
    enum class Order { None, Rename, Remove };
    Order order = Order::None;
    // What names of files are made of: the server's name when it was first seen. It outlives renaming.
    std::string origin = {};
    // Packed; other flags the server takes and forgets again, so they stay here as they are.
    int keptFlags = -1;
    // At Gmail: a label, of its own making or the person's, or one of those that are none.
    enum class Use { Label, Drafts, Sent, AllMail, Junk, Trash };
    Use use = Use::Label;

    bool isLabel() const { return use == Use::Label || use == Use::Drafts || use == Use::Sent; }
};

struct MirroredMessage {
    std::uint32_t uid = 0;
    std::string name;  // the unique part of the file's name
    int flags = 0;     // packed; what both sides last agreed on
};

// A message on its way to the server. When the answer is lost, it is known again by this.
struct Upload {
    std::string folder, name, headerDigest;
    std::uint64_t size = 0;  // with CR LF line ends
    // It is there, under a uid that the server did not tell, and must not be sent once more.
    bool isAccepted = false;
};

// Of a large message, what has come so far: a file in the account's tmp/.
struct BegunFetch {
    std::string file;
    std::uint64_t size = 0, told = 0;  // told: the whole, by the server
};

// A label that was given or taken here, and not at the server yet.
struct LabelOrder {
    std::int64_t serial = 0;  // a later order for the same has another one
    std::uint64_t message = 0;
    std::string folder;
    bool isAdded = true;
};

class MirrorState {
public:
    struct Removal {
        std::string folder, name;
        friend auto operator<=>(const Removal&, const Removal&) = default;
    };

    // A damaged file is set aside: what is here is then compared with the server anew, and nothing is lost but the
    // memory of what was erased here and not yet there, and of what was done to messages that were only listed.
    MirrorState(std::filesystem::path file, FileSystem& files);
    ~MirrorState();

    std::vector<MirroredMailbox> mailboxes();
    std::optional<MirroredMailbox> mailboxOfFolder(std::string_view folder);
    std::optional<MirroredMailbox> mailboxNumbered(std::int64_t number);
    // Adds it, by folder, and answers it with its number; or changes what is known of its messages. Folder, name and
    // order of one that is kept stay: the person may have changed them meanwhile.
    MirroredMailbox putMailbox(MirroredMailbox mailbox);
    // Settles an order, if there is one.
    void renameMailbox(std::int64_t number, const std::string& folder, const std::string& serverName);
    void setServerName(std::int64_t number, const std::string& serverName);
    // What the person does. Folders that are not known are passed over.
    struct Renaming {
        std::string from, to;
    };
    void orderRenaming(const std::vector<Renaming>& folders);
    void orderRemoval(const std::vector<std::string>& folders);
    // Ends the order to remove it; it is kept as that folder. `erases`: its messages stay noted as erased on purpose.
    void takeBackRemoval(std::int64_t number, const std::string& folder, bool erases);
    void removeMailbox(std::int64_t number);  // with its messages

    std::vector<MirroredMessage> messages(std::int64_t mailbox);  // by uid
    bool knows(std::int64_t mailbox, std::uint32_t uid);
    // Uids of messages that the server has, and did not give out when they were to be fetched.
    std::vector<std::uint32_t> unfetched(std::int64_t mailbox);
    void setUnfetched(std::int64_t mailbox, const std::vector<std::uint32_t>& uids);
    // The mailboxes that have a message of that name.
    std::vector<std::int64_t> mailboxesWith(std::string_view name);
    // All or nothing. A message's older place under the same name in the same mailbox goes. Uploads of what is put are
    // over, and so are wishes: its file has come, and shows them.
    void change(std::int64_t mailbox, const std::vector<MirroredMessage>& put,
                const std::vector<std::uint32_t>& forget);
    // What one command of the server's has done to messages of `from`: each is known under another uid in `to`, too,
    // unless that is 0, and is no longer in `from`, unless it stays. All or nothing.
    struct Moved {
        std::uint32_t uid = 0;
        MirroredMessage there;
        bool stays = false;
    };
    void moveMessages(std::int64_t from, std::int64_t to, const std::vector<Moved>& messages);
    // Of a move whose uids the server did not tell: the messages are no longer in `from`, which is looked at as a whole
    // the next time, and are awaited in `folder`.
    void moveUntold(std::int64_t from, const std::vector<MirroredMessage>& messages, const std::string& folder);
    // The server counts the mailbox anew, as `mailbox` says: its messages are now these. All or nothing.
    void countAnew(const MirroredMailbox& mailbox, const std::vector<MirroredMessage>& messages);

    void noteRemovals(const std::vector<Removal>& removals);
    bool isRemoved(std::string_view name);
    std::vector<Removal> removals();
    void forgetRemovals(const std::vector<std::string>& names);

    // What was done here to messages before their files came, by name. Later wishes are joined to earlier ones.
    void noteWishes(const std::vector<std::pair<std::string, MirrorWish>>& wishes);
    // With the removals.
    std::map<std::string, MirrorWish> wishes();
    void forgetWishes(const std::vector<std::string>& names);

    void beginUpload(const Upload& upload);
    // The server has taken them into that folder's mailbox, by an upload or otherwise, and did not tell their uids.
    void acceptUploads(const std::string& folder, const std::vector<std::string>& names);
    std::vector<Upload> uploads(std::string_view folder);
    void endUploads(std::string_view folder, const std::vector<std::string>& names);

    // By the name that the message will have.
    void putBegun(const std::string& name, const BegunFetch& begun);
    std::optional<BegunFetch> begun(const std::string& name);
    std::map<std::string, BegunFetch> allBegun();
    void forgetBegun(const std::string& name);

    // Of accounts at Gmail (MirrorStateGmail.cpp), whose messages have a number that is the same in every mailbox.
    bool isGmail() const { return isGmail_; }
    // One that turns out to be at Gmail is looked at anew as a whole, for the numbers.
    void setGmail(bool isGmail);
    void setUse(std::int64_t mailbox, MirroredMailbox::Use use);
    // The numbers of messages by uid, also of those that are not here yet.
    void noteGmailNumbers(std::int64_t mailbox, const std::map<std::uint32_t, std::uint64_t>& numbers);
    void forgetGmailNumbers(std::int64_t mailbox, const std::vector<std::uint32_t>& uids);
    std::map<std::uint32_t, std::uint64_t> gmailNumbers(std::int64_t mailbox);
    std::uint64_t gmailNumber(std::int64_t mailbox, std::uint32_t uid);  // 0: not known
    std::uint64_t gmailNumberNamed(std::string_view name);               // of a message that is here; likewise
    struct GmailPlace {
        std::int64_t mailbox = 0;
        std::uint32_t uid = 0;
        std::string name;  // empty: it is not here yet
    };
    std::vector<GmailPlace> gmailPlaces(std::uint64_t message);
    // Whether a copy has been here before; remembered as long as any mailbox there has the message.
    bool isGmailKept(std::uint64_t message);
    void forgetGoneGmail();
    void orderLabels(const std::vector<LabelOrder>& orders);  // all or nothing; replaces earlier ones for the same
    std::vector<LabelOrder> labelOrders();
    void forgetLabelOrders(const std::vector<LabelOrder>& orders);

private:
    void open(FileSystem& files);
    void giveFolder(const std::string& from, const std::string& to, MirroredMailbox::Order order);

    const std::filesystem::path file_;
    std::atomic<bool> isGmail_ = false;
    std::mutex lock_;
    std::unique_ptr<Database> database_;
};

}  // namespace qs
