// One message from the written window through the plug-in's steps, outbox and delivery to the other person's inbox and
// the sent mail, without the page and with a virtual clock, so that only work counts and no waiting. Beside it the same
// without the plug-in, and the floor: one durable write of a file of that size.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "Foundation/FileSystem.h"
#include "Support/TemporaryFolder.h"
#include "Support/TemporaryHost.h"

namespace qs {
namespace {

constexpr TimeInterval kLongEnough = 120;  // for the delay after Send, and the next walk through the outbox

std::string text() {
    std::string all;
    for (int i = 0; i < 40; ++i)
        all += "All agreed, and the minutes of the meeting follow in a line such as this one.\n";
    return all;
}

void send(benchmark::State& state) {
    TemporaryHost host({.plugIn = state.range(0) != 0 ? QS_PLUGIN_BUNDLE : ""});
    if (!host.bundleErrors().empty()) return state.SkipWithError(host.bundleErrors().front().c_str());
    const std::string body = text();
    std::size_t sent = 0;
    for (auto _ : state) {
        host.composeAndSend("ada", "ben@example.org", "Minutes", body);
        host.advance(kLongEnough);
        ++sent;
    }
    if (host.inboxOf("ben").size() != sent) state.SkipWithError("messages did not arrive");
}
BENCHMARK(send)->ArgName("plugin")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(100);

void durableWrite(benchmark::State& state) {
    const TemporaryFolder folder;
    FileSystem& files = FileSystem::real();
    const std::string body = text();
    int number = 0;
    for (auto _ : state) {
        if (!files.replace(folder / std::to_string(number++), body)) state.SkipWithError("cannot write");
    }
}
BENCHMARK(durableWrite)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(100);

}  // namespace
}  // namespace qs
