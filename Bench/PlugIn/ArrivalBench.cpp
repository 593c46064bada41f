// Mail that comes in while the program runs, found in the inbox's folder, announced and shown to the plug-in, which
// knows of as many snoozed messages. Beside it the floor: the same without the plug-in. "ratio" is the one over the
// other in the same run.
#include <benchmark/benchmark.h>

#include "PlugInHost.h"

namespace qs {
namespace {

// The time until all of it is listed, with the plug-in or without.
double arrivalOf(int count, bool withPlugIn) {
    PlugInHost plugIn;
    if (withPlugIn) {
        plugIn.putIn();
        plugIn.snooze(count, 86'400, "other");
    }
    plugIn.writeMail(0, count, "new");
    const auto inbox = plugIn.host.library().mailbox("ada", MailboxKind::Inbox, true);
    const double taken = seconds([&] {
        plugIn.host.library().rescan(inbox->identifier());
        plugIn.host.settle();
    });
    if (inbox->messageCount() != count) throw std::runtime_error("not all of the mail came in");
    return taken;
}

void arrival(benchmark::State& state) {
    const int count = static_cast<int>(state.range(0));
    double with = 0, without = 0;
    for (auto _ : state) {
        without += arrivalOf(count, false);
        const double once = arrivalOf(count, true);
        state.SetIterationTime(once);
        with += once;
    }
    state.counters["ratio"] = with / without;
}
BENCHMARK(arrival)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);

}  // namespace
}  // namespace qs

BENCHMARK_MAIN();
