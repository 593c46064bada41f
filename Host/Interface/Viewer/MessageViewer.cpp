#include "Viewer/MessageViewer.h"

#include "Application/HostInstances.h"

namespace qs {

std::shared_ptr<MessageViewer> MessageViewer::frontmostMessageViewerWithOptions(unsigned) {
    const auto& frontmost = HostInstances::current().frontmostViewer;
    return frontmost ? frontmost() : nullptr;
}

}  // namespace qs
