#include "MailSync.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <set>

#include "AccountBook.h"
#include "Accounts/AccountChanges.h"
#include "Accounts/AccountSecrets.h"
#include "Accounts/ImapServerOf.h"
#include "Database/Database.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Foundation/NotificationCenter.h"
#include "Imap/MailboxNames.h"
#include "Imap/MirrorState.h"
#include "Imap/SyncKeeper.h"
#include "Library/LibraryObjects.h"
#include "Mail/MailAccount.h"
#include "MailLibrary.h"

namespace qs {

namespace {

constexpr std::size_t kMostNotices = 50;
constexpr TimeInterval kRetry = 60;  // of opening what is known of a server

bool isSame(const IncomingServer& a, const IncomingServer& b) {
    return a.host == b.host && a.port == b.port && a.security == b.security && a.user == b.user &&
           a.authentication == b.authentication && a.passwordCommand == b.passwordCommand &&
           a.certificateAuthorities == b.certificateAuthorities;
}

class MailSyncObject final : public MailSync, public std::enable_shared_from_this<MailSyncObject> {
public:
    MailSyncObject(Options options, MailLibrary& library, AccountBook& accounts, FileSystem& files)
        : options_(std::move(options)),
          library_(library),
          book_(accounts),
          files_(files),
          keeper_(std::make_shared<SyncKeeper>()) {}
    ~MailSyncObject() override { stop(); }

    void begin() {
        library_.setMirrorKeeper(keeper_);
        bookWatch_ = NotificationCenter::defaultCenter().addObserver(std::string(MailAccountsDidChangeNotification),
                                                                     [this](const auto&) { accountsDidChange(); });
        cleanupWatch_ = NotificationCenter::defaultCenter().addObserver(
            std::string(MailAccountWantsCleanupNotification), [this](const Notification& note) {
                if (const auto* account = dynamic_cast<MailAccount*>(note.object)) syncNow(account->identifier());
            });
        accountsDidChange();
    }

    void start() override {
        isStarted_ = true;
        libraryWatch_ = NotificationCenter::defaultCenter().addObserver(
            std::string(MailLibraryDidChangeNotification),
            [this](const Notification& note) { libraryDidChange(note.userInfo["mailboxes"]); });
        for (const auto& [account, entry] : accounts())
            entry.sync->start();
    }

    void stop() override {
        isStarted_ = false;
        if (retry_) retry_->invalidate();
        libraryWatch_.reset();
        bookWatch_.reset();
        cleanupWatch_.reset();
        for (const auto& [account, entry] : accounts())
            entry.sync->leave();
        leaving_.waitUntilFinished();
        for (const auto& [account, entry] : accounts())
            entry.sync->stop();
        const std::lock_guard hold(lock_);
        accounts_.clear();
    }

    void afterLeaving(std::function<void()> then) override {
        if (left_.empty()) return then();
        afterLeaving_.push_back(std::move(then));
    }

    void syncNow(std::string_view account) override {
        for (const auto& [name, entry] : accounts())
            if (account.empty() || name == account) entry.sync->syncNow();
    }

    std::vector<SyncStatus> statuses() const override {
        std::vector<SyncStatus> all;
        for (const auto& [account, entry] : accounts())
            all.push_back(entry.sync->status());
        return all;
    }

    std::vector<std::string> takeNotices() override {
        const std::lock_guard hold(lock_);
        return std::exchange(notices_, {});
    }

private:
    struct Entry {
        IncomingServer server;
        std::optional<SignInPlace> signIn;
        std::shared_ptr<AccountSync> sync;
    };

    void accountsDidChange() {
        std::vector<std::string> wanted;
        for (const AccountRecord& record : book_.inUse()) {
            if (record.kind != AccountKind::Imap || !record.incoming) continue;
            wanted.push_back(record.identifier);
            const auto known = accounts();
            const auto found = known.find(record.identifier);
            if (found != known.end() && isSame(found->second.server, *record.incoming) &&
                found->second.signIn == record.signIn)
                continue;
            if (found != known.end()) drop(record.identifier);
            if (!left_.contains(record.identifier)) take(record);  // else when that is done
        }
        for (const auto& [account, entry] : accounts())
            if (std::find(wanted.begin(), wanted.end(), account) == wanted.end()) {
                drop(account);
                keeper_->remove(account);
            }
        statusChanged();
    }

    std::map<std::string, Entry> accounts() const {
        const std::lock_guard hold(lock_);
        return accounts_;
    }

    void take(const AccountRecord& record) {
        const auto weak = weak_from_this();
        const auto folder = options_.dataFolder / "Mail" / record.identifier;
        std::shared_ptr<MirrorState> state;
        try {
            state = std::make_shared<MirrorState>(folder / "sync.sqlite", files_);
        } catch (const DatabaseFailure& failure) {
            logError("the state of " + record.identifier + ": " + failure.what());
            keeper_->put(record.identifier, nullptr);
            retry_ = RunLoop::main().after(kRetry, [weak] {
                if (const auto self = weak.lock(); self && self->bookWatch_) self->accountsDidChange();
            });
            if (unopened_.insert(record.identifier).second)
                tell("The mail of “" + record.displayName +
                     "” can't be brought into step with its server: what is known of that can't be read or written. "
                     "It is tried again.");
            return;
        }
        unopened_.erase(record.identifier);
        keeper_->put(record.identifier, state);
        ImapServer server = imapServerOf(*record.incoming);
        server.limits.pieceBytes = options_.pieceBytes;
        auto sync = std::make_shared<AccountSync>(
            AccountSync::Parts{.account = record.identifier,
                               .server = std::move(server),
                               .secret = [record](const ImapSecret* refused) -> Result<ImapSecret> {
                                   if (refused) account_secrets::tokenWasRefused(record, refused->text);
                                   auto secret = account_secrets::secretFor(record, ServerSide::Incoming);
                                   if (!secret) return failed(secret);
                                   return ImapSecret{record.incoming->authentication == ServerAuthentication::Password
                                                         ? ImapSecret::Kind::Password
                                                         : ImapSecret::Kind::AccessToken,
                                                     std::move(*secret)};
                               },
                               .library = library_,
                               .files = files_,
                               .folder = folder,
                               .state = std::move(state),
                               .network = options_.network,
                               .watchesInbox = options_.watchesInboxes,
                               .statusChanged =
                                   [weak] {
                                       if (const auto self = weak.lock()) self->statusChanged();
                                   },
                               .tellPerson =
                                   [weak](const std::string& sentence) {
                                       if (const auto self = weak.lock()) self->tell(sentence);
                                   }});
        keeper_->putSync(record.identifier, sync);
        if (isStarted_) sync->start();
        const std::lock_guard hold(lock_);
        accounts_[record.identifier] = {*record.incoming, record.signIn, std::move(sync)};
    }

    // What is under way may wait for a renewal of tokens, which needs the main thread, or for a program of the
    // person's.
    void drop(const std::string& account) {
        std::shared_ptr<AccountSync> sync;
        {
            const std::lock_guard hold(lock_);
            sync = accounts_[account].sync;
            accounts_.erase(account);
        }
        sync->leave();
        left_.insert(account);
        leaving_.add([weak = weak_from_this(), account, sync] {
            sync->stop();
            RunLoop::main().post([weak, account] {
                if (const auto self = weak.lock()) self->hasLeft(account);
            });
        });
    }

    void hasLeft(const std::string& account) {
        left_.erase(account);
        if (!bookWatch_) return;  // stopped meanwhile
        accountsDidChange();
        if (!left_.empty()) return;
        for (const auto& then : std::exchange(afterLeaving_, {}))
            then();
    }

    void libraryDidChange(const Value& mailboxes) {
        std::map<std::string, SyncScope> scopes;
        for (const Value& each : mailboxes.array()) {
            const std::string identifier = each.stringValue();
            const auto mailbox = std::dynamic_pointer_cast<LibraryMailbox>(library_.mailboxWithIdentifier(identifier));
            if (!mailbox)
                scopes[identifier.substr(0, identifier.find('/'))].mailboxes = true;
            else if (!staysHere(mailbox->folder()))
                scopes[mailbox->accountIdentifier()].here.insert(mailbox->folder());
        }
        for (const auto& [account, entry] : accounts())
            if (const auto scope = scopes.find(account); scope != scopes.end()) entry.sync->syncSoon(scope->second);
    }

    void tell(std::string notice) {
        {
            const std::lock_guard hold(lock_);
            const bool isKnown = std::find(notices_.begin(), notices_.end(), notice) != notices_.end();
            if (isKnown || notices_.size() >= kMostNotices) return;
            notices_.push_back(std::move(notice));
        }
        statusChanged();
    }

    void statusChanged() {
        RunLoop* const loop = RunLoop::mainIfInstalled();
        if (!loop || isTelling_.exchange(true)) return;
        loop->post([weak = weak_from_this()] {
            const auto self = weak.lock();
            if (!self) return;
            self->isTelling_ = false;
            NotificationCenter::defaultCenter().post(MailSyncStatusDidChangeNotification);
        });
    }

    const Options options_;
    MailLibrary& library_;
    AccountBook& book_;
    FileSystem& files_;
    const std::shared_ptr<SyncKeeper> keeper_;
    bool isStarted_ = false;
    ObservationRef libraryWatch_, bookWatch_, cleanupWatch_;
    mutable std::mutex lock_;
    std::map<std::string, Entry> accounts_;
    std::vector<std::string> notices_;
    std::set<std::string> unopened_;  // of these the person was told
    TimerRef retry_;
    std::set<std::string> left_;  // what is under way for them is not over yet
    std::vector<std::function<void()>> afterLeaving_;
    std::atomic<bool> isTelling_ = false;
    OperationQueue leaving_{1, OperationQueue::Threads::Own};
};

}  // namespace

std::shared_ptr<MailSync> MailSync::make(Options options, MailLibrary& library, AccountBook& accounts,
                                         FileSystem& files) {
    auto sync = std::make_shared<MailSyncObject>(std::move(options), library, accounts, files);
    sync->begin();
    return sync;
}

}  // namespace qs
