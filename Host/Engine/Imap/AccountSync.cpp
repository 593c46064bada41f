#include "Imap/AccountSync.h"

#include <algorithm>
#include <cmath>
#include <random>

#include "Accounts/AccountSecrets.h"
#include "Accounts/BrowserSignIn.h"
#include "Database/Database.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Imap/ImapConnection.h"
#include "Imap/MirrorState.h"
#include "Keychain/Keychain.h"

namespace qs {

namespace {

// A change here is told soon, but not each of a row of them by itself.
constexpr TimeInterval kQuiet = 1.5;
constexpr TimeInterval kEverything = 5 * 60;
constexpr TimeInterval kNoRoom = 3600;  // for what the server had no room
constexpr TimeInterval kFirstDelay = 5, kThrottledDelay = 60, kLongestDelay = 30 * 60;

// Trying again by itself would lock the account sooner than it would help. A server that can't prove who it is gets no
// password, so that asking it again does no harm: it may have been in the middle of a restart, or another answered in
// its place, as networks do that want somebody to sign in first.
bool needsPerson(const Error& error) {
    if (error.domain == kSignInErrorDomain) return error.code == static_cast<int>(SignInError::Refused);
    if (keychainError(error) == KeychainError::Missing || account_secrets::isNotSignedIn(error)) return true;
    if (error.domain != kImapErrorDomain) return false;
    switch (imapFailure(error)) {
    case ImapFailure::OpenPassword:
    case ImapFailure::SignInRefused: return true;
    default: return false;
    }
}

double randomShare() {
    static thread_local std::mt19937 random{std::random_device()()};
    return std::uniform_real_distribution<double>(0, 1)(random);
}

}  // namespace

TimeInterval retryDelay(int failures, ImapFailure failure, double random) {
    const double first = failure == ImapFailure::Temporary ? kThrottledDelay : kFirstDelay;
    const double delay = std::min(kLongestDelay, first * std::exp2(std::clamp(failures - 1, 0, 20)));
    return delay * (0.5 + random / 2);
}

AccountSync::AccountSync(Parts parts)
    : parts_(std::move(parts)),
      keeper_(
          std::make_unique<MailKeeper>(parts_.account, parts_.folder, parts_.files, parts_.library, *parts_.state)) {}

AccountSync::~AccountSync() { stop(); }

void AccountSync::start() {
    queue_ = std::make_unique<OperationQueue>(1, OperationQueue::Threads::Own);
    {
        const std::lock_guard hold(lock_);
        opener_ =
            std::make_unique<MessageOpener>(parts_.server, parts_.secret, parts_.state, *keeper_, parts_.tellPerson);
    }
    if (parts_.network)
        networkWatch_ = parts_.network->observe([weak = weak_from_this()](const NetworkState::Facts& facts) {
            const auto self = weak.lock();
            if (self && facts.isReachable) self->networkIsBack();
        });
    syncSoon({.everything = true});
}

void AccountSync::leave() {
    const std::lock_guard hold(lock_);
    if (isStopping_ || !queue_) return;
    isStopping_ = true;
    networkWatch_.reset();
    if (timer_) timer_->invalidate();
    if (line_) line_->cancel();
    queue_->cancelWaiting();
}

void AccountSync::stop() {
    leave();
    if (!queue_) return;
    queue_->waitUntilFinished();
    std::unique_ptr<MessageOpener> opener;
    {
        const std::lock_guard hold(lock_);
        opener = std::move(opener_);
    }
    opener.reset();
    watch_.reset();
    queue_.reset();
}

void AccountSync::syncSoon(const SyncScope& scope) {
    bool isWaiting = false;
    {
        const std::lock_guard hold(lock_);
        wanted_.add(scope);
        isWaiting = status_.state == SyncStatus::State::Waiting || status_.state == SyncStatus::State::Stopped;
    }
    if (!isWaiting) schedule(scope.everything ? 0 : kQuiet);
}

// Whatever was lost with it is worth another try at once.
void AccountSync::networkIsBack() {
    {
        const std::lock_guard hold(lock_);
        if (status_.state == SyncStatus::State::Stopped) return;
        if (status_.state == SyncStatus::State::Waiting) {
            if (isThrottled_) return;
            status_.until = RunLoop::main().now();
        }
    }
    schedule(0);
}

void AccountSync::syncNow() {
    {
        const std::lock_guard hold(lock_);
        wanted_.everything = wanted_.asked = true;
        status_.state = SyncStatus::State::Idle;
        if (timer_) timer_->invalidate();
        timer_.reset();
    }
    schedule(0);
}

void AccountSync::fetchSoon(const std::string& name) {
    const std::lock_guard hold(lock_);
    if (opener_ && !isStopping_ && status_.state != SyncStatus::State::Stopped && !isOffline()) opener_->open(name);
}

// The earliest of what is asked for.
void AccountSync::schedule(TimeInterval delay) {
    const std::lock_guard hold(lock_);
    if (isStopping_ || !queue_) return;
    RunLoop& loop = RunLoop::main();
    const TimeInterval due = loop.uptime() + delay;
    if (timer_ && timer_->isValid() && timerDue_ <= due) return;
    if (timer_) timer_->invalidate();
    timerDue_ = due;
    timer_ = loop.afterOnGlobalQueue(delay, [weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self) return;
        const std::lock_guard holdSelf(self->lock_);
        if (self->isStopping_) return;
        self->timer_.reset();
        self->queue_->add([sync = self.get()] { sync->pass(); });
    });
}

bool AccountSync::isOffline() const {
    return parts_.network && !isOwnHost(parts_.server.host) && !parts_.network->facts().isReachable;
}

void AccountSync::pass() {
    SyncScope scope;
    TimeInterval early = 0;
    {
        const std::lock_guard hold(lock_);
        if (isStopping_ || status_.state == SyncStatus::State::Stopped) return;
        // Whichever comes first, should somebody set the clock or the machine sleep.
        if (status_.state == SyncStatus::State::Waiting && status_.until)
            early = std::min(*status_.until - RunLoop::main().now(), waitsUntil_ - RunLoop::main().uptime());
        if (early <= 0) scope = std::exchange(wanted_, {});
    }
    // It fell due by what was asked for before the failure.
    if (early > 0) return schedule(early);
    if (isOffline()) {
        {
            const std::lock_guard hold(lock_);
            wanted_.add(scope);
        }
        return setStatus(SyncStatus::State::Offline, "Offline.");
    }
    // From time to time at everything, and when nothing else was asked for.
    const double uptime = RunLoop::main().uptime();
    if (scope.isEmpty() || uptime - lastEverything_ >= kEverything) scope.everything = true;
    if (scope.everything) lastEverything_ = uptime;
    if (scope.asked || uptime - noRoomSince_ >= kNoRoom) {
        troubles_.noRoom.clear();
        noRoomSince_ = uptime;
    }
    try {
        if (auto done = runPass(scope); !done)
            failedWith(done.error(), scope);
        else
            succeeded();
    } catch (const DatabaseFailure& failure) {
        failedWith({"Database",
                    failure.code(),
                    "What is known of the server can't be kept: " + std::string(failure.what()),
                    {}},
                   scope);
    } catch (const std::exception& exception) {
        // Whatever it was, the account must not stand still for it.
        failedWith({"Sync", 0, "The mail can't be brought into step: " + std::string(exception.what()), {}}, scope);
    }
}

Result<void> AccountSync::runPass(const SyncScope& scope) {
    setStatus(SyncStatus::State::Working, {});
    const auto line = connected();
    if (!line) return failed(line);
    SyncPass pass({.line = **line,
                   .state = *parts_.state,
                   .library = parts_.library,
                   .files = parts_.files,
                   .keeper = *keeper_,
                   .account = parts_.account,
                   .folder = parts_.folder,
                   .troubles = troubles_,
                   .tellProgress =
                       [this](const SyncProgress& progress) {
                           {
                               const std::lock_guard hold(lock_);
                               status_.progress = progress;
                           }
                           parts_.statusChanged();
                       },
                   .tellPerson = parts_.tellPerson});
    return pass.run(scope);
}

Result<ImapConnection*> AccountSync::connected() {
    if (line_ && line_->isOpen()) return line_.get();
    const auto opened = signIn(parts_.secret, [this](const ImapSecret& secret) {
        {
            const std::lock_guard hold(lock_);
            line_ = std::make_unique<ImapConnection>(parts_.server);
            if (isStopping_) line_->cancel();
        }
        line_->setUpdateHandler([this](const ImapUpdate& update) {
            if (update.kind == ImapUpdate::Kind::Alert) parts_.tellPerson(parts_.server.host + ": " + update.text);
        });
        return line_->open(secret);
    });
    if (!opened) return failed(opened);
    return line_.get();
}

void AccountSync::succeeded() {
    failures_ = 0;
    bool isMore = false;
    {
        const std::lock_guard hold(lock_);
        isMore = !wanted_.isEmpty();
    }
    setStatus(SyncStatus::State::Idle, {});
    opener_->rest();
    keepWatching();
    schedule(isMore ? kQuiet : kEverything);
}

void AccountSync::failedWith(const Error& error, const SyncScope& scope) {
    {
        const std::lock_guard hold(lock_);
        if (isStopping_) return;
        wanted_.add(scope);
        line_.reset();
        // What changed during the work was to be taken up soon after it.
        if (timer_) timer_->invalidate();
        timer_.reset();
    }
    ++failures_;
    watchedSince_ = -kEverything;  // what ended the watch, too, need not be of its own making
    const bool isImap = error.domain == kImapErrorDomain;
    logWarning("the mail of " + parts_.account + " can't be brought into step: " + error.description);
    if (needsPerson(error)) return setStatus(SyncStatus::State::Stopped, error.description);
    const TimeInterval delay =
        retryDelay(failures_, isImap ? imapFailure(error) : ImapFailure::NotReachable, randomShare());
    {
        const std::lock_guard hold(lock_);
        isThrottled_ = isImap && imapFailure(error) == ImapFailure::Temporary;
        waitsUntil_ = RunLoop::main().uptime() + delay;
    }
    setStatus(SyncStatus::State::Waiting, error.description, RunLoop::main().now() + delay);
    schedule(delay);
}

void AccountSync::setStatus(SyncStatus::State state, std::string text, std::optional<Date> until) {
    {
        const std::lock_guard hold(lock_);
        status_ = {parts_.account, state, std::move(text), {}, until};
    }
    parts_.statusChanged();
}

SyncStatus AccountSync::status() const {
    const std::lock_guard hold(lock_);
    SyncStatus status = status_;
    status.account = parts_.account;
    return status;
}

void AccountSync::keepWatching() {
    if (!parts_.watchesInbox || (watch_ && watch_->isAlive())) return;
    if (line_ && !line_->has("IDLE")) return;
    // One that has ended early is not begun again at once: some servers offer what they then refuse.
    const double uptime = RunLoop::main().uptime();
    if (watch_ && uptime - watchedSince_ < kEverything) return;
    watchedSince_ = uptime;
    watch_.reset();
    watch_ = std::make_unique<InboxWatch>(parts_.server, parts_.secret, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->syncSoon({.there = {""}});
    });
}

}  // namespace qs
