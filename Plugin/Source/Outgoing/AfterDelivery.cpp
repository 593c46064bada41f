#include "Outgoing/AfterDelivery.h"

#include <optional>
#include <string>

#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Mail/MessageHeaders.h"
#include "Outgoing/QSHeaderKeys.h"
#include "Outgoing/QSSendHooks.h"

namespace qs {

namespace {

void tellPixel(const MessageHeaders& headers, const std::optional<std::string>& messageID) {
    const auto uuid = headers.firstHeaderForKey(QSHeaderKeyXTrackingUUID);
    if (!uuid || !messageID) return;
    RunLoop::main().post([uuid = *uuid, messageID = *messageID] {
        auto* session = QSSession::currentIfLoaded();
        if (session && session->sendHooks().pixelWasDelivered) session->sendHooks().pixelWasDelivered(uuid, messageID);
    });
}

// The follow-up was made when the message was sent, under its unique id.
void tellFollowUp(const MessageHeaders& headers, const std::string& uniqueID,
                  const std::optional<std::string>& messageID) {
    if (uniqueID.empty()) return;
    std::string notes = stringWithFormat(
        "%@ %@", {QSLocalizedString("To:"), headers.firstAddressForKey(MCHeaderKeyTo).value_or(std::string())});
    RunLoop::main().post([uniqueID, messageID, notes = std::move(notes)] {
        auto* session = QSSession::currentIfLoaded();
        if (session && session->sendHooks().followUpWasDelivered)
            session->sendHooks().followUpWasDelivered(uniqueID, messageID, notes);
    });
}

}  // namespace

void finishDelivery(std::shared_ptr<MessageHeaders> headers) {
    QSSession::current().globalQueue().add([headers = std::move(headers)] {
        const auto messageID = headers->firstMessageIDForKey(MCHeaderKeyMessageId);
        if (!messageID)
            logWarning(
                "There is no valid message-ID for this email. Tracking and Follow-Up might not work as expected!");
        const std::string uniqueID =
            headers->firstHeaderForKey(MCHeaderKeyXUniversallyUniqueIdentifier).value_or(std::string());
        tellPixel(*headers, messageID);
        tellFollowUp(*headers, uniqueID, messageID);
        QSPluginDelegate::sharedDelegate().setFlag(false, QSMessageFlagSendImmediately, uniqueID);
    });
}

}  // namespace qs
