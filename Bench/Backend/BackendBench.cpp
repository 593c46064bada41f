// Pixels that the backend answers in a second, logging included, beside what the same HTTP server does when it answers
// a constant. The ratio of the two is what logging costs; "lost" counts fetches that did not reach the database.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "BackendServer.h"
#include "Foundation/FileSystem.h"
#include "Foundation/RunLoop.h"
#include "HttpServer/HttpServer.h"
#include "Store/SqlPool.h"
#include "Store/TrackingTables.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestSocket.h"
#include "Tracking/TrackingRoutes.h"

namespace qs {
namespace {

constexpr int kConnections = 8, kPerConnection = 500, kPixels = 1000;

std::string uuidOf(int number) {
    std::string digits = std::to_string(100000 + number);
    return "0A1B2C3D-0000-4000-8000-000000" + digits;
}

std::unique_ptr<TestConnection> connectTo(int port) {
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const void* plain = &address;
    auto connection = std::make_unique<TestConnection>(descriptor);
    if (::connect(descriptor, static_cast<const sockaddr*>(plain), sizeof address) != 0) return nullptr;
    return connection;
}

// Asks on kept connections, one after the other on each; answers how many pictures came back.
int fetchAll(int port, int round) {
    std::vector<std::unique_ptr<TestConnection>> connections;
    for (int i = 0; i < kConnections; ++i)
        if (auto connection = connectTo(port)) connections.push_back(std::move(connection));
    int answered = 0;
    for (int i = 0; i < kPerConnection; ++i) {
        for (std::size_t c = 0; c < connections.size(); ++c) {
            const int number =
                (round * kConnections * kPerConnection + i * kConnections + static_cast<int>(c)) % kPixels;
            connections[c]->write("GET /tracking/" + uuidOf(number) +
                                  " HTTP/1.1\r\nHost: b\r\nUser-Agent: Mozilla/5.0 (Macintosh; Intel Mac OS X 10_12_6) "
                                  "AppleWebKit/603.3.8 (KHTML, like Gecko)\r\n\r\n");
        }
        for (const auto& connection : connections) {
            for (auto line = connection->readLine(); line && *line != "\r\n"; line = connection->readLine()) {
            }
            answered += connection->read(pixelAnswer().body.size()) ? 1 : 0;
        }
    }
    return answered;
}

// Seconds that a round took, the loop running meanwhile.
double timedRound(RunLoop& loop, int port, int round, benchmark::State& state) {
    bool isDone = false;
    int answered = 0;
    const auto start = std::chrono::steady_clock::now();
    std::thread client([&] {
        answered = fetchAll(port, round);
        loop.post([&] { isDone = true; });
    });
    loop.runUntil([&] { return isDone; });
    client.join();
    if (answered != kConnections * kPerConnection) state.SkipWithError("not every fetch was answered");
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void backendPixels(benchmark::State& state) {
    const auto loop = RunLoop::make(RunLoop::Clock::Real);
    const TemporaryFolder folder;
    auto configuration = demoBackendConfiguration(folder.path());
    {
        SqlPool database([&] { return SqlConnection::openSqlite(configuration.databaseFile); }, 1);
        database.transaction([&](SqlConnection& connection) {
            connection.run("INSERT INTO accounts (email, password, created_at) VALUES ('a@b.c', '', 0)");
            std::vector<Pixel> pixels;
            for (int i = 0; i < kPixels; ++i)
                pixels.push_back({uuidOf(i), "<" + std::to_string(i) + "@b.c>", {}});
            // Not in 1970: the server would drop them at once as too old.
            registerPixels(connection, 1, pixels, loop->now());
        });
    }
    auto server = BackendServer::start(configuration, FileSystem::real(), {});
    if (!server) return state.SkipWithError(server.error().description.c_str());
    auto constant = HttpServer::listen({});
    (*constant)->start({.refuse = [](const HttpServerRequest&) { return std::nullopt; },
                        .bodyLimit = [](const HttpServerRequest&) { return 0; },
                        .respond = [](const HttpServerRequest&) { return pixelAnswer(); }});
    double ours = 0, floor = 0;
    int round = 0;
    for (auto _ : state) {
        const double seconds = timedRound(*loop, (*server)->port(), round, state);
        ours += seconds;
        floor += timedRound(*loop, (*constant)->port(), round, state);
        ++round;
        state.SetIterationTime(seconds);
    }
    bool isStopped = false;
    (*server)->stop([&] { isStopped = true; });
    loop->runUntil([&] { return isStopped; });
    server->reset();
    const auto logged = SqlConnection::openSqlite(configuration.databaseFile)->run("SELECT COUNT(*) FROM opens");
    const double all = static_cast<double>(round) * kConnections * kPerConnection;
    state.counters["pixels_per_second"] = all / ours;
    state.counters["constants_per_second"] = all / floor;
    state.counters["ratio_to_constant"] = floor / ours;
    state.counters["lost"] = all - static_cast<double>(logged.at(0).integer(0));
}
BENCHMARK(backendPixels)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace qs
