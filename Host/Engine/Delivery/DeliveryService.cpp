// The queue: its thread, its walks over the outboxes, and what is known of waiting messages. How one message is
// delivered is in Deliver.cpp, what a crash left is settled in Recovery.cpp.
#include "DeliveryService.h"

#include <algorithm>

#include "AccountBook.h"
#include "Application/HostInstances.h"
#include "Delivery/DeliveryQueueObject.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Foundation/NotificationCenter.h"
#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "Mail/MessageHeaders.h"
#include "MailLibrary.h"
#include "MailReading.h"
#include "Mime/MessageWriter.h"
#include "Mime/MimeMessage.h"
#include "Platform.h"

namespace qs {

namespace {

constexpr TimeInterval kLongestStep = 60;  // of the delivery clock
constexpr TimeInterval kRounding = 0.001;  // sums of waits may differ from their dates in the last bits

Class& defineQueueClass(const char* name) {
    Class& cls = ClassRegistry::current().define(name);
    cls.add(delivery_queue::performDelivery,
            [](HostObject& self, const MessageRef& message, const std::shared_ptr<MailAccount>& account) {
                return static_cast<DeliveryQueueObject&>(self).performDelivery(message, account);
            });
    cls.addClassMethod(delivery_queue::handleFailedDelivery, [](Class&, const MessageRef& message, const Error& error) {
        reportFailedDelivery(message, error);
    });
    return cls;
}

// The class that is told of failures: the queue's own, or, in the oldest generation, the compose window's.
Class* failureHandler(const DeliveryQueue& queue) {
    if (osMinor() >= 11) return &queue.isa();
    Class* editor = NSClassFromString("DocumentEditor");
    return editor && editor->find(MethodKind::Class, delivery_queue::handleFailedDelivery.selector()) ? editor
                                                                                                      : &queue.isa();
}

}  // namespace

std::shared_ptr<DeliveryService> DeliveryService::make(const std::filesystem::path& dataFolder, MailLibrary& library,
                                                       AccountBook& accounts, FileSystem& files) {
    return std::make_shared<DeliveryServiceObject>(dataFolder, library, accounts, files);
}

DeliveryServiceObject::DeliveryServiceObject(const std::filesystem::path& dataFolder, MailLibrary& library,
                                             AccountBook& accounts, FileSystem& files)
    : dataFolder_(dataFolder),
      library_(library),
      accounts_(accounts),
      files_(files),
      journal_(dataFolder / "Deliveries", files),
      records_(dataFolder / "Deliveries" / "attempts.plist", files),
      takeBackNotes_(dataFolder / "Deliveries", files) {
    const char* className = osMinor() >= 11 ? "MFDeliveryQueue" : "DeliveryQueue";
    defineQueueClass(className);
    queueObject_ = std::make_shared<DeliveryQueueObject>(className, *this);
    HostInstances::current().deliveryQueue = queueObject_;
    lookThroughClaimed();
}

DeliveryServiceObject::~DeliveryServiceObject() {
    stop();
    alive_.reset();
    queueObject_->detach();
    if (HostInstances::current().deliveryQueue == queueObject_) HostInstances::current().deliveryQueue.reset();
}

// What was sent already, or taken back, is known for certain only when all mail is in the index.
void DeliveryServiceObject::start() {
    MailReading::of(library_).whenReadIn([this, alive = std::weak_ptr<bool>(alive_)] {
        if (alive.expired() || stopping_) return;
        recover();
        readTakeBackNotes();
        settleTakingBack();
        started_ = true;
        process();
    });
}

void DeliveryServiceObject::stop() {
    stopping_ = true;
    {
        const std::scoped_lock lock(lock_);
        if (clock_) clock_->invalidate();
    }
    queue_.cancelWaiting();
    queue_.waitUntilFinished();
}

void DeliveryServiceObject::process() {
    if (!started_ || stopping_) return;
    // One walk that has not begun yet does for all that is asked meanwhile.
    if (walkWaits_.exchange(true)) return;
    queue_.add([this] {
        walkWaits_ = false;
        walk();
    });
}

void DeliveryServiceObject::walkAgainAt(Date date) {
    const std::scoped_lock lock(lock_);
    if (nextWalk_ && *nextWalk_ <= date) return;
    nextWalk_ = date;
    setClock();
}

// In steps, since a wait notices neither that somebody sets the clock nor that the machine sleeps.
void DeliveryServiceObject::setClock() {
    if (clock_) clock_->invalidate();
    const TimeInterval wait = std::min(*nextWalk_ - RunLoop::main().now(), kLongestStep);
    clock_ = RunLoop::main().afterOnGlobalQueue(wait, [weak = std::weak_ptr(queueObject_)] {
        if (const auto queue = weak.lock()) queue->clockTicks();
    });
}

void DeliveryServiceObject::clockTicks() {
    {
        const std::scoped_lock lock(lock_);
        if (!nextWalk_) return;
        if (*nextWalk_ - RunLoop::main().now() > kRounding) return setClock();
        nextWalk_.reset();
    }
    process();
}

void DeliveryServiceObject::walk() {
    takeUpLeftovers();
    settleTakingBack();
    std::unordered_map<std::int64_t, MessageRef> seen;
    for (const auto& record : accounts_.all()) {
        auto account = MailAccount::accountWithIdentifier(record.identifier);
        auto outbox = library_.mailbox(record.identifier, MailboxKind::Outbox, false);
        if (!account || !outbox) continue;
        auto messages = library_.messagesMatchingCriterion(outbox->criterion(), 0, kSearchStore);
        std::reverse(messages.begin(), messages.end());  // first in, first out
        for (auto& message : messages) {
            if (stopping_) return;
            attempt(message, account);
            const auto id = message->libraryID();
            seen.emplace(id, std::move(message));
        }
    }
    seen_ = std::move(seen);
    const std::scoped_lock lock(lock_);
    std::erase_if(heldUntil_, [this](const auto& held) { return !seen_.contains(held.first); });
}

void DeliveryServiceObject::attempt(const MessageRef& message, const std::shared_ptr<MailAccount>& account) {
    int result = kDeliveryNotDelivered;
    lastFailure_.reset();
    mayLeave_.reset();
    try {
        result = delivery_queue::performDelivery(queueObject_, message, account);
    } catch (const std::exception& fault) {
        logError("The delivery of a message failed: " + std::string(fault.what()));
    }
    if (result == kDeliveryDelivered || result == kDeliveryInDoubt) return;
    const bool waitsAsBefore = !lastFailure_ && seen_.contains(message->libraryID());
    if (waitsAsBefore) return;
    Error error = lastFailure_.value_or(
        Error{std::string(kDeliveryErrorDomain), static_cast<int>(DeliveryError::NotTried), "The message waits.", {}});
    RunLoop::main().post([this, alive = std::weak_ptr<bool>(alive_),
                          message = lastFailure_ ? asItStandsNow(message, account) : message,
                          error = std::move(error)] {
        if (!alive.expired())
            delivery_queue::handleFailedDelivery.onClass(failureHandler(*queueObject_), message, error);
    });
}

// A message that was taken and put back is another one to the library.
MessageRef DeliveryServiceObject::asItStandsNow(const MessageRef& message,
                                                const std::shared_ptr<MailAccount>& account) {
    if (library_.messageWithID(message->libraryID())) return message;
    const auto headers = message->headersIfAvailable();
    const auto uniqueID = headers ? headers->firstHeaderForKey(MCHeaderKeyXUniversallyUniqueIdentifier) : std::nullopt;
    const auto outbox = account->_outboxMailboxCreateIfNeeded(false);
    if (!uniqueID || !outbox) return message;
    const auto found = library_.messagesMatchingCriterion(
        MessageCriterion::allOf(
            {outbox->criterion(), MessageCriterion::with(MessageCriterion::Kind::UniqueIDIs, *uniqueID)}),
        0, kSearchStore);
    return found.empty() ? message : found.front();
}

void reportFailedDelivery(const MessageRef& message, const Error& error) {
    if (error.code == static_cast<int>(DeliveryError::NotTried)) return;
    const std::string subject = message ? message->subject() : std::string();
    const auto headers = message ? message->headers() : nullptr;
    const auto uniqueID = headers ? headers->firstHeaderForKey(MCHeaderKeyXUniversallyUniqueIdentifier) : std::nullopt;
    const bool reachedSome = error.code == static_cast<int>(DeliveryError::ReachedSome);
    const std::string text = (subject.empty() ? "A message" : "“" + subject + "”") +
                             (reachedSome ? " has not reached everybody yet. " : " could not be sent. ") +
                             error.description;
    NotificationCenter::defaultCenter().post("MailDeliveryDidFail", message.get(),
                                             Dictionary{{"text", text}, {"waiting", uniqueID.value_or(std::string())}});
}

Result<MessageRef> DeliveryServiceObject::append(std::string_view account, const OutgoingMessage& message) {
    auto outbox = library_.mailbox(account, MailboxKind::Outbox, true);
    if (!outbox)
        return failure(std::string(kDeliveryErrorDomain), static_cast<int>(DeliveryError::Failed),
                       "This account has no outbox.");
    const auto headers = parseHeaders(message.content);
    std::string more;
    auto uniqueID = headers->firstHeaderForKey(MCHeaderKeyXUniversallyUniqueIdentifier);
    if (!headers->firstMessageIDForKey(MCHeaderKeyMessageId))
        more += "Message-Id: <" + newMessageID(headers->firstAddressForKey(MCHeaderKeyFrom).value_or("")) + ">\r\n";
    if (!uniqueID) {
        uniqueID = newUniqueIdentifier();
        more += std::string(MCHeaderKeyXUniversallyUniqueIdentifier) + ": " + *uniqueID + "\r\n";
    }
    // What an earlier message of that name was told does not count for this one.
    records_.forget(*uniqueID);
    auto added = library_.addFrom(*outbox, sourceOf(more, sourceOf(message)), {.seen = true}, RunLoop::main().now());
    if (added) statusDidChange();
    return added;
}

std::string DeliveryServiceObject::keyOf(const MessageSummary& summary) const {
    return summary.uniqueID.empty() ? nameOf(summary.id) : summary.uniqueID;
}

std::vector<DeliveryStatus> DeliveryServiceObject::taken() const {
    std::scoped_lock lock(lock_);
    std::vector<DeliveryStatus> result;
    for (const auto& [uniqueID, status] : taken_)
        result.push_back(status);
    return result;
}

// A message may be on its way from one place to the other meanwhile, so what is taken is looked at before and after.
std::vector<DeliveryStatus> DeliveryServiceObject::statuses() const {
    const std::vector<DeliveryStatus> before = taken();
    std::vector<DeliveryStatus> result;
    std::set<std::string> shown;
    for (const auto& record : accounts_.all())
        for (const auto& summary : waitingIn(record.identifier)) {
            result.push_back(statusOf(summary));
            shown.insert(result.back().uniqueID);
        }
    for (const auto& list : {taken(), before})
        for (const DeliveryStatus& status : list)
            if (shown.insert(status.uniqueID).second) result.push_back(status);
    return result;
}

DeliveryStatus DeliveryServiceObject::status(std::int64_t libraryID) const {
    const auto summary = library_.summary(libraryID);
    if (summary) return statusOf(*summary);
    DeliveryStatus gone;
    gone.libraryID = libraryID;
    return gone;
}

void DeliveryServiceObject::showTaking(const MessageSummary& summary, const std::string& account,
                                       const std::string& key, const DeliveryRecord& past) {
    {
        std::scoped_lock lock(lock_);
        heldUntil_.erase(summary.id);
        taken_[key] = {.state = DeliveryStatus::State::Sending,
                       .account = account,
                       .uniqueID = key,
                       .subject = summary.subject,
                       .to = summary.to,
                       .attempts = past.attempts,
                       .lastAnswer = past.lastAnswer,
                       .until = {}};
    }
    statusDidChange();
}

void DeliveryServiceObject::show(const Delivery& delivery, DeliveryStatus::State state, const std::string& answer) {
    {
        std::scoped_lock lock(lock_);
        taken_[delivery.state.uniqueID] = {.state = state,
                                           .account = delivery.state.account,
                                           .uniqueID = delivery.state.uniqueID,
                                           .subject = delivery.subject,
                                           .to = delivery.to,
                                           .attempts = delivery.state.attempts,
                                           .lastAnswer = answer,
                                           .until = {}};
    }
    statusDidChange();
}

void DeliveryServiceObject::unshow(std::string_view uniqueID) {
    {
        std::scoped_lock lock(lock_);
        if (const auto found = taken_.find(uniqueID); found != taken_.end()) taken_.erase(found);
    }
    statusDidChange();
}

bool DeliveryServiceObject::isShown(std::string_view uniqueID) const {
    std::scoped_lock lock(lock_);
    return taken_.contains(uniqueID);
}

// Many may change in one walk, and one notice does for all.
void DeliveryServiceObject::statusDidChange() {
    if (changeIsTold_.exchange(true)) return;
    RunLoop::main().post([this, alive = std::weak_ptr<bool>(alive_)] {
        if (alive.expired()) return;
        changeIsTold_ = false;
        NotificationCenter::defaultCenter().post(DeliveryStatusDidChangeNotification);
    });
}

// A sentence about a message that waits, by its unique id, means nothing once that waits no more.
void DeliveryServiceObject::tell(std::string sentence, std::string waiting) {
    logWarning(sentence);
    RunLoop::main().post([sentence = std::move(sentence), waiting = std::move(waiting)] {
        NotificationCenter::defaultCenter().post("MailDeliveryDidFail", nullptr,
                                                 Dictionary{{"text", sentence}, {"waiting", waiting}});
    });
}

void DeliveryQueueObject::resetStateAndReprocessQueue() {
    std::scoped_lock lock(lock_);
    if (service_) service_->process();
}

int DeliveryQueueObject::performDelivery(const MessageRef& message, const std::shared_ptr<MailAccount>& account) {
    // Only called from within a walk, which the service waits for before it goes.
    return service_ && message && account ? service_->deliver(message, *account) : kDeliveryNotDelivered;
}

void DeliveryQueueObject::messageIsHeldUntil(const Message& message, Date date) {
    if (service_) service_->hold(message, date);
}

void DeliveryQueueObject::messageMayLeaveNow(const Message& message) {
    if (service_) service_->letGo(message);
}

void DeliveryQueueObject::clockTicks() {
    const std::scoped_lock lock(lock_);
    if (service_) service_->clockTicks();
}

void DeliveryQueueObject::detach() {
    std::scoped_lock lock(lock_);
    service_ = nullptr;
}

}  // namespace qs
