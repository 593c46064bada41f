#include "Support/RecordingSmtpServer.h"

#include <algorithm>
#include <list>
#include <mutex>
#include <thread>

#include "Support/TestSocket.h"
#include "Text/Ascii.h"

namespace qs {

struct RecordingSmtpServer::State {
    explicit State(Options given) : options(std::move(given)) {}

    Options options;
    TestListener listener;
    mutable std::mutex lock;
    std::vector<SmtpRule> rules;
    std::vector<ReceivedMail> received;
    std::vector<std::string> violations, commands;
    std::list<std::shared_ptr<TestConnection>> open;
    int connections = 0;
    bool isStopping = false;
    std::vector<std::thread> sessions;
    std::thread acceptor;

    std::optional<SmtpRule> ruleFor(SmtpStage stage, std::string_view command) {
        const std::lock_guard guard(lock);
        for (SmtpRule& rule : rules) {
            if (rule.stage != stage || rule.times == 0 || command.find(rule.match) == std::string_view::npos) continue;
            if (rule.times > 0) --rule.times;
            return rule;
        }
        return {};
    }

    void violated(std::string what) {
        const std::lock_guard guard(lock);
        violations.push_back(std::move(what));
    }
};

namespace {

std::string messageIDIn(const std::string& content) {
    const std::string lower = asciiLowered(content.substr(0, content.find("\r\n\r\n") + 2));
    const std::size_t at = ("\r\n" + lower).find("\r\nmessage-id:");
    if (at == std::string::npos) return {};
    const std::size_t start = content.find('<', at), end = content.find('>', at);
    return start == std::string::npos || end == std::string::npos ? std::string()
                                                                  : content.substr(start + 1, end - start - 1);
}

std::string base64Decoded(std::string_view text) {
    static constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    unsigned bits = 0;
    int count = 0;
    for (const char c : text) {
        const auto digit = kDigits.find(c);
        if (digit == std::string_view::npos) continue;
        bits = bits << 6 | static_cast<unsigned>(digit);
        count += 6;
        if (count < 8) continue;
        count -= 8;
        out += static_cast<char>(bits >> count & 0xFF);
    }
    return out;
}

std::string addressIn(std::string_view command) {
    const std::size_t start = command.find('<'), end = command.find('>');
    return start == std::string_view::npos || end == std::string_view::npos
               ? std::string()
               : std::string(command.substr(start + 1, end - start - 1));
}

}  // namespace

class RecordingSmtpServer::Session {
public:
    Session(State& state, TestConnection& connection, bool isFirst)
        : state_(state),
          connection_(connection),
          identity_(isFirst || !state.options.laterIdentity ? state.options.identity : state.options.laterIdentity) {}

    void run() {
        if (state_.options.isTls && !startTls()) return;
        if (!answer(SmtpStage::Greeting, "", "220 test.example ESMTP")) return;
        while (auto line = readLine("command"))
            if (!handle(*line)) return;
    }

private:
    bool startTls() { return connection_.startTls(identity_.value()); }

    // A line without its end. Everything but CR LF is a fault of the client's.
    std::optional<std::string> readLine(const char* what) {
        auto line = connection_.readLine();
        if (!line) return {};
        if (!line->ends_with("\r\n"))
            state_.violated(std::string("bare line feed in ") + what);
        else
            line->pop_back();
        line->pop_back();
        const bool isCommand = std::string_view(what) == "command";
        const bool isOdd = std::any_of(line->begin(), line->end(), [&](char c) {
            return c == '\r' || c == '\0' || (isCommand && isAsciiControl(c));
        });
        if (isOdd) state_.violated(std::string("control character in ") + what + ": " + *line);
        return line;
    }

    // False when the connection is over.
    bool answer(SmtpStage stage, const std::string& command, const std::string& usual, bool* isRefused = nullptr) {
        if (state_.options.onStage) state_.options.onStage(stage, command);
        const auto rule = state_.ruleFor(stage, command);
        if (!rule) return connection_.write(usual + "\r\n");
        if (isRefused) *isRefused = !rule->reply.starts_with('2') && !rule->reply.starts_with('3');
        if (rule->stalls) connection_.waitForHangUp();
        if (rule->stalls || rule->hangsUp) {
            connection_.hangUp();
            return false;
        }
        return connection_.write((rule->reply.empty() ? usual : rule->reply) + "\r\n");
    }

    bool handle(const std::string& line) {
        {
            const std::lock_guard guard(state_.lock);
            state_.commands.push_back(line);
        }
        if (startsWithIgnoringCase(line, "EHLO") || startsWithIgnoringCase(line, "HELO")) return hello(line);
        if (equalsIgnoringCase(line, "STARTTLS")) return secure(line);
        if (startsWithIgnoringCase(line, "AUTH PLAIN")) return authenticate(line);
        if (startsWithIgnoringCase(line, "AUTH XOAUTH2")) return authenticateWithToken(line);
        if (startsWithIgnoringCase(line, "MAIL FROM:")) return sender(line);
        if (startsWithIgnoringCase(line, "RCPT TO:")) return recipient(line);
        if (equalsIgnoringCase(line, "DATA")) return data(line);
        if (equalsIgnoringCase(line, "QUIT")) {
            answer(SmtpStage::Quit, line, "221 bye");
            return false;
        }
        if (equalsIgnoringCase(line, "NOOP")) return connection_.write("250 ok\r\n");
        if (equalsIgnoringCase(line, "RSET")) {
            mail_ = {};
            return connection_.write("250 ok\r\n");
        }
        state_.violated("unknown command: " + line);
        return connection_.write("500 unknown\r\n");
    }

    bool hello(const std::string& line) {
        std::string text = "250-test.example\r\n250-8BITMIME\r\n";
        if (state_.options.offersStartTls && !connection_.isEncrypted()) text += "250-STARTTLS\r\n";
        if (state_.options.offersAuthentication) text += "250-AUTH PLAIN XOAUTH2\r\n";
        if (state_.options.offersUtf8) text += "250-SMTPUTF8\r\n";
        return answer(SmtpStage::Hello, line, text + "250 SIZE 100000000");
    }

    bool secure(const std::string& line) {
        if (!answer(SmtpStage::StartTls, line, "220 go ahead")) return false;
        if (connection_.hasUnread()) state_.violated("something was said before the handshake");
        mail_ = {};
        return startTls();
    }

    // What follows the name of the mechanism, at once or when asked for.
    std::string initialResponse(const std::string& line, std::size_t nameEnd) {
        if (line.size() > nameEnd) return base64Decoded(line.substr(nameEnd + 1));
        return connection_.write("334 \r\n") ? base64Decoded(readLine("command").value_or("")) : std::string();
    }

    bool authenticateWithToken(const std::string& line) {
        const std::string decoded = initialResponse(line, 12);
        constexpr std::string_view kBearer = "\1auth=Bearer ";
        const std::size_t bearer = decoded.find(kBearer), end = decoded.find("\1\1");
        if (decoded.starts_with("user=") && bearer != std::string::npos && end != std::string::npos) {
            mail_.user = decoded.substr(5, bearer - 5);
            mail_.password = decoded.substr(bearer + kBearer.size(), end - bearer - kBearer.size());
        }
        return answer(SmtpStage::Authentication, line, "235 welcome");
    }

    bool authenticate(const std::string& line) {
        const std::string decoded = initialResponse(line, 10);
        const std::size_t user = decoded.find('\0'), password = decoded.find('\0', user + 1);
        if (user != std::string::npos && password != std::string::npos) {
            mail_.user = decoded.substr(user + 1, password - user - 1);
            mail_.password = decoded.substr(password + 1);
        }
        return answer(SmtpStage::Authentication, line, "235 welcome");
    }

    bool sender(const std::string& line) {
        mail_.from = addressIn(line);
        mail_.to.clear();
        return answer(SmtpStage::Sender, line, "250 ok");
    }

    bool recipient(const std::string& line) {
        bool isRefused = false;
        if (!answer(SmtpStage::Recipient, line, "250 ok", &isRefused)) return false;
        if (!isRefused) mail_.to.push_back(addressIn(line));
        return true;
    }

    bool data(const std::string& line) {
        if (mail_.to.empty()) state_.violated("DATA without a recipient");
        bool isRefused = false;
        if (!answer(SmtpStage::Data, line, "354 go ahead", &isRefused)) return false;
        if (isRefused) return true;
        ReceivedMail mail = mail_;
        mail.isEncrypted = connection_.isEncrypted();
        for (;;) {
            const auto text = readLine("message");
            if (!text) return false;  // cut off: nothing was received
            if (*text == ".") break;
            mail.content += (text->starts_with('.') ? text->substr(1) : *text) + "\r\n";
            if (state_.options.onStage) state_.options.onStage(SmtpStage::Body, *text);
            if (const auto rule = state_.ruleFor(SmtpStage::Body, *text); rule && rule->hangsUp) {
                connection_.hangUp();
                return false;
            }
        }
        return finish(std::move(mail));
    }

    // The message is kept before the answer goes out, as by a server that knows its duty.
    bool finish(ReceivedMail mail) {
        mail.messageID = messageIDIn(mail.content);
        const std::string command = mail.messageID;
        const auto rule = [&]() -> std::optional<SmtpRule> {
            const std::lock_guard guard(state_.lock);
            for (const SmtpRule& each : state_.rules)
                if (each.stage == SmtpStage::FinalDot && each.times != 0 &&
                    command.find(each.match) != std::string::npos)
                    return each;
            return {};
        }();
        const bool isTaken = !rule || rule->keepsMessage || rule->reply.starts_with('2');
        if (isTaken) {
            const std::lock_guard guard(state_.lock);
            state_.received.push_back(std::move(mail));
        }
        return answer(SmtpStage::FinalDot, command, "250 2.0.0 queued");
    }

    State& state_;
    TestConnection& connection_;
    const std::optional<TestIdentity> identity_;
    ReceivedMail mail_;
};

RecordingSmtpServer::RecordingSmtpServer() : RecordingSmtpServer(Options{}) {}

RecordingSmtpServer::RecordingSmtpServer(Options options) : state_(std::make_shared<State>(std::move(options))) {
    state_->acceptor = std::thread([state = state_.get()] {
        while (std::shared_ptr<TestConnection> connection = state->listener.accept()) {
            const std::lock_guard guard(state->lock);
            if (state->isStopping) break;
            ++state->connections;
            state->open.push_back(connection);
            state->sessions.emplace_back([state, connection, isFirst = state->connections == 1] {
                Session(*state, *connection, isFirst).run();
                connection->hangUp();
                const std::lock_guard done(state->lock);
                state->open.remove(connection);
            });
        }
    });
}

RecordingSmtpServer::~RecordingSmtpServer() {
    state_->listener.stop();
    {
        const std::lock_guard guard(state_->lock);
        state_->isStopping = true;
        for (const auto& connection : state_->open)
            connection->hangUp();
    }
    state_->acceptor.join();
    for (std::thread& session : state_->sessions)
        session.join();
}

int RecordingSmtpServer::port() const { return state_->listener.port(); }

void RecordingSmtpServer::add(SmtpRule rule) {
    const std::lock_guard guard(state_->lock);
    state_->rules.push_back(std::move(rule));
}

void RecordingSmtpServer::clearRules() {
    const std::lock_guard guard(state_->lock);
    state_->rules.clear();
}

std::vector<ReceivedMail> RecordingSmtpServer::received() const {
    const std::lock_guard guard(state_->lock);
    return state_->received;
}

int RecordingSmtpServer::timesReceived(std::string_view messageID) const {
    const auto all = received();
    return static_cast<int>(
        std::count_if(all.begin(), all.end(), [&](const auto& m) { return m.messageID == messageID; }));
}

std::vector<std::string> RecordingSmtpServer::violations() const {
    const std::lock_guard guard(state_->lock);
    return state_->violations;
}

int RecordingSmtpServer::connections() const {
    const std::lock_guard guard(state_->lock);
    return state_->connections;
}

std::vector<std::string> RecordingSmtpServer::commands() const {
    const std::lock_guard guard(state_->lock);
    return state_->commands;
}

}  // namespace qs
