#include "MailCategories/MessageViewer_Quillstead.h"

#include "Core/PatchClass.h"

namespace qs {

namespace {

void load() {
    PatchClass patch("MessageViewer_Quillstead");
    patch.addClassMethod(message_viewer_quillstead::viewerForMessage, [](Class&, const MessageRef& message) {
        return single_message_viewer::viewerForMessage.onClass(QSClassFromString("SingleMessageViewer"), message, false,
                                                               false, nullptr);
    });
    patch.addAsCategoryOf("MessageViewer");
    patch.finish();
}

const PatchClassRegistration registration(load);

}  // namespace

std::shared_ptr<MessageViewer> frontmostViewerOrOneFor(const MessageRef& message) {
    if (auto viewer = MessageViewer::frontmostMessageViewerWithOptions(0)) return viewer;
    return message_viewer_quillstead::viewerForMessage.onClass(QSClassFromString("MessageViewer"), message);
}

}  // namespace qs
