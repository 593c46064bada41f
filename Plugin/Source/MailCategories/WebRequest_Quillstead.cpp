// The patch of what loads things for a displayed document, in the message view, the editor and the conversion to HTML:
// a request for a pixel of the person's own is dropped, whatever of the document brought it about.
#include "Core/PatchClass.h"
#include "Core/QSSession.h"
#include "Tracking/OwnPixels.h"
#include "Viewer/ResourceLoad.h"

namespace qs {

namespace {

const Operation<std::optional<ResourceRequest>(HostObject*, HostObject*, const ResourceRequest&,
                                               const ResourceResponse*, HostObject*)>
    quillstead_webViewResourceWillSendRequest{
        "quillstead_webView:resource:willSendRequest:redirectResponse:fromDataSource:"};

std::optional<ResourceRequest> willSendRequest(HostObject& self, HostObject* webView, HostObject* resource,
                                               const ResourceRequest& request, const ResourceResponse* redirectResponse,
                                               HostObject* dataSource) {
    if (QSSession::currentIfLoaded() && isAddressOfOwnPixel(request.absoluteString)) return std::nullopt;
    return quillstead_webViewResourceWillSendRequest(self, webView, resource, request, redirectResponse, dataSource);
}

void load() {
    PatchClass patch("WebRequest_Quillstead");
    patch.add(quillstead_webViewResourceWillSendRequest, willSendRequest);
    for (const char* hostClass : {"WebViewEditor", "WebMessageController", "MFHTMLConverter"}) {
        patch.addAsCategoryOf(hostClass);
        patch.exchange(hostClass, resource_load_delegate::webViewResourceWillSendRequest.selector(),
                       quillstead_webViewResourceWillSendRequest.selector());
    }
    patch.finish();
}

const PatchClassRegistration registration(load);

}  // namespace

}  // namespace qs
