// The delivery service behind its face: the queue's own thread walks the outboxes; each message goes through the
// exchangeable delivery operation; the host's own code for it (here) claims, journals, transmits and keeps the copy.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>

#include "Delivery/DeliveryJournal.h"
#include "Delivery/DeliveryRecords.h"
#include "Delivery/TakeBackNotes.h"
#include "DeliveryService.h"
#include "Foundation/RunLoop.h"
#include "Smtp/SmtpTransport.h"

namespace qs {

class Mailbox;
struct AccountRecord;
struct MessageSummary;

class DeliveryServiceObject;

// The host object that plug-ins see.
class DeliveryQueueObject : public DeliveryQueue {
public:
    DeliveryQueueObject(std::string_view className, DeliveryServiceObject& service)
        : DeliveryQueue(className), service_(&service) {}
    void resetStateAndReprocessQueue() override;
    void messageIsHeldUntil(const Message& message, Date date) override;
    void messageMayLeaveNow(const Message& message) override;
    // The host's own code of performDelivery. Delivery thread.
    int performDelivery(const MessageRef& message, const std::shared_ptr<MailAccount>& account);
    void clockTicks();  // of the service's clock; any thread
    void detach();      // the service goes; the object may live on in somebody's hand

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
    Result<void> takeBack(const std::vector<std::int64_t>& ids, Mailbox& to) override;
    int waitingCount() const override;
    std::optional<Date> firstHeldUntil() const override;
    void turnHeldIntoDrafts(std::function<void(int, Result<void>)> done) override;

    void process();  // walk the outboxes, soon
    int deliver(const MessageRef& message, MailAccount& account);
    void hold(const Message& message, Date until);
    void letGo(const Message& message);
    void clockTicks();
    std::shared_ptr<DeliveryQueueObject> queueObject() const { return queueObject_; }

private:
    // One claimed message on its way. The unique id of its state stands for the message in records and statuses; one
    // that has none in its headers goes by the name of its file.
    struct Delivery {
        DeliveryJournal::State state;
        std::string messageID, subject, to, from;
        std::uint64_t transmittedSize = 0;    // bytes of what goes to a server
        std::vector<std::string> recipients;  // bare, each once; without those that need nothing more
    };

    void walk();
    // Also without anybody who starts the queue from time to time: a walk at that time. By the wall clock, and beside
    // the main thread.
    void walkAgainAt(Date date);
    void setClock();  // under the lock
    void attempt(const MessageRef& message, const std::shared_ptr<MailAccount>& account);
    MessageRef asItStandsNow(const MessageRef& message, const std::shared_ptr<MailAccount>& account);
    int transmitAndSettle(Delivery& delivery, const AccountRecord& account);
    SmtpOutcome transmit(Delivery& delivery, const AccountRecord& account);
    SmtpOutcome deliverLocally(Delivery& delivery, const AccountRecord& account);
    Result<void> addToInbox(const Delivery& delivery, Mailbox& inbox, const std::string& recipient);
    Result<void> noteRefused(Delivery& delivery, const SmtpRefusals& refused);
    void noteAccepted(Delivery& delivery);
    int finishAccepted(Delivery& delivery);
    int waitForTheRest(const Delivery& delivery, const std::map<std::string, std::string>& later);
    int releaseAfterFailure(Delivery& delivery, const SmtpOutcome& outcome);
    int keepInDoubt(Delivery& delivery, const std::string& answer);

    // What the stages end with; in Settling.cpp.
    // Reads the file to its end once, so that a damaged one is found before anything is told to a server.
    Result<Delivery> read(DeliveryJournal::State state);
    Result<ByteSource> contentOf(const Delivery& delivery);
    Result<void> saveSentCopyAndTidy(Delivery& delivery);
    Result<void> saveDraftForRefused(const Delivery& delivery);
    Result<void> keepForTheRest(Delivery& delivery);
    Result<void> tidy(Delivery& delivery);
    Result<void> putBack(Delivery& delivery);
    bool standsAmongSent(const Delivery& delivery);
    void putAside(const std::filesystem::path& file, const Error& error);
    void tellRefused(const Delivery& delivery);
    void tellSettled(const Delivery& delivery);
    void tellUnsettled(const Delivery& delivery, DeliveryStatus::State state, const std::string& sentence);

    // Settling what a crash or a failing disk left; in Recovery.cpp.
    void lookThroughClaimed();  // fills taken_, before anything is settled
    void recover();
    void takeUpLeftovers();
    void recoverClaimed(const std::filesystem::path& file, const std::string& account,
                        const std::vector<DeliveryJournal::State>& journals);
    void forgetOldRecords();

    // Taking messages back; in TakingBack.cpp.
    struct TakingBack {
        TakeBackNote note;
        bool isNoted = false;  // on the disk
        bool isBusy = false;   // somebody is at it
        bool isOver = false;
    };
    Result<void> takeBackOne(std::int64_t id, Mailbox& to);
    Result<void> carryOut(TakingBack& one, std::int64_t id, Mailbox& to);
    void endTakingBack(const TakingBack& one);
    void readTakeBackNotes();
    void settleTakingBack();
    void settle(TakingBack& one);
    // `isCertain` becomes false when an outbox could not be read.
    std::optional<std::int64_t> inOutbox(const std::string& name, bool& isCertain);
    bool stands(const TakeBackNote& note, const Mailbox& mailbox);
    void tellTakenBack(const TakeBackNote& note, const Mailbox& mailbox);
    bool isBeingTakenBack(std::int64_t libraryID) const;
    std::string nameOf(std::int64_t libraryID) const;  // the unique part of its file's name; empty when it is gone

    std::vector<MessageSummary> waitingIn(const std::string& account) const;
    Result<void> turnHeldIntoDrafts(const std::string& account, int& moved);
    std::filesystem::path outboxFolder(const std::string& account) const;
    std::filesystem::path claimedFolder(const std::string& account) const { return outboxFolder(account) / "claimed"; }
    std::vector<std::filesystem::path> claimedFiles(const std::string& account);
    // By which records and statuses know the message.
    std::string keyOf(const MessageSummary& summary) const;
    DeliveryStatus statusOf(const MessageSummary& summary) const;
    std::optional<Delivery> takeDoubtful(std::string_view uniqueID);
    Result<void> settleDoubt(std::string_view uniqueID, const std::function<Result<void>(Delivery&)>& settle);
    void showTaking(const MessageSummary& summary, const std::string& account, const std::string& key,
                    const DeliveryRecord& past);
    void show(const Delivery& delivery, DeliveryStatus::State state, const std::string& answer);
    void unshow(std::string_view uniqueID);
    bool isShown(std::string_view uniqueID) const;
    void statusDidChange();
    void tell(std::string sentence, std::string uniqueID = {});

    std::filesystem::path dataFolder_;
    MailLibrary& library_;
    AccountBook& accounts_;
    FileSystem& files_;
    DeliveryJournal journal_;
    DeliveryRecords records_;
    TakeBackNotes takeBackNotes_;
    std::shared_ptr<DeliveryQueueObject> queueObject_;
    mutable std::mutex lock_;
    std::map<std::string, DeliveryStatus, std::less<>> taken_;  // by unique id
    std::map<std::string, Delivery, std::less<>> inDoubt_;
    std::map<std::string, TakingBack, std::less<>> takingBack_;  // by the name of the queued file
    std::set<std::filesystem::path> doubtful_;          // files of those in doubt, also while the answer is carried out
    std::unordered_map<std::int64_t, Date> heldUntil_;  // by library id
    std::optional<Date> nextWalk_;
    TimerRef clock_;  // of nextWalk_
    // Of the queue's own thread.
    std::optional<Error> lastFailure_;      // of the host's own code in the attempt under way
    std::optional<std::int64_t> mayLeave_;  // the message of that attempt, if somebody said so
    // In the last walk. What others hung on these objects lasts until the next one.
    std::unordered_map<std::int64_t, MessageRef> seen_;
    std::atomic<bool> started_ = false, stopping_ = false, walkWaits_ = false, changeIsTold_ = false;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    // The queue's own thread, which no other work can keep busy; last, so that it ends first.
    OperationQueue queue_{1, OperationQueue::Threads::Own};
};

// The host's own code of handleFailedDelivery, shared by the classes that have it: tells the person, once for each
// message and answer. Main thread.
void reportFailedDelivery(const MessageRef& message, const Error& error);

inline constexpr std::string_view kDeliveryErrorDomain = "Delivery";
enum class DeliveryError {
    NotTried = 1,  // held back by somebody else, or not due yet
    Failed,        // will be tried again
    Refused,       // will not
    HasLeft,       // it is not in the outbox any more
    ReachedSome    // will be tried again for the others
};

}  // namespace qs
