// The ground for tests of models: a virtual clock, and the classes that models are of.
#pragma once

#include <gmock/gmock.h>

#include "Application/InterfaceClasses.h"
#include "Models/ModelChanges.h"
#include "Support/VirtualClockTest.h"

namespace qs {

class ModelTest : public VirtualClockTest {
protected:
    ModelTest() { defineInterfaceClasses(); }
    ~ModelTest() override { setModelChangeHandler({}); }
};

}  // namespace qs
