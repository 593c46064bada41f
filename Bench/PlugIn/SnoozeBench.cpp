// The look at the book of snoozed messages that is taken every 20 seconds, while none of them is due. Beside it the
// floor: going once through a list of as many dates. "ratio" is the one over the other in the same run; it must not
// grow with the number of entries.
#include <benchmark/benchmark.h>

#include <map>

#include "PlugInHost.h"
#include "Snooze/QSSnoozeManager.h"

namespace qs {
namespace {

constexpr int kLooks = 20;

void timer(benchmark::State& state) {
    const int count = static_cast<int>(state.range(0));
    PlugInHost plugIn;
    plugIn.putIn();
    plugIn.snooze(count, 30 * 86'400.0, "");
    QSSnoozeManager& manager = QSSnoozeManager::sharedManager();
    if (!manager.isSnoozedMessageWithMessageID(PlugInHost::messageID(count - 1)))
        return state.SkipWithError("the book was not read");
    const Date now = plugIn.host.loop().now();
    std::map<std::string, Date> dates;
    for (int i = 0; i < count; ++i)
        dates[PlugInHost::messageID(i)] = now + 1.0 * i;
    double looks = 0, floor = 0;
    for (auto _ : state) {
        const double look = seconds([&] {
            for (int i = 0; i < kLooks; ++i)
                manager.checkSnoozedMessages();
        });
        state.SetIterationTime(look / kLooks);
        looks += look;
        floor += seconds([&] {
            for (int i = 0; i < kLooks; ++i)
                for (const auto& [id, date] : dates)
                    benchmark::DoNotOptimize(date < now);
        });
    }
    state.counters["ratio"] = looks / floor;
}
BENCHMARK(timer)->Arg(1'000)->Arg(100'000)->Unit(benchmark::kMillisecond)->UseManualTime();

}  // namespace
}  // namespace qs

BENCHMARK_MAIN();
