// Which service a notebook belongs to, and the worker that takes notes there. Main thread.
#pragma once

#include <memory>

namespace qs {

class QSNotebook;
class QSNoteServiceSlaveProtocol;
class QSService;

std::shared_ptr<QSService> serviceOfNotebook(const std::shared_ptr<QSNotebook>& notebook);  // null for none
// Null when the service's worker is none for notes, or there is none. It lives as long as the service.
QSNoteServiceSlaveProtocol* noteConnectorOf(QSService& service);

}  // namespace qs
