// The message writer's patch: puts the schedule and the tracking id on every message that is built from a compose
// window, drafts and autosaves included. Main thread.
#include "Core/PatchClass.h"
#include "Core/QSSession.h"
#include "Foundation/RunLoop.h"
#include "Mail/MessageHeaders.h"
#include "Outgoing/QSDelayedSend.h"
#include "Outgoing/QSHeaderKeys.h"
#include "Outgoing/SendSteps.h"
#include "Text/MailHeaderDate.h"

namespace qs {

namespace {

const Operation<std::shared_ptr<OutgoingMessage>(MessageWriter&, const ComposeContents&,
                                                 std::shared_ptr<MessageHeaders>, bool, bool)>
    quillstead_newOutgoingMessage{
        "quillstead_newOutgoingMessageUsingWriter:contents:headers:isDraft:shouldBePlainText:"};

// A draft of a scheduled message keeps its schedule. For a real send only the date that was chosen for it counts.
std::optional<Date> dateForMessage(const ComposeBackEnd& backEnd, bool isDraft) {
    auto date = sendLaterDate(backEnd);
    if (date || !isDraft) return date;
    auto original = backEnd.originalMessageHeaders();
    auto text = original ? original->firstHeaderForKey(QSHeaderKeyXScheduledDate) : std::nullopt;
    return text ? dateFromMailHeaderString(*text) : std::nullopt;
}

std::shared_ptr<OutgoingMessage> newOutgoingMessage(HostObject& self, MessageWriter& writer,
                                                    const ComposeContents& contents,
                                                    std::shared_ptr<MessageHeaders> headers, bool isDraft,
                                                    bool shouldBePlainText) {
    auto& backEnd = static_cast<ComposeBackEnd&>(self);
    if (auto date = dateForMessage(backEnd, isDraft); date && date->isAheadOf(RunLoop::main().now())) {
        const std::string text = mailHeaderStringFromDate(*date);
        headers->setHeader(text, MCHeaderKeyDate);
        headers->setHeader(text, QSHeaderKeyXScheduledDate);
    }
    if (!isDraft && QSSession::currentIfLoaded())
        forgetHeldVersion(headers->firstHeaderForKey(MCHeaderKeyXUniversallyUniqueIdentifier).value_or(""));
    if (auto uuid = trackingPixelUUID(backEnd)) headers->setHeader(*uuid, QSHeaderKeyXTrackingUUID);
    return quillstead_newOutgoingMessage(self, writer, contents, std::move(headers), isDraft, shouldBePlainText);
}

void load() {
    PatchClass patch("ComposeBackend_Quillstead");
    patch.add(quillstead_newOutgoingMessage, newOutgoingMessage);
    patch.addAsCategoryOf("ComposeBackEnd");
    patch.exchange("ComposeBackEnd", compose_back_end::newOutgoingMessage.selector(),
                   quillstead_newOutgoingMessage.selector());
    patch.finish();
}

const PatchClassRegistration registration(load);

}  // namespace

}  // namespace qs
