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
#include "Mime/MessageWriter.h"
#include "Mime/MimeMessage.h"
#include "Platform.h"

namespace qs {

namespace {

constexpr int kMostListed = 10'000;

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

void DeliveryServiceObject::start() {
    recover();
    readTakeBackNotes();
    settleTakingBack();
    started_ = true;
    process();
}

void DeliveryServiceObject::stop() {
    stopping_ = true;
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

// Also without anybody who starts the queue from time to time, a message is tried again when its wait is over.
void DeliveryServiceObject::walkAgainAt(Date date) {
    std::scoped_lock lock(lock_);
    if (nextWalk_ && *nextWalk_ <= date) return;
    nextWalk_ = date;
    RunLoop::main().after(date - RunLoop::main().now(), [this, alive = std::weak_ptr<bool>(alive_)] {
        if (alive.expired()) return;
        {
            std::scoped_lock guard(lock_);
            nextWalk_.reset();
        }
        process();
    });
}

void DeliveryServiceObject::walk() {
    takeUpLeftovers();
    settleTakingBack();
    for (const auto& record : accounts_.all()) {
        auto account = MailAccount::accountWithIdentifier(record.identifier);
        auto outbox = library_.mailbox(record.identifier, MailboxKind::Outbox, false);
        if (!account || !outbox) continue;
        auto messages = library_.messagesMatchingCriterion(outbox->criterion(), 0, kSearchStore);
        std::reverse(messages.begin(), messages.end());  // first in, first out
        for (const auto& message : messages) {
            if (stopping_) return;
            attempt(message, account);
        }
    }
}

void DeliveryServiceObject::attempt(const MessageRef& message, const std::shared_ptr<MailAccount>& account) {
    int result = kDeliveryNotDelivered;
    lastFailure_.reset();
    try {
        result = delivery_queue::performDelivery(queueObject_, message, account);
    } catch (const std::exception& fault) {
        logError("The delivery of a message failed: " + std::string(fault.what()));
    }
    if (result == kDeliveryDelivered || result == kDeliveryInDoubt) return;
    Error error = lastFailure_.value_or(
        Error{std::string(kDeliveryErrorDomain), static_cast<int>(DeliveryError::NotTried), "The message waits.", {}});
    RunLoop::main().post([this, alive = std::weak_ptr<bool>(alive_), message = asItStandsNow(message, account),
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
    NotificationCenter::defaultCenter().post(
        "MailDeliveryDidFail", message.get(),
        Dictionary{{"text", (subject.empty() ? "A message" : "\"" + subject + "\"") + " could not be sent. " +
                                error.description}});
}

Result<MessageRef> DeliveryServiceObject::append(std::string_view account, const OutgoingMessage& message) {
    auto outbox = library_.mailbox(account, MailboxKind::Outbox, true);
    if (!outbox)
        return failure(std::string(kDeliveryErrorDomain), static_cast<int>(DeliveryError::Failed),
                       "This account has no outbox.");
    auto headers = parseHeaders(message.content);
    std::string content = message.content;
    if (!headers->firstMessageIDForKey(MCHeaderKeyMessageId))
        content.insert(0, "Message-Id: <" + newMessageID(headers->firstAddressForKey(MCHeaderKeyFrom).value_or("")) +
                              ">\r\n");
    if (!headers->hasHeaderForKey(MCHeaderKeyXUniversallyUniqueIdentifier))
        content.insert(0, std::string(MCHeaderKeyXUniversallyUniqueIdentifier) + ": " + newUniqueIdentifier() + "\r\n");
    // What an earlier message of that name was told does not count for this one.
    records_.forget(
        parseHeaders(content)->firstHeaderForKey(MCHeaderKeyXUniversallyUniqueIdentifier).value_or(std::string()));
    auto added = library_.add(*outbox, content, {.seen = true}, RunLoop::main().now());
    if (added) statusDidChange();
    return added;
}

std::string DeliveryServiceObject::keyOf(std::int64_t libraryID) const {
    const auto summary = library_.summary(libraryID);
    if (!summary) return {};
    return summary->uniqueID.empty() ? nameOf(libraryID) : summary->uniqueID;
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
    for (const auto& record : accounts_.all())
        if (auto outbox = library_.mailbox(record.identifier, MailboxKind::Outbox, false))
            for (const auto& summary : library_.page(outbox->criterion(), {}, 0, kMostListed).rows)
                result.push_back(status(summary.id));
    for (const auto& list : {taken(), before})
        for (const DeliveryStatus& status : list)
            if (std::none_of(result.begin(), result.end(),
                             [&](const auto& r) { return r.uniqueID == status.uniqueID; }))
                result.push_back(status);
    return result;
}

DeliveryStatus DeliveryServiceObject::status(std::int64_t libraryID) const {
    DeliveryStatus status;
    status.libraryID = libraryID;
    auto summary = library_.summary(libraryID);
    if (!summary) return status;
    status.uniqueID = keyOf(libraryID);
    const DeliveryRecord record = records_.record(status.uniqueID);
    status.subject = summary->subject;
    status.to = summary->to;
    status.attempts = record.attempts;
    status.lastAnswer = record.lastAnswer;
    status.state = record.attempts > 0 ? DeliveryStatus::State::Failed : DeliveryStatus::State::Waiting;
    return status;
}

void DeliveryServiceObject::showTaking(std::int64_t libraryID, const std::string& key, const DeliveryRecord& past) {
    const auto summary = library_.summary(libraryID);
    {
        std::scoped_lock lock(lock_);
        taken_[key] = {.state = DeliveryStatus::State::Sending,
                       .uniqueID = key,
                       .subject = summary ? summary->subject : "",
                       .to = summary ? summary->to : "",
                       .attempts = past.attempts,
                       .lastAnswer = past.lastAnswer};
    }
    statusDidChange();
}

void DeliveryServiceObject::show(const Delivery& delivery, DeliveryStatus::State state, const std::string& answer) {
    {
        std::scoped_lock lock(lock_);
        taken_[delivery.state.uniqueID] = {state,       delivery.state.uniqueID, 0,     delivery.subject,
                                           delivery.to, delivery.state.attempts, answer};
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

void DeliveryServiceObject::statusDidChange() {
    RunLoop::main().post([] { NotificationCenter::defaultCenter().post(DeliveryStatusDidChangeNotification); });
}

void DeliveryServiceObject::tell(std::string sentence, std::string uniqueID) {
    logWarning(sentence);
    RunLoop::main().post([sentence = std::move(sentence), uniqueID = std::move(uniqueID)] {
        NotificationCenter::defaultCenter().post("MailDeliveryDidFail", nullptr,
                                                 Dictionary{{"text", sentence}, {"uniqueID", uniqueID}});
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

void DeliveryQueueObject::detach() {
    std::scoped_lock lock(lock_);
    service_ = nullptr;
}

}  // namespace qs
