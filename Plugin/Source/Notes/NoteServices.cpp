#include "Notes/NoteServices.h"

#include "NoteConverter/QSNoteServiceSlaveProtocol.h"
#include "Notes/QSNotebook.h"
#include "Services/QSService.h"
#include "Services/QSServiceSlave.h"
#include "Services/QSServicesManager.h"

namespace qs {

std::shared_ptr<QSService> serviceOfNotebook(const std::shared_ptr<QSNotebook>& notebook) {
    const auto identifier = notebook ? notebook->serviceIdentifier() : std::nullopt;
    return identifier ? QSServicesManager::sharedManager().serviceWithIdentifier(*identifier) : nullptr;
}

QSNoteServiceSlaveProtocol* noteConnectorOf(QSService& service) {
    return service.hasSlaveClass() ? dynamic_cast<QSNoteServiceSlaveProtocol*>(&service.slave()) : nullptr;
}

}  // namespace qs
