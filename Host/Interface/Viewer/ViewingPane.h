// The part of a viewer that shows the message which is read, down to the document in it and what is selected there:
//
//     viewingPaneViewController, conversationViewController, actionViewController, webDocumentView, webDocument
//
// Main thread.
#pragma once

#include <functional>
#include <memory>

#include "Foundation/Runtime.h"

namespace qs {

class WebDocument;

class WebDocumentView : public HostObject {
public:
    using HostObject::HostObject;  // class "MUIWebDocumentView"
    // Made safe: nothing in it runs or loads by itself. Addresses of pictures on the web stand where the message has
    // them, and are not to be loaded unasked. Null when no message is read, or it can't be.
    virtual std::shared_ptr<WebDocument> webDocument() const = 0;
    // The part that the person has selected, in a document of its own, with the attachments of the whole; null when
    // nothing is selected. Called at once.
    virtual void generateSelectionWebDocument(
        const std::function<void(const std::shared_ptr<WebDocument>& selection)>& block) const = 0;
};

class ActionViewController : public HostObject {
public:
    using HostObject::HostObject;  // class "MessageActionViewController"
    virtual std::shared_ptr<WebDocumentView> webDocumentView() const = 0;
};

class ConversationViewController : public HostObject {
public:
    using HostObject::HostObject;  // class "ConversationViewController"
    virtual std::shared_ptr<ActionViewController> actionViewController() const = 0;
};

class ViewingPaneViewController : public HostObject {
public:
    using HostObject::HostObject;  // class "ViewingPaneViewController"
    virtual std::shared_ptr<ConversationViewController> conversationViewController() const = 0;
};

namespace message_viewer {
// Null in a viewer that shows nothing.
inline const Operation<std::shared_ptr<ViewingPaneViewController>()> viewingPaneViewController{
    "viewingPaneViewController"};
}  // namespace message_viewer

}  // namespace qs
