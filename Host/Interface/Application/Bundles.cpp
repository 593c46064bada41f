#include "Application/Bundles.h"

#include <algorithm>

namespace qs {
namespace {

std::vector<Class*>& registered() {
    static std::vector<Class*> classes;
    return classes;
}

}  // namespace

const std::vector<Class*>& MailBundleRegistry::allBundles() { return registered(); }

void MailBundleRegistry::add(Class& principalClass) {
    if (std::ranges::find(registered(), &principalClass) == registered().end()) registered().push_back(&principalClass);
}

void MailBundleRegistry::clear() { registered().clear(); }

}  // namespace qs
