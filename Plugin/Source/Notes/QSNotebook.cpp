#include "Notes/QSNotebook.h"

#include "Foundation/Format.h"
#include "Notes/QSNote.h"
#include "Services/QSService.h"
#include "Services/QSServicesManager.h"

namespace qs {

std::vector<std::shared_ptr<QSNote>> QSNotebook::notes() const { return get(kNotes); }

std::string QSNotebook::icon() const {
    const auto service = QSServicesManager::sharedManager().serviceWithIdentifier(serviceIdentifier().value_or(""));
    return service ? service->icon() : std::string();
}

std::string QSNotebook::description() const {
    const std::string name = this->name().value_or("");
    // The blank is one at which no line is broken.
    return isBusiness() ? stringWithFormat("%@\u00A0(💼)", {name}) : name;
}

}  // namespace qs
