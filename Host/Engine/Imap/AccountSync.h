// Keeps one account in step with its server: when to look, how long to wait after failures, what to tell the person.
// The work is done on a thread of its own, with a second connection that waits for news of the inbox.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "Foundation/RunLoop.h"
#include "Imap/ImapError.h"
#include "Imap/ImapServer.h"
#include "Imap/InboxWatch.h"
#include "Imap/MailKeeper.h"
#include "Imap/MessageOpener.h"
#include "Imap/SecretSource.h"
#include "Imap/SyncPass.h"
#include "Reachability/NetworkState.h"

namespace qs {

class MirrorState;

struct SyncStatus {
    enum class State {
        Idle,  // in step, as far as is known
        Working,
        Offline,  // the machine is; goes on by itself
        Waiting,  // after a failure; tries again at `until`
        Stopped   // the person has to do something; tries again when asked, or when the account is changed
    };
    std::string account;
    State state = State::Idle;
    std::string text;  // a sentence, or empty
    SyncProgress progress;
    std::optional<Date> until;
};

// Seconds until the next attempt after so many failures in a row. `random` from 0 to 1 spreads those of many programs.
TimeInterval retryDelay(int failures, ImapFailure failure, double random);

class AccountSync : public std::enable_shared_from_this<AccountSync> {
public:
    struct Parts {
        std::string account;
        ImapServer server;
        SecretSource secret;
        MailLibrary& library;
        FileSystem& files;
        std::filesystem::path folder;  // of the account's mail
        std::shared_ptr<MirrorState> state;
        std::shared_ptr<NetworkState> network;
        bool watchesInbox = true;
        std::function<void()> statusChanged;                 // any thread
        std::function<void(const std::string&)> tellPerson;  // likewise
    };
    explicit AccountSync(Parts parts);
    ~AccountSync();

    void start();  // main thread, once
    void leave();  // main thread; hangs up, for good. What is under way goes on until it notices.
    void stop();   // leave(), and waits for that. Not on the main thread while a renewal of tokens may need that.
    // Looks there soon. Any thread.
    void syncSoon(const SyncScope& scope);
    // The person asks: at once, everything, whatever happened before. Main thread.
    void syncNow();
    // Somebody wants to read a message that is only listed yet. Any thread.
    void fetchSoon(const std::string& name);
    SyncStatus status() const;

private:
    void schedule(TimeInterval delay);
    void networkIsBack();
    void pass();
    Result<void> runPass(const SyncScope& scope);
    Result<ImapConnection*> connected();
    void succeeded();
    void failedWith(const Error& error, const SyncScope& scope);
    void setStatus(SyncStatus::State state, std::string text, std::optional<Date> until = {});
    bool isOffline() const;
    void keepWatching();

    const Parts parts_;
    mutable std::mutex lock_;
    SyncScope wanted_;
    SyncStatus status_;
    bool isThrottled_ = false;  // while it waits: the server asked for it
    TimerRef timer_;
    // On the clock of uptime(), which nobody sets back.
    TimeInterval timerDue_ = 0, waitsUntil_ = 0;
    std::shared_ptr<void> networkWatch_;
    std::unique_ptr<ImapConnection> line_;
    bool isStopping_ = false;
    // Of the work's thread alone.
    int failures_ = 0;
    TimeInterval lastEverything_ = 0;  // on the clock of uptime()
    SyncTroubles troubles_;
    TimeInterval noRoomSince_ = 0;   // on the clock of uptime()
    TimeInterval watchedSince_ = 0;  // likewise
    std::unique_ptr<InboxWatch> watch_;
    std::unique_ptr<MailKeeper> keeper_;
    std::unique_ptr<MessageOpener> opener_;
    std::unique_ptr<OperationQueue> queue_;
};

}  // namespace qs
