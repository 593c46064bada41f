// What the backend does in a second, beside what can be done at all.
//
// Pixels: the real program on one core, and nginx's empty_gif with an access log on the same core in the same run; the
// client is the same and has another core. nginx's log is in the system's cache, ours is on the disk when the answer
// goes out. "lost" counts fetches that did not reach the database. Without nginx only ours is told.
// Sign-ins: the first of a person, beside one digest of the password at the same cost.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <sched.h>
#include <signal.h>
#include <sys/socket.h>

#include <charconv>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Accounts/PasswordHasher.h"
#include "Accounts/RateLimiter.h"
#include "Accounts/SignIn.h"
#include "Foundation/RunLoop.h"
#include "Process/CompanionProcess.h"
#include "Process/DetachedProcess.h"
#include "Service.h"
#include "Store/AccountTables.h"
#include "Store/SqlPool.h"
#include "Store/TrackingTables.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestSocket.h"

namespace qs {
namespace {

constexpr int kConnections = 64, kPerConnection = 100, kPixels = 1000;
constexpr int kServersCore = 0, kClientsCore = 1;

std::string uuidOf(int number) { return "0A1B2C3D-0000-4000-8000-000000" + std::to_string(100'000 + number); }

std::unique_ptr<TestConnection> connectTo(int port) {
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const void* plain = &address;
    auto connection = std::make_unique<TestConnection>(descriptor);
    if (::connect(descriptor, static_cast<const sockaddr*>(plain), sizeof address) != 0) connection->hangUp();
    return connection;
}

double secondsOf(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// This process, for as long as it lives.
class OnCore {
public:
    explicit OnCore(int core) {
        ::sched_getaffinity(0, sizeof before_, &before_);
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(static_cast<std::size_t>(core), &one);
        ::sched_setaffinity(0, sizeof one, &one);
    }
    ~OnCore() { ::sched_setaffinity(0, sizeof before_, &before_); }

private:
    cpu_set_t before_{};
};

std::unique_ptr<CompanionProcess> startOnCore(const std::filesystem::path& program,
                                              std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--cpu-list", std::to_string(kServersCore), program.string()});
    auto started = CompanionProcess::start(programNamed("taskset"), arguments);
    return started ? std::move(*started) : nullptr;
}

// Asks on kept connections, with one request on each under way; answers how many pictures came back.
int fetchAll(int port, int round) {
    std::vector<std::unique_ptr<TestConnection>> connections;
    for (int i = 0; i < kConnections; ++i)
        connections.push_back(connectTo(port));
    int answered = 0;
    for (int i = 0; i < kPerConnection; ++i) {
        for (std::size_t c = 0; c < connections.size(); ++c)
            connections[c]->write("GET /tracking/" +
                                  uuidOf((round * 37 + i * kConnections + static_cast<int>(c)) % kPixels) +
                                  " HTTP/1.1\r\nHost: b\r\nUser-Agent: Mozilla/5.0 (Macintosh; Intel Mac OS X "
                                  "10_12_6) AppleWebKit/603.3.8 (KHTML, like Gecko)\r\n\r\n");
        for (const auto& connection : connections) {
            std::size_t length = 0;
            for (auto line = connection->readLine(); line && *line != "\r\n"; line = connection->readLine())
                if (constexpr std::string_view name = "Content-Length: "; line->starts_with(name))
                    std::from_chars(line->data() + name.size(), line->data() + line->size(), length);
            answered += length > 0 && connection->read(length) ? 1 : 0;
        }
    }
    return answered;
}

class Nginx {
public:
    explicit Nginx(const std::filesystem::path& folder) {
        auto program = programNamed("nginx");
        if (program.empty() && std::filesystem::exists("/usr/sbin/nginx")) program = "/usr/sbin/nginx";
        if (program.empty()) return;
        {
            const TestListener free;  // a port that was free a moment ago
            port_ = free.port();
        }
        const std::string place = folder.string();
        std::ofstream(folder / "nginx.conf")
            << "daemon off; master_process off; pid " << place << "/pid; error_log " << place << "/errors;\n"
            << "events { worker_connections 256; }\n"
            << "http { access_log " << place << "/access; keepalive_requests 1000000;\n"
            << "client_body_temp_path " << place << "/b; proxy_temp_path " << place << "/p; fastcgi_temp_path " << place
            << "/f; uwsgi_temp_path " << place << "/u; scgi_temp_path " << place << "/s;\n"
            << "server { listen 127.0.0.1:" << port_ << "; location / { empty_gif; } } }\n";
        process_ = startOnCore(program, {"-p", place, "-e", place + "/errors", "-c", place + "/nginx.conf"});
        // It says nothing when it is ready: it is when somebody can be connected.
        for (int tries = 0; process_ && tries < 1000 && fetchOne() == 0; ++tries)
            ::sched_yield();
    }
    ~Nginx() {
        if (process_) ::kill(process_->processIdentifier(), SIGTERM);
    }
    Nginx(const Nginx&) = delete;
    Nginx& operator=(const Nginx&) = delete;
    bool isThere() const { return process_ != nullptr; }
    int port() const { return port_; }

private:
    int fetchOne() const {
        const auto connection = connectTo(port_);
        return connection->write("GET / HTTP/1.1\r\nHost: b\r\nConnection: close\r\n\r\n") && connection->readLine()
                   ? 1
                   : 0;
    }
    std::unique_ptr<CompanionProcess> process_;
    int port_ = 0;
};

void preparePixels(const std::filesystem::path& database, Date now) {
    SqlPool pool([&] { return SqlConnection::openSqlite(database); }, 1);
    pool.transaction([&](SqlConnection& connection) {
        connection.run("INSERT INTO accounts (email, password, created_at) VALUES ('a@b.c', '', 0)");
        std::vector<Pixel> pixels;
        for (int i = 0; i < kPixels; ++i)
            pixels.push_back({uuidOf(i), "<" + std::to_string(i) + "@b.c>", {}});
        // Not in 1970: the server would drop them at once as too old.
        registerPixels(connection, 1, pixels, now);
    });
}

void backendPixels(benchmark::State& state) {
    const auto loop = RunLoop::make(RunLoop::Clock::Real);
    const TemporaryFolder folder;
    preparePixels(folder / "backend.sqlite", loop->now());
    auto backend = startOnCore(QS_BACKEND_PROGRAM, {"--demo", folder.path().string(), "--until-input-ends"});
    const std::string line = backend ? backend->readLine(30).value_or("") : std::string();
    int port = 0;
    std::from_chars(line.data() + line.rfind(':') + 1, line.data() + line.size(), port);
    if (port == 0) return state.SkipWithError("the backend does not start; is taskset there?");
    const TemporaryFolder nginxFolder;
    const Nginx nginx(nginxFolder.path());
    const OnCore client(kClientsCore);
    double ours = 0, theirs = 0;
    int round = 0, answered = 0;
    for (auto _ : state) {
        const double seconds = secondsOf([&] { answered += fetchAll(port, round); });
        ours += seconds;
        if (nginx.isThere()) theirs += secondsOf([&] { fetchAll(nginx.port(), round); });
        ++round;
        state.SetIterationTime(seconds);
    }
    backend.reset();
    const auto logged = SqlConnection::openSqlite(folder / "backend.sqlite")->run("SELECT COUNT(*) FROM opens");
    const double all = static_cast<double>(round) * kConnections * kPerConnection;
    if (answered != static_cast<int>(all)) state.SkipWithError("not every fetch was answered");
    state.counters["pixels_per_second"] = all / ours;
    state.counters["lost"] = all - static_cast<double>(logged.at(0).integer(0));
    if (nginx.isThere()) {
        state.counters["nginx_per_second"] = all / theirs;
        state.counters["ratio_to_nginx"] = theirs / ours;
    } else {
        state.SetLabel("nginx is not installed");
    }
}
BENCHMARK(backendPixels)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

void firstSignIn(benchmark::State& state) {
    const auto loop = RunLoop::make(RunLoop::Clock::Real);
    const TemporaryFolder folder;
    const std::string password = "correct horse";
    SqlPool database([&] { return SqlConnection::openSqlite(folder / "backend.sqlite"); }, 1);
    PasswordHasher passwords(PasswordHasher::Cost::Usual);
    const std::string kept = passwords.hash(password);
    database.transaction([&](SqlConnection& connection) {
        connection.run("INSERT INTO accounts (email, password, created_at) VALUES ('a@b.c', ?1, 0)", {kept});
    });
    const HttpServerRequest request;
    double ours = 0, digests = 0;
    for (auto _ : state) {
        RateLimits limits;
        SignIn signIn(database, passwords, limits);  // that knows nobody yet
        const double seconds = secondsOf([&] {
            if (!signIn.account({request, loop->now(), "127.0.0.1"}, "a@b.c", password))
                state.SkipWithError("the password is refused");
        });
        ours += seconds;
        digests += secondsOf([&] { benchmark::DoNotOptimize(passwords.matches(kept, password)); });
        state.SetIterationTime(seconds);
    }
    state.counters["ratio_to_digest"] = ours / digests;
}
BENCHMARK(firstSignIn)->UseManualTime()->Iterations(10)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace qs
