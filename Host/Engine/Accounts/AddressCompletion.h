// What a typed beginning of a name or address may become: the person's contacts, then people seen in mail.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qs {

class MailLibrary;

// Display forms, best first, each address once: contacts that mail goes to and comes from most, other contacts by name,
// then addresses seen in mail. Main thread.
std::vector<std::string> completeAddress(MailLibrary& library, std::string_view prefix, std::size_t limit);

}  // namespace qs
