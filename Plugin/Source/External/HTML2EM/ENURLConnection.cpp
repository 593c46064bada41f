#include "HTML2EM/ENURLConnection.h"

#include <utility>

#include "Foundation/RunLoop.h"
#include "Http/HttpClient.h"
#include "Platform.h"

namespace qs {

namespace {

// What the client holds until the answer has come, and the connection until it goes.
struct Listener {
    ENURLConnectionDelegate* delegate;  // null after the end
    bool hasResponse = false;

    void respond(int status) {
        if (!delegate || hasResponse) return;
        hasResponse = true;
        delegate->connectionDidReceiveResponse(status);
    }
    void receive(int status, std::string_view data) {
        respond(status);
        if (delegate && !data.empty()) delegate->connectionDidReceiveData(data);
    }
    void end(const Result<HttpResponse>& answer) {
        if (answer) receive(answer->status, answer->body);
        ENURLConnectionDelegate* told = std::exchange(delegate, nullptr);
        if (!told) return;
        if (answer)
            told->connectionDidFinishLoading();
        else
            told->connectionDidFailWithError(answer.error());
    }
};

class Connection final : public ENURLConnection {
public:
    Connection(HttpRequest request, ENURLConnectionDelegate& delegate)
        : listener_(std::make_shared<Listener>(Listener{&delegate})) {
        request.bodyArrives = [listener = listener_](int status, std::string_view piece) {
            listener->receive(status, piece);
        };
        HttpCompletion completion = [listener = listener_](const Result<HttpResponse>& answer) {
            listener->end(answer);
        };
        if (const auto& client = Platform::current().http)
            task_ = client->send(std::move(request), std::move(completion));
        else
            RunLoop::main().post([completion = std::move(completion)] {
                completion(
                    failure(kHttpErrorDomain, static_cast<int>(HttpError::NotConnected), "There is no network."));
            });
    }
    ~Connection() override { stop(); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    void cancel() override { stop(); }

private:
    void stop() {
        listener_->delegate = nullptr;
        if (task_) task_->cancel();
    }

    const std::shared_ptr<Listener> listener_;
    HttpTaskRef task_;
};

}  // namespace

std::unique_ptr<ENURLConnection> ENURLConnection::start(HttpRequest request, ENURLConnectionDelegate& delegate) {
    return std::make_unique<Connection>(std::move(request), delegate);
}

}  // namespace qs
