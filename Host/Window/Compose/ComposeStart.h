// What a compose window begins with, for each way of opening one: a new message, an answer, a forwarded message, a
// draft or a message that waits in the outbox. Main thread.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Compose/DraftKeeper.h"
#include "Compose/OriginalSnapshot.h"
#include "ComposeWindow.h"
#include "Foundation/Result.h"

namespace qs {

class AttachmentFolder;
class MailEngine;

struct ComposeStart {
    ComposeMode mode = ComposeMode::New;
    std::string account, fromAddress;  // both empty when there is no account
    std::string uniqueID;
    std::vector<std::string> to, cc, bcc;  // display forms
    std::string subject;
    std::string body;  // clean (BodyMarkup.h)
    bool plainText = false;
    // In-Reply-To, References and what else a draft keeps that the window does not show.
    std::vector<std::pair<std::string, std::string>> keptHeaders;
    std::string answers, forwards;  // Message-Ids without brackets, of the message to be marked after sending
    std::shared_ptr<OriginalSnapshot> original;  // the draft or held message; null for others
    bool isHeld = false;                         // `original` stood in an outbox
    std::optional<OpenedDraft> draft;            // what the first saved version replaces
};

// Copies attachments into the folder. Fails when the message can't be read: an empty window in its place would look as
// if the text were lost.
Result<ComposeStart> startOf(const ComposeRequest& request, MailEngine& engine, AttachmentFolder& attachments);

// The main address of an account; empty for none.
std::string mainAddress(MailEngine& engine, const std::string& account);

}  // namespace qs
