#include "Mail/DeliveryQueue.h"

#include "Application/HostInstances.h"

namespace qs {

std::shared_ptr<DeliveryQueue> DeliveryQueue::sharedDeliveryQueue() { return HostInstances::current().deliveryQueue; }

}  // namespace qs
