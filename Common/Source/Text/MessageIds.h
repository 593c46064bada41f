// The forms of a message id and of a content id. Message ids keep the form they have in the header, mostly in angle
// brackets.
#pragma once

#include <string>
#include <string_view>

namespace qs {

// "message://" and the id: what leads from a note or a reminder back to its message.
std::string messageURLForMessageID(std::string_view messageID);

// "<", ">" and "@" as escapes, nothing else.
std::string HTMLEscapedMessageID(std::string_view text);
// The other way round; "message://" goes as well, so that a message's URL gives back the id.
std::string HTMLUnescapedMessageID(std::string_view text);
// Without any angle brackets, then without a leading "cid:".
std::string trimmedContentID(std::string_view text);

}  // namespace qs
