// Class "MFSnippetManager": the first words of messages, for those who list many of them. Main thread.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "Foundation/Runtime.h"
#include "Mail/Message.h"

namespace qs {

namespace snippet_manager {
inline const Operation<std::shared_ptr<HostObject>()> sharedInstance{"sharedInstance"};  // class method
// Exchangeable. One look for all of them, blocking but quick. A message without text, or that is gone, is left out.
inline const Operation<std::map<MessageRef, std::string>(const MessageList& messages)> fetchSnippetsForMessages{
    "fetchSnippetsForMessages:"};
}  // namespace snippet_manager

}  // namespace qs
