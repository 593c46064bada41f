#include "Application/MailApp.h"

#include "Application/HostInstances.h"

namespace qs {

std::shared_ptr<MailApp> MailApp::shared() { return HostInstances::current().application; }

std::string AppleEvent::stringForKeyword(std::uint32_t keyword) const {
    const auto found = parameters.find(keyword);
    return found == parameters.end() ? std::string() : found->second;
}

}  // namespace qs
