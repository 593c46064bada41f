// Hands what waits to its services from time to time: five seconds after this was made, then every five minutes from
// its making on. Main thread; ends with the object.
#pragma once

#include <functional>
#include <memory>

namespace qs {

class Timer;

class ServicePass {
public:
    explicit ServicePass(std::function<void()> pass);
    ~ServicePass();
    ServicePass(const ServicePass&) = delete;
    ServicePass& operator=(const ServicePass&) = delete;

private:
    std::shared_ptr<Timer> first_, timer_;
};

}  // namespace qs
