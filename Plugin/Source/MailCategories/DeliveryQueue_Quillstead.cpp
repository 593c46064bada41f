// The delivery queue's patches: scheduled and delayed mail is held back, a hold is not reported as a failure, and what
// belongs to a delivered message hears of it. Holding runs on the host's delivery thread and touches only headers,
// flags and settings there; reports of failures come on the main thread.
#include <atomic>

#include "Core/PatchClass.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Mail/DeliveryQueue.h"
#include "Mail/Message.h"
#include "Mail/MessageHeaders.h"
#include "Outgoing/AfterDelivery.h"
#include "Outgoing/HoldRules.h"
#include "Outgoing/QSHeaderKeys.h"
#include "Platform.h"
#include "Settings/UserDefaults.h"
#include "Text/MailHeaderDate.h"
#include "Viewer/MailboxesOutline.h"

namespace qs {

namespace {

using AccountRef = std::shared_ptr<MailAccount>;

const Operation<int(MessageRef, AccountRef)> quillstead_performDelivery{
    "quillstead_performDeliveryOfMessage:accountUsed:"};
const Operation<void(MessageRef, const Error&)> quillstead_handleFailedDelivery{
    "quillstead_handleFailedDeliveryOfMessage:error:"};

// What the headers of a message in the outbox say. They never change as long as it stands there, and it is asked for
// again with every heartbeat, so they are read once and kept with the message.
struct OutboxFacts {
    std::string uniqueID;  // empty: none
    bool leavesUnasked = false;
    bool isScheduled = false;
    std::optional<Date> scheduled;
};
using OutboxFactsRef = std::shared_ptr<const OutboxFacts>;
constexpr std::string_view kOutboxFacts = "quillstead_outboxFacts";

OutboxFactsRef readFacts(const MessageHeaders& headers) {
    auto facts = std::make_shared<OutboxFacts>();
    facts->uniqueID = headers.firstHeaderForKey(MCHeaderKeyXUniversallyUniqueIdentifier).value_or(std::string());
    if (facts->uniqueID.empty())
        logWarning("The message to be delivered does not have a unique identifier. Some of Quillstead's functionality "
                   "relies on this information!");
    facts->leavesUnasked = headers.hasHeaderForKey(QSHeaderKeyXUnsubscribe);
    if (const auto text = headers.firstHeaderForKey(QSHeaderKeyXScheduledDate)) {
        facts->isScheduled = true;
        facts->scheduled = dateFromMailHeaderString(*text);
    }
    return facts;
}

// Null when the headers can't be read now.
OutboxFactsRef factsOf(Message& message) {
    if (auto known = message.associated<OutboxFactsRef>(kOutboxFacts)) return known;
    const auto headers = message.headersIfAvailable();
    if (!headers) return nullptr;
    auto facts = readFacts(*headers);
    message.setAssociatedObject(kOutboxFacts, facts);
    return facts;
}

OutboxDates datesOf(const Message& message, const OutboxFacts& facts) {
    return {message.dateReceived(), facts.isScheduled, facts.scheduled};
}

SendDelay sendDelay() {
    const auto& defaults = QSPluginDelegate::quillsteadDefaults();
    return {defaults.boolForKey("QSSendDelay"), defaults.floatForKey("QSSendDelaySeconds")};
}

// One request under way does for all messages of a walk.
void showOutbox(DeliveryQueue& queue) {
    using Flag = std::shared_ptr<std::atomic<bool>>;
    constexpr std::string_view kAsked = "quillstead_askedForOutbox";
    auto asked = queue.associated<Flag>(kAsked);
    if (!asked) queue.setAssociatedObject(kAsked, asked = std::make_shared<std::atomic<bool>>(false));
    if (asked->exchange(true)) return;
    RunLoop::main().post([asked] {
        *asked = false;
        namespace storage = mailboxes_outline_view_state_storage;
        storage::setShouldShowOutbox(
            storage::sharedInstance.onClass(QSClassFromString("MailboxesOutlineViewStateStorage")), true);
    });
}

std::optional<Date> heldUntil(const Message& message, const OutboxFacts& facts) {
    const bool leavesNow = facts.leavesUnasked ||
                           QSPluginDelegate::sharedDelegate().flagForKey(QSMessageFlagSendImmediately, facts.uniqueID);
    if (leavesNow) return std::nullopt;
    return heldUntil(datesOf(message, facts), sendDelay(), RunLoop::main().now());
}

int performDelivery(HostObject& self, const MessageRef& message, const AccountRef& account) {
    if (!message || !QSSession::currentIfLoaded()) return quillstead_performDelivery(self, message, account);
    const auto facts = factsOf(*message);
    // Of a message that can't be read nothing is known: the host sees to it that it doesn't leave before its date.
    if (!facts) return quillstead_performDelivery(self, message, account);

    auto& queue = static_cast<DeliveryQueue&>(self);
    if (const auto until = heldUntil(*message, *facts)) {
        showOutbox(queue);
        queue.messageIsHeldUntil(*message, *until);
        return kDeliveryNotDelivered;
    }
    queue.messageMayLeaveNow(*message);
    auto headers = message->headersIfAvailable();  // as long as it is there
    const int result = quillstead_performDelivery(self, message, account);
    if (result == kDeliveryDelivered && headers) finishDelivery(std::move(headers));
    return result;
}

// Whether it leaves unasked is not looked at: "Send now" on a message that then fails in earnest is not reported while
// its date is still ahead.
void handleFailedDelivery(Class& cls, const MessageRef& message, const Error& error) {
    const auto facts = message && QSSession::currentIfLoaded() ? factsOf(*message) : nullptr;
    if (facts && wasHeld(datesOf(*message, *facts), sendDelay(), RunLoop::main().now())) return;
    quillstead_handleFailedDelivery.onClass(&cls, message, error);
}

void load() {
    const int minor = osMinor();
    const bool toldByEditor = minor == 10;
    PatchClass patch("DeliveryQueue_Quillstead");
    patch.add(quillstead_performDelivery, performDelivery);
    patch.addClassMethod(quillstead_handleFailedDelivery, handleFailedDelivery);
    patch.addAsCategoryOf("DeliveryQueue");
    if (toldByEditor) patch.addAsCategoryOf("DocumentEditor");
    patch.exchange("DeliveryQueue", delivery_queue::performDelivery.selector(), quillstead_performDelivery.selector());
    if (minor >= 10)
        patch.exchangeClassMethods(toldByEditor ? "DocumentEditor" : "DeliveryQueue",
                                   delivery_queue::handleFailedDelivery.selector(),
                                   quillstead_handleFailedDelivery.selector());
    patch.finish();
}

const PatchClassRegistration registration(load);

}  // namespace

}  // namespace qs
