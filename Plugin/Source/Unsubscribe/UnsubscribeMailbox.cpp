#include "Unsubscribe/UnsubscribeMailbox.h"

#include "Core/QSSession.h"

namespace qs {

UnsubscribeMailbox::UnsubscribeMailbox()
    : address(QS_UNSUBSCRIBE_ADDRESS),
      host(QS_UNSUBSCRIBE_HOST),
      login(QS_UNSUBSCRIBE_LOGIN),
      password(QS_UNSUBSCRIBE_PASSWORD) {}

UnsubscribeMailbox& unsubscribeMailbox() { return QSSession::current().part<UnsubscribeMailbox>(); }

}  // namespace qs
