// libcurl's multi interface on a thread of its own: names are resolved and handshakes made without the main thread,
// which only hears of ends.
#include <deque>
#include <map>
#include <mutex>
#include <thread>

#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Http/CurlTransfer.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

constexpr int kLongestPollMilliseconds = 1000;
constexpr long kMostConnectionsPerHost = 6;

struct Job {
    std::unique_ptr<CurlTransfer> transfer;
    HttpCompletion completion;
    std::shared_ptr<void> hold;  // time stands until the completion has run
};

class CurlHttpClient : public HttpClient, public std::enable_shared_from_this<CurlHttpClient> {
public:
    explicit CurlHttpClient(Options options) : options_(std::move(options)) {
        static const CURLcode ready = curl_global_init(CURL_GLOBAL_DEFAULT);
        if (ready != CURLE_OK) throw std::runtime_error("The web can't be reached: libcurl does not start.");
        multi_ = curl_multi_init();
        curl_multi_setopt(multi_, CURLMOPT_MAX_HOST_CONNECTIONS, kMostConnectionsPerHost);
    }
    ~CurlHttpClient() override {
        {
            const std::lock_guard guard(lock_);
            isEnding_ = true;
        }
        curl_multi_wakeup(multi_);
        if (thread_.joinable()) thread_.join();
        curl_multi_cleanup(multi_);
    }

    HttpTaskRef send(HttpRequest request, HttpCompletion completion) override;
    void wake() { curl_multi_wakeup(multi_); }

private:
    void work();
    void takeNew();
    void takeEnded();
    void finish(Job job, Result<HttpResponse> result);

    const Options options_;
    CURLM* multi_ = nullptr;
    std::mutex lock_;
    std::deque<Job> fresh_;
    bool isEnding_ = false;
    std::map<CURL*, Job> running_;  // of the thread alone
    std::thread thread_;            // from the first request on
};

class CurlTask : public HttpTask {
public:
    CurlTask(CurlTransfer::Flag flag, std::weak_ptr<CurlHttpClient> client)
        : flag_(std::move(flag)), client_(std::move(client)) {}
    void cancel() override {
        *flag_ = true;
        if (const auto client = client_.lock()) client->wake();
    }

private:
    const CurlTransfer::Flag flag_;
    const std::weak_ptr<CurlHttpClient> client_;
};

using TellPiece = std::function<void(int status, std::string_view piece)>;

TellPiece onMainThread(TellPiece tell) {
    return [tell = std::make_shared<TellPiece>(std::move(tell))](int status, std::string_view piece) {
        RunLoop* loop = RunLoop::mainIfInstalled();
        if (loop) loop->post([tell, status, copy = std::string(piece)] { (*tell)(status, copy); });
    };
}

HttpTaskRef CurlHttpClient::send(HttpRequest request, HttpCompletion completion) {
    std::function<void(std::uint64_t, std::uint64_t)> told;
    if (request.uploadProgress)
        told = [progress = request.uploadProgress](std::uint64_t sent, std::uint64_t total) {
            if (RunLoop* loop = RunLoop::mainIfInstalled()) loop->post([=] { progress(sent, total); });
        };
    if (request.bodyArrives) request.bodyArrives = onMainThread(std::move(request.bodyArrives));
    const auto cancelled = std::make_shared<std::atomic<bool>>(false);
    Job job{std::make_unique<CurlTransfer>(std::move(request), options_, cancelled, std::move(told)),
            std::move(completion), RunLoop::main().holdTime()};
    auto task = std::make_shared<CurlTask>(cancelled, weak_from_this());
    {
        const std::lock_guard guard(lock_);
        fresh_.push_back(std::move(job));
        if (!thread_.joinable()) thread_ = std::thread([this] { work(); });
    }
    wake();
    return task;
}

void CurlHttpClient::work() {
    for (;;) {
        {
            const std::lock_guard guard(lock_);
            if (isEnding_) break;
        }
        takeNew();
        int running = 0;
        curl_multi_perform(multi_, &running);
        takeEnded();
        curl_multi_poll(multi_, nullptr, 0, kLongestPollMilliseconds, nullptr);
    }
    for (const auto& [easy, job] : running_)
        curl_multi_remove_handle(multi_, easy);
    running_.clear();
}

void CurlHttpClient::takeNew() {
    std::deque<Job> fresh;
    {
        const std::lock_guard guard(lock_);
        fresh.swap(fresh_);
    }
    for (Job& job : fresh) {
        if (auto wrong = job.transfer->start()) {
            finish(std::move(job), failure(std::move(*wrong)));
            continue;
        }
        CURL* easy = job.transfer->easy();
        running_.emplace(easy, std::move(job));
        curl_multi_add_handle(multi_, easy);
    }
}

void CurlHttpClient::takeEnded() {
    // One that is waiting for its turn to connect is not asked whether it goes on.
    std::vector<CURL*> cancelled;
    for (const auto& [easy, job] : running_)
        if (job.transfer->isCancelled()) cancelled.push_back(easy);
    const auto end = [this](CURL* easy, CURLcode code) {
        const auto found = running_.find(easy);
        if (found == running_.end()) return;
        curl_multi_remove_handle(multi_, easy);
        auto result = found->second.transfer->ended(code);
        if (!result) {
            curl_multi_add_handle(multi_, easy);
            return;
        }
        Job job = std::move(found->second);
        running_.erase(found);
        finish(std::move(job), std::move(*result));
    };
    for (CURL* easy : cancelled)
        end(easy, CURLE_ABORTED_BY_CALLBACK);
    int left = 0;
    std::vector<std::pair<CURL*, CURLcode>> ended;
    while (const CURLMsg* message = curl_multi_info_read(multi_, &left))
        if (message->msg == CURLMSG_DONE) ended.emplace_back(message->easy_handle, message->data.result);
    for (const auto& [easy, code] : ended)
        end(easy, code);
    if (!ended.empty()) wake();  // those that were redirected go on at once
}

// Whatever the transfer holds goes before the caller hears of the end.
void CurlHttpClient::finish(Job job, Result<HttpResponse> result) {
    job.transfer.reset();
    RunLoop* loop = RunLoop::mainIfInstalled();
    if (!loop) return;
    loop->post(
        [completion = std::move(job.completion), result = std::move(result), hold = std::move(job.hold)]() mutable {
            if (completion) completion(std::move(result));
        });
}

}  // namespace

std::shared_ptr<HttpClient> HttpClient::make(Options options) {
    return std::make_shared<CurlHttpClient>(std::move(options));
}

std::optional<std::string> HttpResponse::header(std::string_view name) const {
    for (const auto& [key, value] : headers)
        if (equalsIgnoringCase(key, name)) return value;
    return std::nullopt;
}

std::string formEncoded(const std::vector<std::pair<std::string, std::string>>& fields) {
    const auto escaped = [](std::string_view text) {
        std::string result;
        for (const char c : text) {
            const auto byte = static_cast<unsigned char>(c);
            if (isAsciiLetter(c) || isAsciiDigit(c) || c == '*' || c == '-' || c == '.' || c == '_') {
                result += c;
            } else if (c == ' ') {
                result += '+';
            } else {
                constexpr const char* digits = "0123456789ABCDEF";
                result += {'%', digits[byte >> 4], digits[byte & 15]};
            }
        }
        return result;
    };
    std::string all;
    for (const auto& [name, value] : fields)
        all += (all.empty() ? "" : "&") + escaped(name) + "=" + escaped(value);
    return all;
}

}  // namespace qs
