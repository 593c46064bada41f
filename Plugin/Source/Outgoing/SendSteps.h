// The steps of the send chain, as methods of the compose controller. Steps that may wait for the person or the network
// report through a block: 0 means go on, anything else stop; a step that ends the chain silently never calls it.
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "Compose/ComposeController.h"
#include "Foundation/Date.h"
#include "Foundation/Runtime.h"

namespace qs {

using SendStepBlock = std::function<void(int)>;

namespace send_steps {
inline const Operation<void(SendStepBlock)> checkForMissingAttachments{
    "checkForMissingAttachmentsWithCompletionBlock:"};
inline const Operation<void(SendStepBlock)> checkForAttachmentUploading{
    "checkForAttachmentUploadingWithCompletionBlock:"};
// Puts the invisible picture into the body and notes its UUID at the back end, or clears that.
inline const Operation<void()> addTrackingPixelToMessageBody{"addTrackingPixelToMessageBody"};
// The window of the compose controller; null once it is closed.
inline const Operation<std::shared_ptr<Window>()> composeWindow{"composeWindow"};
}  // namespace send_steps

// State that the plug-in keeps on a back end.
std::optional<Date> sendLaterDate(const ComposeBackEnd& backEnd);  // nothing: no schedule
void setSendLaterDate(ComposeBackEnd& backEnd, std::optional<Date> date);
std::optional<std::string> trackingPixelUUID(const ComposeBackEnd& backEnd);
void setTrackingPixelUUID(ComposeBackEnd& backEnd, std::optional<std::string> uuid);

}  // namespace qs
