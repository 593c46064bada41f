// One row of the message list while it is drawn: stands for a message, and answers what the row shows of it. Only rows
// in sight have one, and it lives no longer than they are.
#pragma once

#include <string>
#include <vector>

#include "Foundation/Runtime.h"
#include "Mail/Message.h"

namespace qs {

// A small picture in a row: its name ("plugin:MessageListNote") and what it tells, for those who can't see it.
struct ListIcon {
    std::string image, label;
};

class MessageListObjectProxy : public HostObject {
public:
    using HostObject::HostObject;  // class "MessageListObjectProxy"
    virtual MessageRef message() const = 0;
    virtual bool selected() const = 0;
    // As the list writes a date of today ("14:05"), and one of another day with its time ("Mar 3, 14:05"), in the
    // user's locale.
    virtual std::string todayText(Date date) const = 0;
    virtual std::string dateText(Date date) const = 0;
};

namespace message_list_object_proxy {  // exchangeable
inline const Operation<std::vector<ListIcon>()> flagImages{"flagImages"};
inline const Operation<std::string()> dateString{"dateString"};
}  // namespace message_list_object_proxy

}  // namespace qs
