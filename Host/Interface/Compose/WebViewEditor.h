// The editor of a compose window's body: an HTML document with a DOM in C++, which the page's editor follows.
#pragma once

#include <memory>
#include <string>

#include "Foundation/Runtime.h"

namespace qs {

class HtmlDocument;

class WebViewEditor : public HostObject {
public:
    using HostObject::HostObject;  // class "WebViewEditor"
    // The live document; changes made to it are sent to the page after didChangeDocument().
    virtual HtmlDocument& document() = 0;
    virtual void didChangeDocument() = 0;
};

}  // namespace qs
