#include "Services/ServicePass.h"

#include "Foundation/RunLoop.h"

namespace qs {

namespace {

constexpr TimeInterval kInterval = 300.0, kFirstDelay = 5;

}  // namespace

ServicePass::ServicePass(std::function<void()> pass)
    : first_(RunLoop::main().after(kFirstDelay, pass)), timer_(RunLoop::main().every(kInterval, std::move(pass))) {}

ServicePass::~ServicePass() {
    first_->invalidate();
    timer_->invalidate();
}

}  // namespace qs
