#include "Services/ServiceHooks.h"

#include "Core/QSLifecycleHooks.h"
#include "Core/QSSession.h"
#include "Foundation/RunLoop.h"
#include "Services/QSService.h"
#include "Services/QSServiceSlave.h"
#include "Services/QSServicesManager.h"

namespace qs {

namespace {

QSRedirectTarget targetFor(const QSServiceRef& service) {
    QSRedirectTarget target{.linked = service->linked(), .linking = service->awaitsRedirect()};
    if (target.linked || !target.linking || !service->hasSlaveClass()) return target;
    if (service->slave().respondsTo(QSSlaveOperation::AuthenticateWithCode))
        target.authenticateWithCode = [service](const std::string& code) {
            service->didTakeRedirect();
            service->slave().authenticateWithCode(code);
        };
    return target;
}

}  // namespace

void installServiceHooks(QSSession& session) {
    auto& hooks = session.lifecycleHooks();
    // Called off the main thread, where the services live and speak to the web.
    hooks.syncLinkedServices = [] {
        RunLoop::main().post([] {
            if (QSSession::currentIfLoaded()) QSServicesManager::sharedManager().syncLinkedServices();
        });
    };
    hooks.saveServices = [] { QSServicesManager::sharedManager().saveToPreferences(); };
    hooks.redirectTargets = [](int serviceType) {
        std::vector<QSRedirectTarget> targets;
        for (const auto& service : QSServicesManager::sharedManager().servicesOfServiceType(serviceType, false))
            targets.push_back(targetFor(service));
        return targets;
    };
    hooks.unlinkAllServices = [] { QSServicesManager::sharedManager().unlinkAllServices(); };
}

}  // namespace qs
