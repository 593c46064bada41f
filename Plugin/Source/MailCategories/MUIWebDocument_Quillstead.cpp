// The patch of the document that shows a message: what is displayed asks for no pixel of the person's own.
#include "Core/PatchClass.h"
#include "Core/QSSession.h"
#include "Tracking/OwnPixels.h"
#include "Viewer/WebDocument.h"

namespace qs {

namespace {

const Operation<void(const std::string& html)> quillstead_setHtml{"quillstead_setHtml:"};

void setHtml(HostObject& self, const std::string& html) {
    if (html.empty() || !QSSession::currentIfLoaded()) return quillstead_setHtml(self, html);
    quillstead_setHtml(self, htmlWithOwnPixelsBlanked(html));
}

void load() {
    PatchClass patch("MUIWebDocument_Quillstead");
    patch.add(quillstead_setHtml, setHtml);
    patch.addAsCategoryOf("MUIWebDocument");
    patch.exchange("MUIWebDocument", web_document::setHtml.selector(), quillstead_setHtml.selector());
    patch.finish();
}

const PatchClassRegistration registration(load);

}  // namespace

}  // namespace qs
