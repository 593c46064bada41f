#include "Library/Announcer.h"

#include "Foundation/Log.h"
#include "Foundation/NotificationCenter.h"
#include "Foundation/RunLoop.h"
#include "Mail/Library.h"
#include "MailLibrary.h"
#include "Platform.h"

namespace qs {

namespace {

// Objects of that many messages live at a time while arrivals are told.
constexpr std::size_t kMostAtOnce = 500;

}  // namespace

Announcer::Announcer(std::shared_ptr<LibraryStore> store,
                     std::function<std::shared_ptr<Message>(std::int64_t id)> messageFor,
                     std::function<std::int64_t(const std::string&, std::uint64_t)> copyOf)
    : store_(std::move(store)), messageFor_(std::move(messageFor)), copyOf_(std::move(copyOf)) {}

void Announcer::mailboxChanged(const std::string& identifier) {
    const std::lock_guard hold(lock_);
    changed_.insert(identifier);
    schedule();
}

void Announcer::messageArrived(std::int64_t id, bool duringOpen, std::shared_ptr<Message> left) {
    const std::lock_guard hold(lock_);
    const bool fits =
        !arrivals_.empty() && arrivals_.back().duringOpen == duringOpen && arrivals_.back().ids.size() < kMostAtOnce;
    if (!fits) arrivals_.push_back({{}, duringOpen, {}});
    arrivals_.back().ids.push_back(id);
    if (left) arrivals_.back().left.push_back(std::move(left));
    schedule();
}

void Announcer::labelsChanged(const std::string& account, std::uint64_t message,
                              const std::vector<std::shared_ptr<Message>>& left) {
    const std::lock_guard hold(lock_);
    auto& known = relabelled_[{account, message}];
    known.insert(known.end(), left.begin(), left.end());
    schedule();
}

std::vector<std::shared_ptr<Message>> Announcer::leaving(std::string_view messageID) {
    std::vector<std::shared_ptr<Message>> found;
    const std::lock_guard hold(lock_);
    const auto look = [&](const Arrivals& arrivals) {
        for (const auto& message : arrivals.left)
            if (message->messageID() == messageID) found.push_back(message);
    };
    look(told_);
    for (const Arrivals& arrivals : arrivals_)
        look(arrivals);
    for (const Relabelled* messages : {&toldLabels_, &relabelled_})
        for (const auto& [number, left] : *messages)
            look({{}, false, left});
    return found;
}

std::set<std::string> Announcer::mailboxesLeft(const std::string& account, std::uint64_t message) {
    std::set<std::string> mailboxes;
    const std::lock_guard hold(lock_);
    for (const Relabelled* messages : {&toldLabels_, &relabelled_})
        if (const auto found = messages->find({account, message}); found != messages->end())
            for (const auto& left : found->second)
                mailboxes.insert(left->mailbox()->identifier());
    return mailboxes;
}

void Announcer::stop() {
    const std::lock_guard hold(lock_);
    isStopped_ = true;
    messageFor_ = nullptr;
    copyOf_ = nullptr;
}

void Announcer::schedule() {
    RunLoop* const loop = RunLoop::mainIfInstalled();
    if (isScheduled_ || isStopped_ || !loop) return;
    isScheduled_ = true;
    loop->post([self = weak_from_this()] {
        if (const auto announcer = self.lock()) announcer->tell();
    });
}

void Announcer::tell() {
    std::set<std::string> changed;
    std::vector<std::int64_t> ids;
    bool duringOpen = false;
    {
        const std::lock_guard hold(lock_);
        isScheduled_ = false;
        if (isStopped_) return;
        changed.swap(changed_);
        if (!arrivals_.empty()) {
            told_ = std::move(arrivals_.front());
            arrivals_.erase(arrivals_.begin());
            ids = told_.ids;
            duringOpen = told_.duringOpen;
        }
        while (!relabelled_.empty() && toldLabels_.size() < kMostAtOnce)
            toldLabels_.insert(relabelled_.extract(relabelled_.begin()));
        if (!arrivals_.empty() || !relabelled_.empty()) schedule();
    }
    // First those who act on new mail, so that the lists are then drawn with what they made of it.
    if (!ids.empty()) tellArrivals(ids, duringOpen);
    if (!toldLabels_.empty()) tellLabels(toldLabels_);
    Arrivals told;
    Relabelled toldLabels;
    {
        const std::lock_guard hold(lock_);
        std::swap(told, told_);
        std::swap(toldLabels, toldLabels_);
    }
    if (changed.empty()) return;
    Array identifiers;
    for (const std::string& identifier : changed)
        identifiers.emplace_back(identifier);
    NotificationCenter::defaultCenter().post(MailLibraryDidChangeNotification, store_.get(),
                                             Dictionary{{"mailboxes", std::move(identifiers)}});
}

void Announcer::tellLabels(const Relabelled& messages) {
    Array ids;
    for (const auto& [message, left] : messages)
        if (const std::int64_t id = copyOf_(message.first, message.second)) ids.emplace_back(id);
    if (!ids.empty())
        NotificationCenter::defaultCenter().post(MFLibraryMessagesGmailLabelsChangedNotification, store_.get(),
                                                 Dictionary{{"messages", std::move(ids)}});
}

void Announcer::tellArrivals(const std::vector<std::int64_t>& ids, bool duringOpen) {
    MessageList added;
    for (const std::int64_t id : ids)
        if (auto message = messageFor_(id)) added.push_back(std::move(message));
    if (added.empty()) return;
    try {
        if (osMinor() == 10)
            library_store::messagesWereAddedConversations(store_, added, {}, duringOpen, 0);
        else
            library_store::messagesWereAdded(store_, added, {}, duringOpen, 0);
    } catch (const std::exception& exception) {
        logError("telling of new messages: " + std::string(exception.what()));
    }
}

}  // namespace qs
