// What a displayed document loads besides its own text, such as a picture on the web. Before each request, and again
// before each that a redirect leads to, the object that shows the document is asked what to request: whoever stands in
// front of that can change the request or drop it. Main thread.
#pragma once

#include <optional>
#include <string>

#include "Foundation/Runtime.h"

namespace qs {

struct ResourceRequest {
    std::string absoluteString;  // the whole address
};

struct ResourceResponse {
    std::string absoluteString;  // the address that redirected
    int status = 0;
};

// Shows a message that is read.
class WebMessageController : public HostObject {
public:
    WebMessageController() : HostObject("WebMessageController") {}
};

// Answered by "WebMessageController", by "WebViewEditor" (a message that is written) and by "MFHTMLConverter" (a
// message that is turned into HTML).
namespace resource_load_delegate {
// Exchangeable. Nothing as the answer cancels the load. `webView` and `resource` are null where the page draws the
// document; `redirectResponse` is null for the first request; `dataSource` is the document.
inline const Operation<std::optional<ResourceRequest>(HostObject* webView, HostObject* resource,
                                                      const ResourceRequest& willSendRequest,
                                                      const ResourceResponse* redirectResponse, HostObject* dataSource)>
    webViewResourceWillSendRequest{"webView:resource:willSendRequest:redirectResponse:fromDataSource:"};
}  // namespace resource_load_delegate

}  // namespace qs
