#include "Support/ScriptedServer.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <thread>

#include "Support/TestSocket.h"

namespace qs {

using Script = ScriptedServer::Script;

Script& Script::say(std::string line) { return sayBytes(std::move(line) + "\r\n"); }

Script& Script::sayBytes(std::string bytes) {
    steps_.push_back({Kind::Say, std::move(bytes)});
    return *this;
}

Script& Script::expect(std::string beginning) {
    steps_.push_back({Kind::Expect, std::move(beginning)});
    return *this;
}

Script& Script::expectUntil(std::string line) {
    steps_.push_back({Kind::ExpectUntil, std::move(line)});
    return *this;
}

Script& Script::hangUp() {
    steps_.push_back({Kind::HangUp, {}});
    return *this;
}

Script& Script::stall() {
    steps_.push_back({Kind::Stall, {}});
    return *this;
}

struct ScriptedServer::State {
    TestListener listener;
    mutable std::mutex lock;
    std::deque<Script> scripts;  // addresses stay
    std::size_t played = 0;
    std::vector<std::string> complaints, heard;
    TestConnection* open = nullptr;
    std::thread thread;

    std::optional<std::string> readLine(TestConnection& connection) {
        auto line = connection.readLine();
        if (!line) return {};
        while (line->ends_with('\n') || line->ends_with('\r'))
            line->pop_back();
        const std::lock_guard guard(lock);
        heard.push_back(*line);
        return line;
    }

    void complain(std::string what) {
        const std::lock_guard guard(lock);
        complaints.push_back(std::move(what));
    }

    // False ends the script.
    bool play(const Script::Step& step, TestConnection& connection) {
        switch (step.kind) {
        case Script::Kind::Say: return connection.write(step.text);
        case Script::Kind::HangUp: return false;
        case Script::Kind::Stall: connection.waitForHangUp(); return false;
        case Script::Kind::Expect: {
            const auto line = readLine(connection);
            if (line && line->starts_with(step.text)) return true;
            complain("expected " + step.text + ", heard " + line.value_or("nothing"));
            return false;
        }
        case Script::Kind::ExpectUntil:
            for (auto line = readLine(connection); line; line = readLine(connection))
                if (*line == step.text) return true;
            complain("expected " + step.text + ", heard no more");
            return false;
        }
        return false;
    }

    void serve(TestConnection& connection) {
        std::vector<Script::Step> steps;
        {
            const std::lock_guard guard(lock);
            if (scripts.empty()) return;
            steps = scripts[std::min(played++, scripts.size() - 1)].steps_;
        }
        for (const Script::Step& step : steps)
            if (!play(step, connection)) break;
        connection.hangUp();
    }
};

ScriptedServer::ScriptedServer() : state_(std::make_shared<State>()) {
    state_->thread = std::thread([state = state_.get()] {
        while (auto connection = state->listener.accept()) {
            const auto setOpen = [&](TestConnection* open) {
                const std::lock_guard guard(state->lock);
                state->open = open;
            };
            setOpen(connection.get());
            state->serve(*connection);
            setOpen(nullptr);
        }
    });
}

ScriptedServer::~ScriptedServer() {
    state_->listener.stop();
    {
        const std::lock_guard guard(state_->lock);
        if (state_->open) state_->open->hangUp();
    }
    state_->thread.join();
}

int ScriptedServer::port() const { return state_->listener.port(); }

Script& ScriptedServer::script() {
    const std::lock_guard guard(state_->lock);
    return state_->scripts.emplace_back();
}

std::vector<std::string> ScriptedServer::complaints() const {
    const std::lock_guard guard(state_->lock);
    return state_->complaints;
}

std::vector<std::string> ScriptedServer::heard() const {
    const std::lock_guard guard(state_->lock);
    return state_->heard;
}

}  // namespace qs
