#include "Mail/DeliveryAccount.h"

#include "Application/HostInstances.h"
#include "Mail/MailAccount.h"

namespace qs {

std::shared_ptr<DeliveryAccount> deliveryAccount(const MailAccount& ofAccount) {
    const auto& find = HostInstances::current().deliveryAccount;
    return find ? find(ofAccount) : nullptr;
}

}  // namespace qs
