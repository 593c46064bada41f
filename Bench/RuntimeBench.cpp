// What a call through the class runtime costs beside an ordinary virtual call, and what blocks cost on the run loop.
#include <benchmark/benchmark.h>

#include "Foundation/Assertion.h"
#include "Foundation/NotificationCenter.h"
#include "Foundation/RunLoop.h"
#include "Foundation/Runtime.h"

namespace qs {
namespace {

const Operation<int(int)> addTo{"addTo:"};
const Operation<int(int)> otherAddTo{"quillstead_addTo:"};

class Counter : public HostObject {
public:
    using HostObject::HostObject;
    virtual int addTo(int n) { return n + 1; }
};
class OtherCounter final : public Counter {
public:
    using Counter::Counter;
    int addTo(int n) override { return n + 2; }
};

struct Classes {
    Classes() {
        Class& base = registry.define("Counter");
        base.add(addTo, [](HostObject&, int n) { return n + 1; });
        Class& derived = registry.define("OtherCounter", &base);
        derived.add(otherAddTo, [](HostObject& self, int n) { return otherAddTo(self, n) + 1; });
        assertThat(derived.jr_swizzleMethod(addTo.selector(), otherAddTo.selector()).has_value(), "not exchanged");
    }
    ClassRegistry registry;
};

// Behind this the compiler can't see the class of an object, and so must make the call.
std::unique_ptr<Counter> make(bool derived) {
    if (derived) return std::make_unique<OtherCounter>("OtherCounter");
    return std::make_unique<Counter>("Counter");
}

void virtualCall(benchmark::State& state) {
    Classes classes;
    auto object = make(true);
    Counter* counter = object.get();
    int n = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(counter);
        benchmark::DoNotOptimize(n = counter->addTo(n & 0xFF));
    }
}
BENCHMARK(virtualCall);

void runtimeCall(benchmark::State& state) {
    Classes classes;
    auto object = make(false);
    int n = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(n = addTo(*object, n & 0xFF));
}
BENCHMARK(runtimeCall);

// The usual road of an operation of the host that the plug-in has put its own code around: two calls.
void exchangedRuntimeCall(benchmark::State& state) {
    Classes classes;
    auto object = make(true);
    int n = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(n = addTo(*object, n & 0xFF));
}
BENCHMARK(exchangedRuntimeCall);

void classLookUp(benchmark::State& state) {
    Classes classes;
    for (auto _ : state)
        benchmark::DoNotOptimize(QSClassFromString("OtherCounter"));
}
BENCHMARK(classLookUp);

// A host of usual size takes in one method that all of its classes inherit.
void addMethodToRoot(benchmark::State& state) {
    ClassRegistry registry;
    Class& root = registry.define("Root");
    for (int i = 0; i < 200; ++i)
        registry.define("Class" + std::to_string(i), &root);
    auto code = std::make_shared<TypedImplementation<void, HostObject>>([](HostObject&) {});
    int count = 0;
    for (auto _ : state)
        root.addMethod(MethodKind::Instance, Selector("benchmark" + std::to_string(count++)), code);
}
BENCHMARK(addMethodToRoot)->Iterations(2000);

void blockOnRunLoop(benchmark::State& state) {
    auto loop = RunLoop::make(RunLoop::Clock::Virtual);
    int n = 0;
    for (auto _ : state) {
        for (int i = 0; i < 1000; ++i)
            loop->post([&n] { ++n; });
        loop->runUntilIdle();
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(blockOnRunLoop);

void virtualDayOfHeartbeats(benchmark::State& state) {
    auto loop = RunLoop::make(RunLoop::Clock::Virtual);
    int n = 0;
    TimerRef heart = loop->every(60, [&n] { ++n; });
    for (auto _ : state)
        loop->advance(86'400);
    state.SetItemsProcessed(n);
}
BENCHMARK(virtualDayOfHeartbeats);

void notificationToTenObservers(benchmark::State& state) {
    NotificationCenter center;
    int n = 0;
    std::vector<ObservationRef> observations;
    for (int i = 0; i < 10; ++i)
        observations.push_back(center.addObserver("Changed", [&n](const Notification&) { ++n; }));
    for (auto _ : state)
        center.post("Changed");
}
BENCHMARK(notificationToTenObservers);

}  // namespace
}  // namespace qs
