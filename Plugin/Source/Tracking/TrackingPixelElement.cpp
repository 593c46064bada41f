#include "Tracking/TrackingPixelElement.h"

#include "Account/QSBackend.h"
#include "Compose/ComposeController.h"
#include "Compose/HeadersEditor.h"
#include "Compose/WebViewEditor.h"
#include "Html/HtmlDocument.h"
#include "Outgoing/SendSteps.h"
#include "Tracking/QSTrackingPixelManager.h"

namespace qs {

namespace {

// Answers whether there were any.
bool removeOldPixels(HtmlNode content) {
    bool removed = false;
    for (HtmlNode image : content.elementsByTagName("img"))
        if (image.attribute("id") == kTrackingPixelElementId) {
            image.remove();
            removed = true;
        }
    return removed;
}

void appendPixel(HtmlDocument& document, const std::string& url) {
    HtmlNode image = document.createElement("img");
    for (const auto& [name, value] : {std::pair<std::string_view, std::string_view>{"src", url},
                                      {"align", "left"},
                                      {"width", "0"},
                                      {"height", "0"},
                                      {"style", "width:0;height:0;border:0;"},
                                      {"title", ""},
                                      {"alt", ""},
                                      {"id", kTrackingPixelElementId}})
        image.setAttribute(name, value);
    document.body().appendChild(image);
}

}  // namespace

void addTrackingPixelToMessageBody(ComposeController& controller) {
    const auto backEnd = controller.backEnd();
    const auto headers = controller.headersEditor();
    const auto editor = controller.webViewEditor();
    if (!backEnd || !headers || !editor) return;
    setTrackingPixelUUID(*backEnd, std::nullopt);
    if (removeOldPixels(editor->document().body()))
        editor->didChangeDocument();  // also of a message that goes untracked
    if (!headers->associated<bool>("enableTracking")) return;
    if (controller.isPlainText()) compose_controller::changeComposeMode(controller, 1);
    const auto pixel = QSTrackingPixelManager::newTrackingPixel();
    if (!pixel) return;
    appendPixel(editor->document(), pixel->urlString());
    editor->didChangeDocument();
    setTrackingPixelUUID(*backEnd, pixel->uuid());
}

}  // namespace qs
