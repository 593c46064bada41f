// What becomes of a mail in a note: its text without what does not belong there, its attachments as files, and the
// facts about it. Main thread.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Mail/Message.h"

namespace qs {

class MessageAttachment;
class MessageBody;
class QSNote;
class WebDocument;

// A whole document without head and comments, and without quoted mail unless the settings keep it. Empty when there is
// no text.
std::string htmlForDocument(const WebDocument& document);
// The decoded text of a body: HTML or, without that, plain text. Nothing for a body without either; empty for one that
// holds no text.
std::optional<std::string> contentOfBody(MessageBody& body);
// The body, by the way that this version of the host has; null when the message is gone.
std::shared_ptr<MessageBody> bodyOfMessage(Message& message);
// Fills in all but the notebook: text, files, id, title, facts.
void fillNote(QSNote& note, Message& message, std::string content, const std::string& messageID,
              const std::vector<std::shared_ptr<MessageAttachment>>& attachments);

}  // namespace qs
