// A plug-in for tests of the loader. Its Info.plist says how it behaves ("TestBehaviour"); its life is told as
// notifications "TestBundleDidLoad" and "TestBundleDidUnload".
#include <algorithm>
#include <stdexcept>

#include "Application/Bundles.h"
#include "Foundation/Assertion.h"
#include "Foundation/NotificationCenter.h"
#include "Models/Toolbar.h"

namespace {

using namespace qs;

const Operation<std::vector<std::string>(Toolbar& toolbar)> patchedDefaults{"test_toolbarDefaultItemIdentifiers:"};
const Operation<std::shared_ptr<ToolbarItem>(Toolbar& toolbar, const std::string& identifier, bool inserted)>
    patchedItem{"test_toolbar:itemForItemIdentifier:willBeInsertedIntoToolbar:"};

std::vector<std::string> defaults(HostObject& self, Toolbar& toolbar) {
    auto identifiers = patchedDefaults(self, toolbar);
    identifiers.insert(std::find(identifiers.begin(), identifiers.end(), "archiveMessages:"), "Snooze");
    return identifiers;
}

std::shared_ptr<ToolbarItem> makeItem(HostObject& self, Toolbar& toolbar, const std::string& identifier,
                                      bool inserted) {
    if (identifier == "Snooze") return std::make_shared<ToolbarItem>(identifier, "BorderlessToolbarItem");
    return patchedItem(self, toolbar, identifier, inserted);
}

void patchViewer() {
    Class* viewer = QSClassFromString("MessageViewer");
    if (!viewer) return;
    viewer->add(patchedDefaults, defaults);
    viewer->add(patchedItem, makeItem);
    if (!viewer->jr_swizzleMethod(toolbar_delegate::defaultItemIdentifiers.selector(), patchedDefaults.selector()) ||
        !viewer->jr_swizzleMethod(toolbar_delegate::itemForItemIdentifier.selector(), patchedItem.selector()))
        raiseAssertion("The viewer can't be patched");
}

}  // namespace

extern "C" __attribute__((visibility("default"))) void MailBundleLoad(std::shared_ptr<qs::Bundle> bundle) {
    const auto found = bundle->infoDictionary().find("TestBehaviour");
    const std::string behaviour = found == bundle->infoDictionary().end() ? "" : found->second.stringValue();
    if (behaviour == "assert") raiseAssertion("the assertion of a test");
    if (behaviour == "throw") throw std::runtime_error("the fault of a test");
    if (behaviour == "throwNumber") throw 42;
    if (behaviour != "noClass") {
        Class& principal = ClassRegistry::current().define("TestBundle");
        principal.setSuperclass(NSClassFromString("MVMailBundle"));
        if (principal.superclass()) mail_bundle::registerBundle.onClass(&principal);
        patchViewer();
    }
    NotificationCenter::defaultCenter().post("TestBundleDidLoad", nullptr, bundle->path().filename().string());
}

extern "C" __attribute__((visibility("default"))) void MailBundleUnload() {
    NotificationCenter::defaultCenter().post("TestBundleDidUnload");
}
