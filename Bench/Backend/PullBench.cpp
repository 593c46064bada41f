// A pull's answer that brings 100,000 opens of 1000 pixels: read, merged into the plug-in's records, saved. Beside it
// the same rows put into a table by plain SQL, in one transaction.
#include <benchmark/benchmark.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "Application/Bundles.h"
#include "Core/QSPluginDelegate.h"
#include "Core/Store/ManagedObjectContext.h"
#include "Database/Database.h"
#include "Foundation/Bundle.h"
#include "Foundation/DateFormatter.h"
#include "Foundation/Json.h"
#include "Support/TemporaryFolder.h"
#include "Support/TemporaryHost.h"
#include "Tracking/QSTrackingPixelManager.h"

extern "C" void MailBundleLoad(std::shared_ptr<qs::Bundle> bundle);
extern "C" void MailBundleUnload();

namespace qs {
namespace {

constexpr int kPixels = 1000, kOpens = 100;
constexpr Date kFirst{1'700'000'000};
constexpr const char* kAgent = "macOS 10.12 | Apple Mail";

double secondsOf(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::string uuidOf(int number) { return "0A1B2C3D-0000-4000-8000-000000" + std::to_string(100'000 + number); }

std::string answer() {
    Array pixels;
    for (int i = 0; i < kPixels; ++i) {
        Array opens;
        for (int open = 0; open < kOpens; ++open)
            opens.emplace_back(
                Dictionary{{"created_at", formatDate(kFirst + i * 60.0 + open,
                                                     {.pattern = "yyyy-MM-dd HH:mm:ss", .timeZone = "UTC"})},
                           {"city", "Berlin"},
                           {"country", "Germany"},
                           {"ip", "192.0.2.0"},
                           {"timezone", "Europe/Berlin"},
                           {"userAgentString", kAgent}});
        pixels.emplace_back(
            Dictionary{{"uuid", uuidOf(i)}, {"message_id", std::to_string(i) + "@b.c"}, {"opens", std::move(opens)}});
    }
    return jsonText(pixels);
}

void writePlain() {
    const TemporaryFolder folder;
    Database database(folder / "plain.sqlite", {.isDurable = true});
    database.runScript("CREATE TABLE opens (id INTEGER PRIMARY KEY, pixel INTEGER, date REAL, city TEXT, country TEXT, "
                       "ip TEXT, timezone TEXT, agent TEXT); CREATE INDEX by_pixel ON opens (pixel); BEGIN");
    for (int i = 0; i < kPixels; ++i)
        for (int open = 0; open < kOpens; ++open)
            database
                .query("INSERT INTO opens (pixel, date, city, country, ip, timezone, agent) "
                       "VALUES (?, ?, ?, ?, ?, ?, ?)",
                       {std::int64_t{i}, 1.7e9 + i * 60.0 + open, std::string("Berlin"), std::string("Germany"),
                        std::string("192.0.2.0"), std::string("Europe/Berlin"), std::string(kAgent)})
                .run();
    database.runScript("COMMIT");
}

void pullOfManyOpens(benchmark::State& state) {
    const std::string text = answer();
    double ours = 0, floor = 0;
    for (auto _ : state) {
        auto host = std::make_unique<TemporaryHost>();
        auto bundle = Bundle::open(QS_PLUGIN_BUNDLE);
        if (!bundle) return state.SkipWithError(bundle.error().description.c_str());
        MailBundleLoad(*bundle);
        const double seconds = secondsOf([&] {
            QSTrackingPixelManager::mergeAnswer(parseJson(text).value());
            if (!QSPluginDelegate::sharedDelegate().managedObjectContext().save()) state.SkipWithError("not saved");
        });
        ours += seconds;
        state.SetIterationTime(seconds);
        const auto last = QSTrackingPixelManager::trackingPixelWithUUID(uuidOf(kPixels - 1));
        if (!last || last->numOpens() != kOpens) state.SkipWithError("the opens are not there");
        MailBundleUnload();
        host.reset();
        floor += secondsOf(writePlain);
    }
    state.counters["opens_per_second"] = static_cast<double>(state.iterations()) * kPixels * kOpens / ours;
    state.counters["ratio_to_plain"] = ours / floor;
}
BENCHMARK(pullOfManyOpens)->UseManualTime()->Iterations(2)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace qs
