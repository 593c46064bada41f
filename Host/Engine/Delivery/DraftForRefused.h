// What remains to be done when a message reached some of its recipients and others were refused for good.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace qs {

// The message as a draft to the refused recipients alone, each in the field where it stood. It becomes a message of its
// own: without Message-Id, unique id, the headers of other programs and pictures that tell when it is read.
std::string draftForRefused(std::string_view content, const std::map<std::string, std::string>& refused);

}  // namespace qs
