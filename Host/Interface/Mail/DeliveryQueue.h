// The host's delivery queue: walks the outboxes on a thread of its own and hands each message to its account's server
// or, between local accounts, to the other's inbox.
#pragma once

#include <memory>
#include <string_view>

#include "Foundation/Date.h"
#include "Foundation/Result.h"
#include "Foundation/Runtime.h"

namespace qs {

class MailAccount;
class Message;

// What a delivery attempt ends with.
enum DeliveryResult { kDeliveryNotDelivered = 1, kDeliveryFailed = 2, kDeliveryInDoubt = 3, kDeliveryDelivered = 5 };

class DeliveryQueue : public HostObject {
public:
    using HostObject::HostObject;  // class "DeliveryQueue" (10), "MFDeliveryQueue" (11 and up)
    // Null before the host has one.
    static std::shared_ptr<DeliveryQueue> sharedDeliveryQueue();

    // Forgets the state of earlier attempts and walks all outboxes again, soon, on the queue's own thread. From every
    // thread; a walk under way is followed by one more.
    virtual void resetStateAndReprocessQueue() = 0;

    // For code in front of performDelivery, about the message of the attempt under way. Delivery thread.
    //
    // It is held until then: the person is told so, and the queue tries again at that time, if nobody asks for it
    // earlier.
    virtual void messageIsHeldUntil(const Message& message, Date date) = 0;
    // It may leave now. Otherwise the host's own code keeps mail whose date lies ahead until that date, so that nothing
    // that was scheduled leaves early for want of the plug-in that scheduled it.
    virtual void messageMayLeaveNow(const Message& message) = 0;
};

namespace delivery_queue {
// Exchangeable; called on the delivery thread for each message of an outbox. Answers a DeliveryResult; anything but
// kDeliveryDelivered and kDeliveryInDoubt leaves the message in the outbox.
inline const Operation<int(std::shared_ptr<Message> message, std::shared_ptr<MailAccount> account)> performDelivery{
    "_performDeliveryOfMessage:accountUsed:"};
// Exchangeable class method, of DeliveryQueue (11 and up) or DocumentEditor (10): tells the user that a message could
// not be delivered. Called on the main thread after an attempt that ended without delivery; for a message that nothing
// is to be said of, as it only waits, after the first of them alone.
inline const Operation<void(std::shared_ptr<Message> message, const Error& error)> handleFailedDelivery{
    "handleFailedDeliveryOfMessage:error:"};
}  // namespace delivery_queue

// Posted on the default centre, main thread, when a message turns out to have been delivered although no attempt told
// so: it was cut off, or its outcome was in doubt. Object: the message's copy among the sent mail. Perhaps more than
// once.
inline constexpr std::string_view DeliveryWasSettledNotification = "DeliveryWasSettled";

}  // namespace qs
