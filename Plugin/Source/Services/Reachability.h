// What callers ask of the network before they use it. One object for the internet as such, or for one host. Main
// thread.
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace qs {

enum class NetworkStatus { NotReachable = 0, ReachableViaWWAN = 1, ReachableViaWiFi = 2 };

class Reachability : public std::enable_shared_from_this<Reachability> {
public:
    using Block = std::function<void(Reachability&)>;
    static std::shared_ptr<Reachability> reachabilityForInternetConnection();
    static std::shared_ptr<Reachability> reachabilityWithHostName(std::string host);

    bool isReachable() const { return currentReachabilityStatus() != NetworkStatus::NotReachable; }
    // Somebody has to do something first, such as to sign in to the network.
    bool isInterventionRequired() const;
    bool connectionRequired() const { return isInterventionRequired(); }
    // Never "via WWAN": this platform does not tell.
    NetworkStatus currentReachabilityStatus() const;

    // Called after changes, from startNotifier() on, for as long as the object lives.
    void setReachabilityBlock(Block block) { block_ = std::move(block); }
    void startNotifier();

private:
    explicit Reachability(std::string host) : host_(std::move(host)) {}
    std::string host_;  // empty: the internet
    Block block_;
    std::shared_ptr<void> observation_;
};

}  // namespace qs
