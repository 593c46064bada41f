// The name by which a person knows who wrote a message.
#pragma once

#include <string>
#include <string_view>

namespace qs {

class Message;

// "Ada Lovelace"; the address where no name can be shown.
std::string senderDisplayName(const Message& message);
// The same of the field From in display form; one that names nobody is told as it is.
std::string senderDisplayName(std::string_view from);

}  // namespace qs
