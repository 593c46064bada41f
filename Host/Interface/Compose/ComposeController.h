// The controller of a compose window. Up to OS minor 10 one class, DocumentEditor, is controller and window controller;
// from 11 on these are ComposeViewController and ComposeWindowController. This interface serves both.
#pragma once

#include <memory>

#include "Compose/ComposeBackEnd.h"
#include "Foundation/Runtime.h"
#include "Models/Menu.h"
#include "Models/Toolbar.h"
#include "Models/View.h"

namespace qs {

class HeadersEditor;
class WebViewEditor;

class ComposeController : public HostObject {
public:
    using HostObject::HostObject;

    virtual std::shared_ptr<ComposeBackEnd> backEnd() const = 0;
    virtual std::shared_ptr<HeadersEditor> headersEditor() const = 0;
    virtual std::shared_ptr<WebViewEditor> webViewEditor() const = 0;
    // OS minor 12 and up reaches the window through the view, below directly; null once the window is closed.
    virtual std::shared_ptr<View> view() const = 0;
    virtual std::shared_ptr<Window> window() const = 0;
    // Opens the file chooser in the page.
    virtual void insertFile(HostObject* sender) = 0;
    // sendButtonShouldBeEnabled on OS minor 12 and up, _sendButtonShouldBeEnabled below.
    virtual bool sendButtonShouldBeEnabled() const = 0;
    virtual bool isPlainText() const = 0;
};

// Exchangeable operations of the compose controller; toolbar operations are in toolbar_delegate.
namespace compose_controller {
inline const Operation<void(HostObject* sender)> send{"send:"};
inline const Operation<void()> updateAttachmentStatus{"updateAttachmentStatus"};
inline const Operation<void(ComposeBackEnd& backEnd, const OutboxAppendResult& result)> backEndDidAppendMessageToOutbox{
    "backEndDidAppendMessageToOutbox:result:"};
// 0: plain text, 1: rich text. The window shows it at once.
inline const Operation<void(int mode)> changeComposeMode{"changeComposeModeInBackEndAndView:"};
inline const Operation<bool(MenuItem& item)> validateMenuItem{"validateMenuItem:"};
}  // namespace compose_controller

class ComposeWindowController : public HostObject {
public:
    using HostObject::HostObject;  // class "ComposeWindowController"; OS minor 11 and up
    virtual std::shared_ptr<ComposeController> composeController() const = 0;
};

}  // namespace qs
