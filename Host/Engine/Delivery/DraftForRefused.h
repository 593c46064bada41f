// What remains to be done when a message reached some of its recipients and others were refused for good.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace qs {

// The message as a draft to the refused recipients alone, each in the field where it stood; without Message-Id and
// unique id, for it becomes a message of its own.
std::string draftForRefused(std::string_view content, const std::map<std::string, std::string>& refused);

}  // namespace qs
