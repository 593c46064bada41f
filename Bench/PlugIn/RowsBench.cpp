// The message list with the plug-in's icons and dates, window by window, for messages of which every tenth has a task
// and an opened pixel, and all are in the book of snoozed messages. Beside it the floor: the same rows without the
// plug-in. "ratio" is the one over the other in the same run; "first" means that no message's headers were looked at
// before.
#include <benchmark/benchmark.h>

#include "Core/QSPluginDelegate.h"
#include "Core/Store/ManagedObjectContext.h"
#include "MailApplication.h"
#include "MainViewer.h"
#include "Outgoing/QSHeaderKeys.h"
#include "PlugInHost.h"
#include "Reminder/QSReminder.h"
#include "Tracking/QSTrackingPixel.h"

namespace qs {
namespace {

constexpr int kWindow = 500, kEvery = 10;

void addRecords(int number, Date now) {
    auto& store = QSPluginDelegate::sharedDelegate().managedObjectContext();
    const std::string id = PlugInHost::messageID(number), key = "R" + std::to_string(number);
    const auto task = store.insertNew<QSReminder>();
    task->setMessageID(id);
    task->setType(kReminderTypeTask);
    task->setUniqueIdentifier(key);
    const auto pixel = store.insertNew<QSTrackingPixel>();
    pixel->setMessageID(id);
    pixel->setUuid(key);
    const auto open = store.insertNew<QSTrackingPixelOpen>();
    open->setPixel(pixel);
    open->setDate(now);
}

class List {
public:
    explicit List(int count) : count_(count) {
        plugIn_.host.shutDown();
        plugIn_.writeMail(0, count, "cur", std::string(QSHeaderKeyXTrackingUUID) + ": R1\r\n");
        plugIn_.host.start();
        plugIn_.putIn();
        plugIn_.snooze(count, 86'400, "");
        for (int i = 0; i < count; i += kEvery)
            addRecords(i, plugIn_.host.loop().now());
        const auto saved = QSPluginDelegate::sharedDelegate().managedObjectContext().save();
        if (!saved) throw std::runtime_error(saved.error().description);
        plugIn_.host.settle();
        holds_ = plugIn_.host.viewer().total() == count && iconsOf(drawAll()) == count + 2 * (count / kEvery);
    }
    bool holds() const { return holds_; }
    std::vector<ViewerRow> drawAll() {
        std::vector<ViewerRow> all;
        for (int offset = 0; offset < count_; offset += kWindow) {
            plugIn_.host.viewer().setWindowOfRows(offset, kWindow);
            const auto rows = plugIn_.host.viewer().rows();
            all.insert(all.end(), rows.begin(), rows.end());
        }
        return all;
    }
    void putIn() { plugIn_.putIn(); }
    void startWithout() {
        plugIn_.takeOut();
        plugIn_.host.restart();
    }

private:
    static int iconsOf(const std::vector<ViewerRow>& rows) {
        int icons = 0;
        for (const ViewerRow& row : rows)
            icons += static_cast<int>(row.icons.size());
        return icons;
    }
    const int count_;
    PlugInHost plugIn_;
    bool holds_ = false;
};

double secondsToDraw(List& list, bool isFirst) {
    if (!isFirst) benchmark::DoNotOptimize(list.drawAll());
    return seconds([&] { benchmark::DoNotOptimize(list.drawAll()); });
}

void draw(benchmark::State& state, bool isFirst) {
    List list(static_cast<int>(state.range(0)));
    if (!list.holds()) return state.SkipWithError("the rows have not the icons that they should have");
    double with = 0, without = 0;
    for (auto _ : state) {
        list.startWithout();
        without += secondsToDraw(list, isFirst);
        list.putIn();
        const double once = secondsToDraw(list, isFirst);
        state.SetIterationTime(once);
        with += once;
    }
    state.counters["ratio"] = with / without;
}
BENCHMARK_CAPTURE(draw, first, true)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK_CAPTURE(draw, again, false)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMillisecond)->UseManualTime();

}  // namespace
}  // namespace qs

BENCHMARK_MAIN();
