// The document in which a message's body is shown. The host gives it the HTML as the message has it; what is in it then
// is made safe and shown, so a plug-in can change what is displayed. Main thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Foundation/Runtime.h"

namespace qs {

class MessageAttachment;

class WebDocument : public HostObject {
public:
    WebDocument() : HostObject("MUIWebDocument") {}
    std::string html;
    std::vector<std::shared_ptr<MessageAttachment>>
        attachments;  // of the message; only where a viewer gives the document
};

namespace web_document {
inline const Operation<void(const std::string& html)> setHtml{"setHtml:"};  // exchangeable
}  // namespace web_document

}  // namespace qs
