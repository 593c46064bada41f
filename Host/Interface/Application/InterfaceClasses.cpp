#include "Application/InterfaceClasses.h"

#include "Application/Bundles.h"
#include "Foundation/Runtime.h"
#include "Platform.h"
#include "Viewer/ResourceLoad.h"
#include "Viewer/WebDocument.h"

namespace qs {

void defineInterfaceClasses() {
    ClassRegistry& registry = ClassRegistry::current();
    for (const char* name :
         {"NSArray", "NSView", "NSWindow", "NSMenu", "NSMenuItem", "NSToolbar", "NSPopover", "NSStatusItem",
          "NSStackView", "MailboxesChooser", "ComposeHeaderRowView", "AddressTextField", "TableViewManager",
          "ConversationMember", "MFMessageThread", "MessageListDrawing"})
        registry.define(name);
    Class& view = registry.define("NSView");
    registry.define("NSTableView", &view);
    registry.define("NSButton", &view);
    registry.define("ComposeStatusView", &registry.define("ComposeHeaderRowView"));
    registry.define("BorderlessToolbarItem", &registry.define("NSToolbarItem"));
    if (osMinor() == 11) registry.define("MessageListController");

    registry.define("MUIWebDocument").add(web_document::setHtml, [](HostObject& self, const std::string& html) {
        static_cast<WebDocument&>(self).html = html;
    });
    for (const char* name : {"WebMessageController", "WebViewEditor", "MFHTMLConverter"})
        registry.define(name).add(resource_load_delegate::webViewResourceWillSendRequest,
                                  [](HostObject&, HostObject*, HostObject*, const ResourceRequest& request,
                                     const ResourceResponse*, HostObject*) { return std::optional(request); });
    registry.define("MVMailBundle").addClassMethod(mail_bundle::registerBundle, [](Class& principalClass) {
        MailBundleRegistry::add(principalClass);
    });
}

}  // namespace qs
