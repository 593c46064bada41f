// From the start of the program to the first answer of its page, on the demo's folder; beside it what starting any
// process costs here.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

class Process {
public:
    explicit Process(std::vector<std::string> words) {
        std::vector<char*> arguments;
        for (std::string& word : words)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        int ends[2];
        if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        ::posix_spawn_file_actions_addclose(&actions, ends[0]);
        const int failed = ::posix_spawn(&number_, arguments[0], &actions, nullptr, arguments.data(), environ);
        ::posix_spawn_file_actions_destroy(&actions);
        ::close(ends[1]);
        output_ = ends[0];
        if (failed != 0) throw std::runtime_error("cannot start " + words[0]);
    }
    ~Process() {
        if (number_ > 0) ::kill(number_, SIGTERM);  // -1 would mean every process there is
        wait();
        ::close(output_);
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    void wait() {
        if (number_ > 0) ::waitpid(number_, nullptr, 0);
        number_ = -1;
    }
    // What it has printed up to and including this text.
    std::string outputUntil(std::string_view text) const {
        std::string all;
        char part[256];
        while (all.find(text) == std::string::npos) {
            const ssize_t size = ::read(output_, part, sizeof part);
            if (size <= 0) throw std::runtime_error("the program ended: " + all);
            all.append(part, static_cast<std::size_t>(size));
        }
        return all;
    }

private:
    pid_t number_ = -1;
    int output_ = -1;
};

// Asks for the page and answers how many bytes of it came first.
std::size_t firstBytesOfPage(int port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const void* plain = &address;
    if (::connect(socket, static_cast<const sockaddr*>(plain), sizeof address) != 0)
        throw std::runtime_error("nobody answers");
    const std::string request =
        "GET / HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) + "\r\nConnection: close\r\n\r\n";
    if (::send(socket, request.data(), request.size(), 0) < 0) throw std::runtime_error("cannot ask");
    std::string answer(4096, 0);
    const ssize_t size = ::recv(socket, answer.data(), answer.size(), 0);
    ::close(socket);
    if (size <= 0 || !answer.starts_with("HTTP/1.1 200")) throw std::runtime_error("no page: " + answer);
    return static_cast<std::size_t>(size);
}

class DataFolder {
public:
    DataFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "quillstead-bench-XXXXXX").string();
        if (!::mkdtemp(name.data())) throw std::runtime_error("no temporary folder");
        path_ = name;
    }
    ~DataFolder() { std::filesystem::remove_all(path_); }
    DataFolder(const DataFolder&) = delete;
    DataFolder& operator=(const DataFolder&) = delete;
    std::string path() const { return path_; }

private:
    std::filesystem::path path_;
};

std::size_t startAndAskForPage(const std::string& data, bool plugIn, benchmark::State* state) {
    std::vector<std::string> words{QS_HOST_PROGRAM, "--demo", "--no-browser", "--port", "0", "--data", data};
    if (!plugIn) words.push_back("--no-plugin");
    const Process host(words);
    constexpr std::string_view kPortMark = "127.0.0.1:";
    const std::string said = host.outputUntil("\n");
    const auto at = said.find(kPortMark);
    if (at == std::string::npos) throw std::runtime_error("no link: " + said);
    const std::size_t bytes = firstBytesOfPage(std::atoi(said.c_str() + at + kPortMark.size()));
    if (state) state->PauseTiming();  // its end is not part of it
    return bytes;
}

void startOfAnyProcess(benchmark::State& state) {
    for (auto _ : state)
        Process({"/bin/true"}).wait();
}
BENCHMARK(startOfAnyProcess)->Unit(benchmark::kMillisecond)->UseRealTime();

void coldStart(benchmark::State& state) {
    const DataFolder data;
    startAndAskForPage(data.path(), state.range(0) != 0, nullptr);  // makes the demo's mails
    for (auto _ : state) {
        benchmark::DoNotOptimize(startAndAskForPage(data.path(), state.range(0) != 0, &state));
        state.ResumeTiming();
    }
}
BENCHMARK(coldStart)->ArgName("plugin")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(20);

}  // namespace
