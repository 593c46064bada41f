// The ground for tests in which time matters: a run loop with a virtual clock and an empty class registry, made before
// each test and dropped after it.
#pragma once

#include <gtest/gtest.h>

#include "Foundation/RunLoop.h"
#include "Foundation/Runtime.h"
#include "Support/LogCapture.h"

namespace qs {

class VirtualClockTest : public ::testing::Test {
protected:
    static constexpr Date kStart{1'700'000'000};

    std::unique_ptr<RunLoop> loop_ = RunLoop::make(RunLoop::Clock::Virtual, kStart);
    ClassRegistry registry_;
    LogCapture log_;
};

}  // namespace qs
