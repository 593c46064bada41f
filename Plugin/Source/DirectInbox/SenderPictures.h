// Pictures of those who wrote, from the host's address book or, where that has none, made of their initials. Asks for
// each address once. Main thread.
#pragma once

#include <map>
#include <string>

namespace qs {

class Message;

class SenderPictures {
public:
    static std::string addressOf(const Message& message);  // of the sender, bare
    // A data URL; empty for none.
    const std::string& of(const Message& message, const std::string& senderDisplayName);

private:
    std::map<std::pair<std::string, std::string>, std::string> known_;  // by address and name
};

}  // namespace qs
