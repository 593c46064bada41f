// Plug-in bundles: folders <Name>.mailbundle with Info.plist, a shared library and Resources/.
//
// The library, which Info.plist names as CFBundleExecutable (without it: <Name>.so), is opened with dlopen and must
// export one function, `extern "C" void MailBundleLoad(std::shared_ptr<qs::Bundle>)`, which plays the part of the image
// load: it installs the bundle's patches and then initialises its principal class, the one that Info.plist names as
// NSPrincipalClass. If it throws, it has freed what it made. `extern "C" void MailBundleUnload()`, which a bundle may
// leave out, undoes nothing in the host but frees all that the bundle owns; the library stays open.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Foundation/Bundle.h"
#include "Foundation/Runtime.h"

namespace qs {

using MailBundleLoadFunction = void (*)(std::shared_ptr<Bundle>);
using MailBundleUnloadFunction = void (*)();

// The host's class "MVMailBundle", superclass of principal classes.
namespace mail_bundle {
// Class methods. The principal class sends registerBundle to itself once it has this superclass.
inline const Operation<void()> registerBundle{"registerBundle"};
// Answers of a principal class.
inline const Operation<bool()> hasPreferencesPanel{"hasPreferencesPanel"};
inline const Operation<std::string()> preferencesOwnerClassName{"preferencesOwnerClassName"};
inline const Operation<std::string()> preferencesPanelName{"preferencesPanelName"};
}  // namespace mail_bundle

// The principal classes that registered themselves. Main thread.
class MailBundleRegistry {
public:
    static const std::vector<Class*>& allBundles();
    static void add(Class& principalClass);
    static void clear();  // the host is going
};

}  // namespace qs
