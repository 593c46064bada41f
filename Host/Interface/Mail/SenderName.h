// The name by which a person knows who wrote a message.
#pragma once

#include <string>

namespace qs {

class Message;

std::string senderDisplayName(const Message& message);  // "Ada Lovelace"; the address where no name can be shown

}  // namespace qs
