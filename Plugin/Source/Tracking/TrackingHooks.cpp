#include "Tracking/TrackingHooks.h"

#include "Account/QSBackend.h"
#include "Core/QSLifecycleHooks.h"
#include "Core/QSSession.h"
#include "Outgoing/QSSendHooks.h"
#include "Tracking/QSTrackingPixelManager.h"

namespace qs {

void installTrackingHooks(QSSession& session) {
    session.lifecycleHooks().syncTrackingPixels = [] {
        if (QSBackend::isConfigured()) QSTrackingPixelManager::syncTrackingPixels();
    };
    auto& hooks = session.sendHooks();
    hooks.pixelWasDelivered = QSTrackingPixelManager::pixelWasDelivered;
    // Where nothing can ever have been tracked, the store is not even opened for it.
    hooks.messagesWereAnswered = [](const std::vector<std::string>& messageIDs, Date received) {
        if (QSBackend::isConfigured()) QSTrackingPixelManager::messageRefersTo(messageIDs, received);
    };
}

}  // namespace qs
