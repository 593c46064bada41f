// The small pictures of a message's row, in their fixed order, and the key for its task. Main thread.
#pragma once

#include <cstdint>

#include "DirectInbox/QSDirectInboxRow.h"

namespace qs {

class MessageMarks;

void addFlagImages(QSDirectInboxRow& row, const Message& message, std::uint32_t messageFlags,
                   const MessageMarks& marks);

}  // namespace qs
