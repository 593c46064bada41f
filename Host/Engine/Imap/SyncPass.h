// One piece of work between an account's Maildirs and its server, over one connection: mailboxes, what changed there
// and the headers of what is new, what changed here, then the messages themselves, newest first. Cut off anywhere, the
// next one carries on: what was not finished still shows as a difference.
//
// The order makes it safe. What the server did is known of every mailbox before anything is told to it, so that an
// earlier move or upload whose answer was lost is recognised and not done twice. Files are on the disk before the state
// says so, under names made of the server's own numbers, so that they are recognised, too.
//
// Its parts: SyncPass.cpp the order, SyncMailboxes.cpp the list of mailboxes, SyncRenames.cpp and SyncRemovals.cpp what
// the person did to mailboxes themselves, SyncPull.cpp, SyncRecognise.cpp, SyncList.cpp, SyncPush.cpp, SyncMoves.cpp
// and SyncFetch.cpp one mailbox, SyncGmail.cpp what is different at Gmail, SyncLabels.cpp the labels there.
// Blocking; for one thread.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Foundation/Result.h"
#include "Imap/ImapConnection.h"
#include "Imap/LocalTree.h"
#include "Imap/MirrorState.h"
#include "Imap/SyncPlan.h"
#include "MailLibrary.h"

namespace qs {

class FileSystem;
class WorkBehind;
class Mailbox;
class MailKeeper;
class MailLibrary;
struct FetchedMessage;

struct SyncProgress {
    std::size_t done = 0, total = 0;  // messages to be fetched
};

// What the server had trouble with, for as long as the program runs. By names of messages.
struct SyncTroubles {
    std::set<std::string> refused;   // not tried again
    std::set<std::string> alone;     // come one by one, since a batch of them came to nothing
    std::set<std::string> later;     // not taken for now: others go first
    std::set<std::string> noRoom;    // not tried again for a while, or until the person asks
    std::map<std::string, int> cut;  // how often the connection broke over them, in a row
    std::set<std::string> told;      // what the person knows already
};

// Folders in which something is known to have changed, here or at the server; or all of them, whatever is known.
struct SyncScope {
    std::set<std::string> here, there;
    bool everything = false;
    bool mailboxes = false;  // the list of mailboxes itself was changed here
    bool asked = false;      // by the person

    bool isEmpty() const { return here.empty() && there.empty() && !everything && !mailboxes; }
    void add(const SyncScope& other);
};

struct SyncParts {
    ImapConnection& line;
    MirrorState& state;
    MailLibrary& library;
    FileSystem& files;
    MailKeeper& keeper;
    std::string account;
    std::filesystem::path folder;  // of the account's mail
    SyncTroubles& troubles;
    std::function<void(const SyncProgress&)> tellProgress;
    std::function<void(const std::string& sentence)> tellPerson;  // what a person should know
};

class SyncPass {
public:
    explicit SyncPass(SyncParts parts) : parts_(std::move(parts)), tree_(parts_.folder, parts_.files) {}

    // Fails when the connection or the disk does. What one mailbox refuses is logged, and the others go on.
    Result<void> run(const SyncScope& scope);

private:
    // A mailbox on its way through this pass.
    struct Work {
        MirroredMailbox mailbox;
        std::vector<std::uint32_t> arrived;  // to be fetched, newest first
        std::set<std::uint32_t> large;       // of those, what is known to be too large for a batch
        // The server has them, and does not give them out now, and before.
        std::set<std::uint32_t> left, leftBefore;
        std::map<std::uint32_t, int> flags;  // that they have there, until they are listed
        std::uint32_t uidNext = 0;           // once they are
        std::uint64_t modSeq = 0;
        // The server counts it anew, and these were its messages: kept until they are known again.
        std::optional<std::vector<MirroredMessage>> before;
        std::map<std::uint32_t, int> arrivedFlags;  // at Gmail
        bool isPulled = false;                      // else nothing is done to it
        bool isAwaited = false;                     // removed here, but messages are still to be moved out of it
    };

    // Mailboxes
    Result<void> takeMailboxes();
    Result<std::vector<ImapMailbox>> listed();
    Result<bool> hasMessagesOf(const MirroredMailbox& mailbox, const ImapMailboxName& name);
    Result<void> takeRenamed(std::map<std::string, ImapMailboxName>& folders);
    void forgetListed(const MirroredMailbox& mailbox);
    // Of one that is not on the list.
    Result<bool> isGoneIndeed(const MirroredMailbox& mailbox);
    void dropMailbox(const MirroredMailbox& mailbox);
    void takeUses(const std::vector<ImapMailbox>& listed);
    Result<void> createMissing();
    Result<MirroredMailbox> ensureMailbox(const std::string& folder);
    std::shared_ptr<Mailbox> boxOf(const std::string& folder);
    // What was renamed here, done at the server. Answers whether anything was.
    Result<bool> pushRenames(const std::vector<ImapMailbox>& listed);
    enum class Renamed { No, Yes, Waits };
    Result<Renamed> pushRename(const MirroredMailbox& mailbox, std::set<std::string>& names);
    Result<void> renameThere(const MirroredMailbox& mailbox, const ImapMailboxName& to, bool isSettled);
    std::vector<MirroredMailbox> waitingForNames();
    Result<void> refusedToRename(const MirroredMailbox& mailbox, const Error& error);
    void takeBackRename(const MirroredMailbox& mailbox, const std::string& why);
    // Mailboxes that were removed here: made again here, or to stay, or to go at the server as well.
    void keepThoseMadeAgain();
    Result<void> takeBackRemoval(Work& work, const std::string& why, bool erases);
    bool areMovedOut(const Work& work);
    Result<void> removeThere(Work& work);
    Result<void> removeAllThere();
    // Fails when the person has renamed or removed the mailbox during this pass.
    Result<void> isStill(const MirroredMailbox& mailbox);

    // What the server did
    Result<void> pullAll(const SyncScope& scope);
    Result<void> pushAll();
    Result<void> pullOnceMore();
    Result<void> fetchAll();
    Result<void> pull(Work& work, bool isLikelyChanged);
    Result<bool> isUnchanged(const MirroredMailbox& mailbox);
    // With what was known of its messages, as far as the server still counts them so.
    Result<ImapSelection> selectAnew(Work& work, std::vector<MirroredMessage>& known);
    Result<void> concludePull(Work& work, ServerView& view);  // with what is to be fetched
    Result<ServerView> look(Work& work, const std::vector<MirroredMessage>& known, const ImapSelection& selection);
    // Of what a view does not have: what is there no more, and what is there all the same.
    Result<void> noteMissing(const Work& work, const std::vector<MirroredMessage>& known,
                             const ImapSelection& selection, ServerView& view);
    Result<void> askForUnseen(ImapUidSet unseen, ServerView& view);
    Result<void> apply(const MirroredMailbox& mailbox, const PullPlan& plan);
    // Those of the new messages that are here already are bound to their files and taken off the list.
    Result<void> recognise(Work& work, const std::map<std::uint32_t, int>& flags);
    void bind(Work& work, const std::vector<MirroredMessage>& bound);
    struct Candidate {
        std::string name, headerDigest, messageID;
        std::uint64_t size = 0;
        bool isExpected = false;  // it must be there, even if it does not look quite the same
    };
    Result<std::vector<Candidate>> candidates(const Work& work, std::set<std::string> known);
    void endDoubtfulUploads(const MirroredMailbox& mailbox);
    std::set<std::string> acceptedIn(const std::string& folder);
    using Matched = std::map<std::uint32_t, std::string>;
    Result<Matched> match(const Work& work, const std::vector<Candidate>& candidates);
    // `sizes`: as the server has them; null: whatever the size.
    Result<void> matchHeaders(const std::vector<std::uint32_t>& uids, const std::vector<const Candidate*>& candidates,
                              const std::map<std::uint32_t, std::uint64_t>* sizes, Matched& matched);
    // What it did not give out before is tried again; what it refused since the program was started, is not.
    void takeUpUnfetched(Work& work, const ServerView& view);
    void leaveOutRefused(Work& work);

    // Shows those that have arrived, long before they are fetched.
    Result<void> list(Work& work);
    Result<void> listHeaders(const Work& work, const std::vector<std::uint32_t>& uids);

    // What was done here
    Result<PushPlan> planFor(const MirroredMailbox& mailbox);
    bool hasSomethingToPush(const MirroredMailbox& mailbox);
    Result<void> push(Work& work);
    void lookAtAllOf(MirroredMailbox& mailbox);
    Result<void> pushFlags(const MirroredMailbox& mailbox, const PushPlan& plan);
    Result<void> moveThere(const MirroredMailbox& mailbox, const std::string& folder,
                           const std::vector<MirroredMessage>& messages);
    Result<void> moveSome(const MirroredMailbox& mailbox, const MirroredMailbox& target,
                          const std::vector<MirroredMessage>& messages);
    // At Gmail
    void pullOthersThatShow(const MirroredMailbox& mailbox, const MirroredMailbox& target, std::uint32_t uid);
    // The server did not tell the uids of what it has moved or copied.
    void noteUntold(const MirroredMailbox& mailbox, const MirroredMailbox& target,
                    const std::vector<MirroredMessage>& messages, const ImapCopied& copied, bool moves);
    void endUntold(const Work& work);
    std::vector<MirroredMessage> withoutMarked(const std::vector<MirroredMessage>& messages);
    Result<void> expungeThere(const MirroredMailbox& mailbox, const std::vector<MirroredMessage>& messages);
    Result<void> upload(Work& work);
    Result<void> uploadOne(const MirroredMailbox& mailbox, const std::string& name);
    bool mayUpload(const std::string& name) const;
    void noteRefusedUpload(const MirroredMailbox& mailbox, const std::string& name, const Error& error);
    Whereabouts whereabouts(const std::string& name);

    // The messages
    Result<void> fetch(Work& work, std::size_t most);  // but large ones
    void takeWishedForFirst(Work& work);
    // How many of so many messages can come in a batch: those too large for one are moved to the end of the list.
    Result<std::size_t> withoutLarge(Work& work, std::size_t count);
    Result<void> fetchLarge(Work& work);
    Result<void> fetchLargeOne(Work& work, std::uint32_t uid);
    void concludeFetch(Work& work);
    // Answers how many of them are settled: fewer than asked for when the server refuses one of them.
    Result<std::size_t> fetchBatch(Work& work, std::size_t count, WorkBehind& behind);
    bool isRefusal(const Error& error) const;
    void leaveOut(Work& work, std::uint32_t uid, const Result<void>& asked);
    void keepBehind(const Work& work, std::vector<FetchedMessage> batch, WorkBehind& behind);
    void tellProgress(std::size_t more);

    // At Gmail
    bool isGmail() const { return parts_.state.isGmail(); }
    // Of the messages there, as many as are known; at Gmail also of those that are not here yet.
    std::size_t countKnown(const MirroredMailbox& mailbox);
    void noteGmailGone(const MirroredMailbox& mailbox, const ImapUidSet* present, ServerView& view);
    // Of messages that are here already.
    void tellNumbers(const MirroredMailbox& mailbox, const ServerView& view);
    // By number, the files of the folder that were made here and have no uid yet.
    Result<std::map<std::uint64_t, std::string>> unboundCopies(const MirroredMailbox& mailbox);
    Result<void> recogniseCopies(const Work& work, const std::function<void(std::uint32_t, const std::string&)>& find);
    void leaveOutTaken(Work& work);
    void withoutTaken(const MirroredMailbox& mailbox, std::vector<MirroredMessage>& known, MessagesHere& here);
    // What is here in another mailbox is not fetched once more.
    Result<void> keepCopies(Work& work);
    Result<FetchedMessage> copyOf(const std::string& folder, const std::string& name);
    Result<void> eraseThere(const MirroredMailbox& mailbox, const std::vector<MirroredMessage>& messages);
    Result<bool> settleCopy(const MirroredMailbox& mailbox, const std::string& name);
    // The labels that were given and taken here.
    std::set<std::string> labelledFolders();
    Result<void> pushLabels();
    std::vector<LabelOrder> openOrders();
    Result<void> pushLabel(const MirroredMailbox& seat, const std::string& folder, bool isAdded,
                           const std::vector<LabelOrder>& orders);
    Result<void> settleLabel(const MirroredMailbox& mailbox, bool isAdded, const std::vector<LabelOrder>& orders);
    Result<void> refuseLabel(const std::string& folder, const std::vector<LabelOrder>& orders, const Error& error);

    Result<void> selected(const MirroredMailbox& mailbox);
    // Nothing when the connection and the disk are well: then it concerned one mailbox alone, and is logged. When the
    // server refuses several in a row for a while, it is the server that wants to be left alone.
    Result<void> goOnAfter(const Error& error, const std::string& what);
    static bool isForNow(const Error& error);  // the server may do it later
    // Notes that the connection broke over that message. Whether it did so too often.
    bool isCutOver(const std::string& name, const Error& error, int most);
    // What goes on with one mailbox, unless the connection has broken over it again and again: then it is left out for
    // some passes, for the sake of the others.
    Result<void> unlessItCuts(const std::string& folder, const char* what, const std::function<Result<void>()>& act);
    void tellOnce(const std::string& what, const std::string& sentence);
    void forgetSettledRemovals();

    SyncParts parts_;
    LocalTree tree_;
    std::map<std::string, Work> works_;  // by folder
    std::string selected_;               // wire name
    std::string prefix_;
    char delimiter_ = 0;
    bool areMailboxesTaken_ = false;
    std::set<std::string> pullAgain_;  // folders whose new uids the server did not tell
    struct Untold {
        std::set<std::string> names;     // of messages that were moved or copied there
        std::set<std::uint32_t> others;  // that had come before
    };
    std::map<std::string, Untold> untold_;  // by folder
    std::set<std::string> goneWhileMoved_;  // names
    std::set<std::int64_t> renamesLater_;   // mailboxes that the server does not rename just now
    int busyInARow_ = 0;
    bool isPushing_ = false;
    std::optional<std::map<std::string, MailLibrary::Listed>> listed_;
    SyncProgress progress_;
};

}  // namespace qs
