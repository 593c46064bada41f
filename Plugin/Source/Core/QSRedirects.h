// Addresses of the scheme "quillstead", which browsers hand over after a sign-in at an outside service.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace qs {

class MailApp;

// True when the address was the plug-in's own to handle, whatever came of it. Main thread.
bool handleAddress(MailApp& app, std::string_view url);

// What such an address brings: its query, by key.
std::map<std::string, std::string> redirectValues(std::string_view query);

}  // namespace qs
