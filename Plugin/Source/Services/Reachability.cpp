#include "Services/Reachability.h"

#include "Platform.h"
#include "Reachability/NetworkState.h"

namespace qs {

namespace {

NetworkState::Facts factsFor(const std::string& host) {
    if (isOwnHost(host)) return {.isReachable = true};
    const auto& network = Platform::current().network;
    return network ? network->facts() : NetworkState::Facts{};
}

}  // namespace

std::shared_ptr<Reachability> Reachability::reachabilityForInternetConnection() {
    return std::shared_ptr<Reachability>(new Reachability({}));
}

std::shared_ptr<Reachability> Reachability::reachabilityWithHostName(std::string host) {
    return std::shared_ptr<Reachability>(new Reachability(std::move(host)));
}

bool Reachability::isInterventionRequired() const { return factsFor(host_).isInterventionRequired; }

NetworkStatus Reachability::currentReachabilityStatus() const {
    return factsFor(host_).isReachable ? NetworkStatus::ReachableViaWiFi : NetworkStatus::NotReachable;
}

void Reachability::startNotifier() {
    const auto& network = Platform::current().network;
    if (!network || observation_) return;
    observation_ = network->observe([weak = weak_from_this()](const NetworkState::Facts&) {
        if (const auto self = weak.lock(); self && self->block_) self->block_(*self);
    });
}

}  // namespace qs
