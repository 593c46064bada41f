#include "Imap/MessageOpener.h"

#include <algorithm>

#include "Database/Database.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Imap/ImapConnection.h"
#include "Imap/LargeMessage.h"
#include "Imap/MailKeeper.h"
#include "Imap/MirrorState.h"
#include "Imap/MirroredName.h"

namespace qs {

namespace {

constexpr std::size_t kMostWanted = 20;
constexpr TimeInterval kQuietAfterFailure = 10;

}  // namespace

MessageOpener::MessageOpener(ImapServer server, SecretSource secret, std::shared_ptr<MirrorState> state,
                             MailKeeper& keeper, std::function<void(const std::string&)> tellPerson)
    : server_(std::move(server)),
      secret_(std::move(secret)),
      state_(std::move(state)),
      keeper_(keeper),
      tellPerson_(std::move(tellPerson)),
      queue_(std::make_unique<OperationQueue>(1, OperationQueue::Threads::Own)) {}

MessageOpener::~MessageOpener() {
    {
        const std::lock_guard hold(lock_);
        isStopping_ = true;
        if (line_) line_->cancel();
    }
    queue_->cancelWaiting();
    queue_->waitUntilFinished();
    queue_.reset();
}

void MessageOpener::open(const std::string& name) {
    const std::lock_guard hold(lock_);
    if (isStopping_ || RunLoop::main().uptime() - failedAt_ < kQuietAfterFailure) return;
    if (std::find(wanted_.begin(), wanted_.end(), name) != wanted_.end()) return;
    wanted_.push_back(name);
    if (wanted_.size() > kMostWanted) wanted_.erase(wanted_.begin());
    queue_->add([this] { work(); });
}

void MessageOpener::rest() {
    queue_->add([this] {
        std::unique_ptr<ImapConnection> line;
        const std::lock_guard hold(lock_);
        if (wanted_.empty()) line = std::move(line_);
    });
}

void MessageOpener::work() {
    std::string name;
    {
        const std::lock_guard hold(lock_);
        if (isStopping_ || wanted_.empty()) return;
        name = wanted_.back();
    }
    Result<void> done;
    try {
        done = fetch(name);
    } catch (const DatabaseFailure& failure) {
        done = qs::failure("Database", failure.code(), failure.what());
    }
    if (!done && isLackOfRoom(done.error())) tellPerson_(done.error().description + " It stays at the server.");
    const std::lock_guard hold(lock_);
    std::erase(wanted_, name);
    if (done) return;
    logInfo("a message that is waited for can't be fetched just now: " + done.error().description);
    if (line_ && line_->isOpen()) return;
    // The others would fail alike, and a sign-in that is refused again and again locks the account.
    wanted_.clear();
    failedAt_ = RunLoop::main().uptime();
    line_.reset();
}

Result<void> MessageOpener::ready(const MirroredMailbox& mailbox) {
    if (!line_ || !line_->isOpen()) {
        selected_.clear();
        auto opened = signIn(secret_, [this](const ImapSecret& secret) {
            {
                const std::lock_guard hold(lock_);
                line_ = std::make_unique<ImapConnection>(server_);
                if (isStopping_) line_->cancel();
            }
            return line_->open(secret);
        });
        if (!opened) return opened;
    }
    if (selected_ == mailbox.serverName) return {};
    selected_.clear();
    const auto selection = line_->examine(ImapMailboxName::fromWire(mailbox.serverName));
    if (!selection) return failed(selection);
    if (selection->uidValidity != mailbox.uidValidity)
        return failure(std::string(kImapErrorDomain), static_cast<int>(ImapFailure::Refused),
                       "The mailbox has changed as a whole.");
    selected_ = mailbox.serverName;
    return {};
}

Result<void> MessageOpener::fetch(const std::string& name) {
    for (const MirroredMailbox& mailbox : state_->mailboxes()) {
        const auto uid = uidInName(mailbox, name);
        if (!uid) continue;
        if (state_->knows(mailbox.number, *uid)) return {};
        if (auto done = ready(mailbox); !done) return done;
        auto message = fetchOne(*line_, *uid, keeper_, name);
        if (!message) return failed(message);
        if (!*message) return {};
        return keeper_.keep(mailbox, {std::move(**message)});
    }
    return {};
}

}  // namespace qs
