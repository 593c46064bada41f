// The small inbox over five mailboxes: computing its list and showing it, as a click on its item does. A message an
// hour came into each mailbox, so that the last week is the same however many came before. Beside it the floor: the
// newest rows of the same mailboxes as the host's own list reads them. "ratio" is the one over the other in the same
// run; it must not grow with the mailboxes.
#include <benchmark/benchmark.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <string>

#include "Foundation/DateFormatter.h"
#include "Foundation/RunLoop.h"
#include "MailApplication.h"
#include "Models/Popover.h"
#include "Models/RowList.h"
#include "Models/StatusItem.h"
#include "Settings/UserDefaults.h"
#include "Support/TemporaryHost.h"

namespace qs {
namespace {

constexpr int kMailboxes = 5, kRows = 10;
constexpr double kNow = 1'795'428'000;
constexpr double kHour = 3600;

std::string nameOf(int mailbox) { return "List" + std::to_string(mailbox); }

class Mailboxes {
public:
    explicit Mailboxes(int count)
        : host_({.plugIn = QS_PLUGIN_BUNDLE, .start = {kNow}, .prepareSettings = [] {
                     Array chosen;
                     for (int i = 0; i < kMailboxes; ++i)
                         chosen.emplace_back("ada/" + nameOf(i));
                     UserDefaults::suite("com.tallowbay.Quillstead")
                         ->setObject(std::move(chosen), "QSDirectInboxActiveIdentifiers");
                 }}) {
        host_.shutDown();
        for (int i = 0; i < kMailboxes; ++i)
            fill(host_.dataFolder() / "Mail/ada" / ("." + nameOf(i)), count);
        host_.start();
    }

    // A click opens it, the next one closes it. Answers how many messages it showed.
    int openAndClose() {
        click();
        int messages = 0;
        for (const Popover* popover : Popover::allShown())
            if (popover->content.list)
                for (const ListRow& row : popover->content.list->rows)
                    messages += row.kind == ListRow::Kind::Item ? 1 : 0;
        click();
        return messages;
    }
    std::size_t readRows() {
        std::size_t rows = 0;
        for (int i = 0; i < kMailboxes; ++i)
            rows += host_.library()
                        .page(host_.library().mailboxWithIdentifier("ada/" + nameOf(i))->criterion(), {}, 0, kRows)
                        .rows.size();
        return rows;
    }

    static Mailboxes& of(int count) {
        if (size != count) {
            shared.reset();
            shared = std::make_unique<Mailboxes>(count);
            size = count;
        }
        return *shared;
    }
    // It has to go before main() ends: the plug-in's own statics go after that.
    static inline std::unique_ptr<Mailboxes> shared;
    static inline int size = 0;

private:
    static void fill(const std::filesystem::path& folder, int count) {
        for (const char* part : {"cur", "new", "tmp"})
            std::filesystem::create_directories(folder / part);
        for (int i = 0; i < count; ++i) {
            const double time = kNow - (i + 0.5) * kHour;
            const auto file =
                folder / "cur" /
                (std::to_string(static_cast<std::int64_t>(time)) + ".M" + std::to_string(i) + "P1Q1R1.box:2,");
            std::ofstream(file) << "Received: from there by here; "
                                << formatDate({time}, {"EEE, d MMM yyyy HH:mm:ss ZZZ", "en_US_POSIX", "UTC"})
                                << "\r\nFrom: Person " << i % 50 << " <p" << i % 50
                                << "@example.org>\r\nTo: Ada <ada@example.org>\r\nSubject: News " << i
                                << "\r\nMessage-Id: <" << i << folder.filename().string()
                                << "@example.org>\r\n\r\nWhat is new today is told in these lines.\r\n";
        }
    }
    void click() {
        for (const auto& item : StatusBar::systemStatusBar().statusItems())
            host_.application().sendAction(item->action(), item->target().get(), item.get());
        host_.settle();
    }

    TemporaryHost host_;
};

double seconds(const auto& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void openTheInbox(benchmark::State& state) {
    Mailboxes& mailboxes = Mailboxes::of(static_cast<int>(state.range(0)));
    if (mailboxes.openAndClose() != kMailboxes * kRows) return state.SkipWithError("messages are missing");
    double opened = 0, floor = 0;
    for (auto _ : state) {
        const double once = seconds([&] { benchmark::DoNotOptimize(mailboxes.openAndClose()); });
        state.SetIterationTime(once);
        opened += once;
        floor += seconds([&] { benchmark::DoNotOptimize(mailboxes.readRows()); });
    }
    state.counters["ratio"] = opened / floor;
}
BENCHMARK(openTheInbox)->Arg(1'000)->Arg(100'000)->Unit(benchmark::kMillisecond)->UseManualTime();

}  // namespace
}  // namespace qs

int main(int count, char** arguments) {
    benchmark::Initialize(&count, arguments);
    benchmark::RunSpecifiedBenchmarks();
    qs::Mailboxes::shared.reset();
    benchmark::Shutdown();
}
