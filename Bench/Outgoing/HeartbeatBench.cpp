// One heartbeat over an outbox of messages that all wait for a date months ahead: every one of them passes through the
// plug-in's delivery patch, every half minute. Beside it the floor: reading the headers of the same rows from the
// index. "ratio" is the one over the other in the same run; it must not grow with the number of messages.
#include <benchmark/benchmark.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <string>

#include "DeliveryService.h"
#include "Foundation/DateFormatter.h"
#include "Foundation/RunLoop.h"
#include "Mail/DeliveryQueue.h"
#include "MailEngine.h"
#include "Support/TemporaryHost.h"

namespace qs {
namespace {

constexpr int kRowsAtOnce = 1000;

// Made once for each size, as making it takes far longer than anything here.
class Outbox {
public:
    explicit Outbox(int count) : host_({.plugIn = QS_PLUGIN_BUNDLE}) {
        if (!host_.bundleErrors().empty()) return;
        const std::string date =
            formatDate(host_.loop().now() + 100 * 86'400.0, {"EEE, d MMM yyyy HH:mm:ss ZZZ", "en_US_POSIX", "UTC"});
        host_.shutDown();
        const auto folder = host_.dataFolder() / "Mail/ada/.Outbox";
        for (const char* part : {"cur", "new", "tmp"})
            std::filesystem::create_directories(folder / part);
        for (int i = 0; i < count; ++i) {
            const std::string number = std::to_string(i);
            std::ofstream(folder / "cur" / ("1500000000.M" + number + "P1Q1R1.box:2,S"))
                << "From: Ada <ada@example.org>\r\nTo: Ben <ben@example.org>\r\nSubject: Minutes " << number
                << "\r\nDate: " << date << "\r\nX-Quillstead-Scheduled-Date: " << date << "\r\nMessage-Id: <" << number
                << "@example.org>\r\nX-Universally-Unique-Identifier: U" << number << "\r\n\r\nAll agreed.\r\n";
        }
        host_.start();
        holds_ = host_.engine().deliveries().waitingCount() == count && host_.inboxOf("ben").empty();
    }
    bool holds() const { return holds_; }
    void beat() {
        DeliveryQueue::sharedDeliveryQueue()->resetStateAndReprocessQueue();
        host_.settle();
    }
    std::size_t readHeaders() {
        const auto outbox = host_.library().mailbox("ada", MailboxKind::Outbox, false);
        std::size_t rows = 0;
        for (;;) {
            const ListPage page = host_.library().page(outbox->criterion(), {}, static_cast<int>(rows), kRowsAtOnce);
            rows += page.rows.size();
            if (page.rows.empty() || static_cast<int>(rows) >= page.total) return rows;
        }
    }

    // One at a time, as there is one host in a process. It has to go before main() ends: the plug-in's own statics go
    // after that.
    static Outbox& of(int count) {
        if (size != count) {
            shared.reset();
            shared = std::make_unique<Outbox>(count);
            size = count;
        }
        return *shared;
    }
    static inline std::unique_ptr<Outbox> shared;
    static inline int size = 0;

private:
    TemporaryHost host_;
    bool holds_ = false;
};

double seconds(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void heartbeat(benchmark::State& state) {
    Outbox& outbox = Outbox::of(static_cast<int>(state.range(0)));
    if (!outbox.holds()) return state.SkipWithError("the messages are not held");
    double beats = 0, floor = 0;
    for (auto _ : state) {
        const double beat = seconds([&] { outbox.beat(); });
        state.SetIterationTime(beat);
        beats += beat;
        floor += seconds([&] { benchmark::DoNotOptimize(outbox.readHeaders()); });
    }
    state.counters["ratio"] = beats / floor;
}
BENCHMARK(heartbeat)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMillisecond)->UseManualTime();

void headersFromTheIndex(benchmark::State& state) {
    Outbox& outbox = Outbox::of(static_cast<int>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(outbox.readHeaders());
}
BENCHMARK(headersFromTheIndex)->Arg(10'000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace qs

int main(int count, char** arguments) {
    benchmark::Initialize(&count, arguments);
    benchmark::RunSpecifiedBenchmarks();
    qs::Outbox::shared.reset();
    benchmark::Shutdown();
}
