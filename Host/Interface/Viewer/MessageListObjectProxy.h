// One row of the message list while it is drawn: stands for a message or a conversation, and answers what the row shows
// of it. Only rows in sight have one, and it lives no longer than they are.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Foundation/Runtime.h"
#include "Mail/Message.h"

namespace qs {

// A small picture in a row: its name ("plugin:MessageListNote"), what it tells, for those who can't see it, and the
// length of its sides in points.
struct ListIcon {
    std::string image, label;
    int size = 14;
};

// What a conversation's row stands for.
class MessageThread : public HostObject {
public:
    explicit MessageThread(MessageRef message) : HostObject("MFMessageThread"), snippetMessage(std::move(message)) {}
    const MessageRef snippetMessage;  // the one whose beginning the row shows; null when it is gone
};

// All rows that are drawn at once. It goes when they are drawn: what a plug-in looked up for all of them in one go, it
// keeps with this (as an associated object) and need not look up for each.
class MessageListDrawing : public HostObject {
public:
    explicit MessageListDrawing(std::vector<std::string> ids)
        : HostObject("MessageListDrawing"), messageIDs(std::move(ids)) {}
    const std::vector<std::string> messageIDs;  // of the rows' messages, without angle brackets; none is empty
};

class MessageListObjectProxy : public HostObject {
public:
    using HostObject::HostObject;  // class "MessageListObjectProxy"
    // A Message or a MessageThread; null when the message is gone.
    virtual std::shared_ptr<HostObject> message() const = 0;
    virtual bool selected() const = 0;
    virtual MessageListDrawing& drawing() const = 0;
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
