// The delivery service behind its face: the queue's own thread walks the outboxes; each message goes through the
// exchangeable delivery operation; the host's own code for it (here) claims, journals, transmits and keeps the copy.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "Delivery/DeliveryJournal.h"
#include "Delivery/DeliveryRecords.h"
#include "DeliveryService.h"
#include "Foundation/RunLoop.h"
#include "Smtp/SmtpTransport.h"

namespace qs {

class Mailbox;
struct AccountRecord;

class DeliveryServiceObject;

// The host object that plug-ins see.
class DeliveryQueueObject : public DeliveryQueue {
public:
    DeliveryQueueObject(std::string_view className, DeliveryServiceObject& service)
        : DeliveryQueue(className), service_(&service) {}
    void resetStateAndReprocessQueue() override;
    // The host's own code of performDelivery. Delivery thread.
    int performDelivery(const MessageRef& message, const std::shared_ptr<MailAccount>& account);
    void detach();  // the service goes; the object may live on in somebody's hand

private:
    std::mutex lock_;
    DeliveryServiceObject* service_;
};

class DeliveryServiceObject : public DeliveryService {
public:
    DeliveryServiceObject(const std::filesystem::path& dataFolder, MailLibrary& library, AccountBook& accounts,
                          FileSystem& files);
    ~DeliveryServiceObject() override;

    void start() override;
    void stop() override;
    Result<MessageRef> append(std::string_view account, const OutgoingMessage& message) override;
    std::vector<DeliveryStatus> taken() const override;
    std::vector<DeliveryStatus> statuses() const override;
    DeliveryStatus status(std::int64_t libraryID) const override;
    Result<void> sendAgain(std::string_view uniqueID) override;
    Result<void> markSent(std::string_view uniqueID) override;
    Result<void> tryNow(std::string_view uniqueID) override;

    void process();  // walk the outboxes, soon
    int deliver(const MessageRef& message, MailAccount& account);
    std::shared_ptr<DeliveryQueueObject> queueObject() const { return queueObject_; }

private:
    // One claimed message on its way.
    struct Delivery {
        DeliveryJournal::State state;
        std::string content, messageID, subject, to, from;
        std::vector<std::string> recipients;  // bare, each once
    };

    void walk();
    void attempt(const MessageRef& message, const std::shared_ptr<MailAccount>& account);
    int transmitAndSettle(Delivery& delivery, const AccountRecord& account);
    SmtpOutcome transmit(Delivery& delivery, const AccountRecord& account);
    SmtpOutcome deliverLocally(Delivery& delivery, const AccountRecord& account);
    int finishAccepted(Delivery& delivery, const SmtpOutcome& outcome);
    int releaseAfterFailure(Delivery& delivery, const SmtpOutcome& outcome);
    Result<void> saveSentCopyAndTidy(Delivery& delivery);
    Result<void> putBack(Delivery& delivery);
    int keepInDoubt(Delivery& delivery, const std::string& answer);

    // Settling what a crash left.
    void lookThroughClaimed();  // fills taken_, before anything is settled
    void recover();
    void recoverClaimed(const std::filesystem::path& file, const std::string& account,
                        const std::vector<DeliveryJournal::State>& journals);
    std::optional<Delivery> read(DeliveryJournal::State state);
    bool standsAmongSent(const Delivery& delivery);
    void putAside(const std::filesystem::path& file);

    std::filesystem::path claimedFolder(const std::string& account) const;
    std::vector<std::filesystem::path> claimedFiles(const std::string& account);
    std::optional<Delivery> takeDoubtful(std::string_view uniqueID);
    void show(const Delivery& delivery, DeliveryStatus::State state, const std::string& answer);
    void unshow(std::string_view uniqueID);
    void statusDidChange();
    void tell(std::string sentence, std::string uniqueID = {});

    std::filesystem::path dataFolder_;
    MailLibrary& library_;
    AccountBook& accounts_;
    FileSystem& files_;
    DeliveryJournal journal_;
    DeliveryRecords records_;
    std::shared_ptr<DeliveryQueueObject> queueObject_;
    mutable std::mutex lock_;
    std::map<std::string, DeliveryStatus, std::less<>> taken_;  // by unique id
    std::map<std::string, Delivery, std::less<>> inDoubt_;
    std::optional<Error> lastFailure_;  // of the host's own code in the attempt under way; delivery thread
    std::atomic<bool> started_ = false, stopping_ = false, walkWaits_ = false;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    OperationQueue queue_{1};  // the queue's own thread; last, so that it ends first
};

// The host's own code of handleFailedDelivery, shared by the classes that have it: tells the person, once for each
// message and answer. Main thread.
void reportFailedDelivery(const MessageRef& message, const Error& error);

inline constexpr std::string_view kDeliveryErrorDomain = "Delivery";
enum class DeliveryError {
    NotTried = 1,  // held back by somebody else, or not due yet
    Failed,        // will be tried again
    Refused        // will not
};

}  // namespace qs
