// Getting mail out: the outbox, its journal and the delivery queue with its own thread.
//
// What is promised: a message that append() accepted is never lost and never leaves twice. It is claimed (renamed out
// of the outbox) before the first byte leaves; every stage is journalled; after a crash each stage is resumed alone; a
// send whose outcome is not known is looked for among the sent mail and else shown as "perhaps sent", for the person to
// decide.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Date.h"
#include "Foundation/Result.h"
#include "Mail/DeliveryQueue.h"
#include "Mail/Message.h"

namespace qs {

class AccountBook;
class FileSystem;
class Mailbox;
class MailLibrary;
struct OutgoingMessage;

// What is known of a message that waits, by its library id or, once claimed, by its unique id.
struct DeliveryStatus {
    enum class State { Waiting, Sending, Failed, InDoubt };
    State state = State::Waiting;
    std::string account, uniqueID;
    std::int64_t libraryID = 0;  // 0 once it is claimed
    std::string subject, to;
    int attempts = 0;
    std::string lastAnswer;    // a sentence
    bool reachedSome = false;  // only the other recipients are waited for, so it can't be changed any more
    // Waiting: held until then. Failed: tried again then. Nothing: with the next walk, or not before somebody asks.
    std::optional<Date> until;
};

class DeliveryService {
public:
    virtual ~DeliveryService() = default;
    static std::shared_ptr<DeliveryService> make(const std::filesystem::path& dataFolder, MailLibrary& library,
                                                 AccountBook& accounts, FileSystem& files);

    // Once all mail is read in, settles what a crash left (main thread) and begins to deliver, on the queue's thread.
    virtual void start() = 0;
    // Waits for an attempt under way; nothing is attempted afterwards.
    virtual void stop() = 0;

    // Puts a finished message into its account's outbox, durable when it returns. Message-Id and unique id are fixed
    // now, if the message has none yet. Any thread.
    virtual Result<MessageRef> append(std::string_view account, const OutgoingMessage& message) = 0;

    // Takes messages that wait in an outbox back, into another mailbox (drafts, trash). Of this and a delivery exactly
    // one gets each: what a delivery has taken stays with that, and the error says so. What a crash cuts off is settled
    // at the start, before the queue runs. What the disk refuses is tried again with each walk; meanwhile it does not
    // leave. Any thread.
    virtual Result<void> takeBack(const std::vector<std::int64_t>& ids, Mailbox& to) = 0;

    // Of messages that a delivery has taken out of the outbox: being sent, in doubt, or, before start(), left there by
    // a crash.
    virtual std::vector<DeliveryStatus> taken() const = 0;
    virtual std::vector<DeliveryStatus> statuses() const = 0;  // of those and of everything in outboxes
    virtual int waitingCount() const = 0;                      // how many these are
    // When the first of the held messages may leave; nothing when none is held.
    virtual std::optional<Date> firstHeldUntil() const = 0;
    // Of a message that stands in an outbox.
    virtual DeliveryStatus status(std::int64_t libraryID) const = 0;
    // Answers to "perhaps sent".
    virtual Result<void> sendAgain(std::string_view uniqueID) = 0;
    virtual Result<void> markSent(std::string_view uniqueID) = 0;
    // The person asks for an attempt now, whatever earlier ones ended with.
    virtual Result<void> tryNow(std::string_view uniqueID) = 0;

    // Once all mail is read in, what is held becomes drafts of its accounts, on the queue's own thread, before what is
    // asked of the queue later. `done` gets the number of those that moved, and why others did not; main thread.
    virtual void turnHeldIntoDrafts(std::function<void(int moved, Result<void> result)> done) = 0;
};

// Posted on the default centre, main thread, when a status changed.
inline constexpr std::string_view DeliveryStatusDidChangeNotification = "DeliveryStatusDidChange";

}  // namespace qs
