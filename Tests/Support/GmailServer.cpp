#include "Support/GmailServer.h"

#include <list>
#include <mutex>
#include <thread>

#include "Support/GmailConnection.h"
#include "Support/TestSocket.h"

namespace qs {

struct GmailServer::State final : GmailHub {
    TestListener listener;
    std::list<std::unique_ptr<TestConnection>> sockets;
    std::list<GmailConnection> connections;
    std::vector<std::thread> threads;
    std::thread acceptor;
    bool isDown = false, isStopping = false;

    void tellIdle() override {
        for (GmailConnection& each : connections)
            each.tellIfIdle();
    }
    void accept() {
        while (auto socket = listener.accept()) {
            const std::lock_guard guard(lock);
            if (isDown || isStopping) continue;  // hangs up
            TestConnection& kept = *sockets.emplace_back(std::move(socket));
            GmailConnection& connection = connections.emplace_back(kept, *this);
            threads.emplace_back([&connection] { connection.serve(); });
        }
    }
    void hangUpAll() {
        for (const auto& socket : sockets)
            socket->hangUp();
    }
};

GmailServer::GmailServer() : state_(std::make_unique<State>()) {
    state_->acceptor = std::thread([state = state_.get()] { state->accept(); });
}

GmailServer::~GmailServer() {
    state_->listener.stop();
    {
        const std::lock_guard guard(state_->lock);
        state_->isStopping = true;
        state_->hangUpAll();
    }
    state_->acceptor.join();
    for (std::thread& each : state_->threads)
        each.join();
}

int GmailServer::port() const { return state_->listener.port(); }

std::uint64_t GmailServer::deliver(const std::string& content, const std::set<std::string>& labels,
                                   const std::set<std::string>& flags) {
    const std::lock_guard guard(state_->lock);
    const auto number = state_->mail.add(content, labels, flags, "23-Nov-2026 09:30:00 +0000");
    state_->tellIdle();
    return number;
}

void GmailServer::label(std::uint64_t number, const std::set<std::string>& added, const std::set<std::string>& taken) {
    const std::lock_guard guard(state_->lock);
    for (const std::string& each : added)
        state_->mail.create(each);
    state_->mail.label(number, added, taken);
    state_->tellIdle();
}

void GmailServer::setFlags(std::uint64_t number, const std::set<std::string>& flags) {
    const std::lock_guard guard(state_->lock);
    state_->mail.setFlags(number, flags);
    state_->tellIdle();
}

void GmailServer::trash(std::uint64_t number) {
    const std::lock_guard guard(state_->lock);
    state_->mail.move(number, {}, GmailMail::kTrash);
    state_->tellIdle();
}

void GmailServer::erase(std::uint64_t number) {
    const std::lock_guard guard(state_->lock);
    state_->mail.erase(number);
    state_->tellIdle();
}

void GmailServer::create(const std::string& mailbox) {
    const std::lock_guard guard(state_->lock);
    state_->mail.create(mailbox);
}

std::vector<std::string> GmailServer::mailboxesOf(std::uint64_t number) const {
    const std::lock_guard guard(state_->lock);
    std::vector<std::string> names;
    for (const auto& [name, mailbox] : state_->mail.mailboxes)
        if (state_->mail.uidIn(name, number) != 0) names.push_back(name);
    return names;
}

std::set<std::string> GmailServer::flagsOf(std::uint64_t number) const {
    const std::lock_guard guard(state_->lock);
    return state_->mail.messages.at(number).flags;
}

std::vector<std::uint64_t> GmailServer::numbers() const {
    const std::lock_guard guard(state_->lock);
    std::vector<std::uint64_t> all;
    for (const auto& [number, message] : state_->mail.messages)
        all.push_back(number);
    return all;
}

int GmailServer::timesFetched(std::uint64_t number) const {
    const std::lock_guard guard(state_->lock);
    const auto found = state_->fetched.find(number);
    return found == state_->fetched.end() ? 0 : found->second;
}

std::vector<std::string> GmailServer::complaints() const {
    const std::lock_guard guard(state_->lock);
    return state_->complaints;
}

std::vector<std::string> GmailServer::commands() const {
    const std::lock_guard guard(state_->lock);
    return state_->commands;
}

void GmailServer::cutAt(int command, Cut cut) {
    const std::lock_guard guard(state_->lock);
    state_->untilCut = command;
    state_->cutsBefore = cut == Cut::Before;
    state_->wasCut = false;
}

bool GmailServer::wasCut() const {
    const std::lock_guard guard(state_->lock);
    return state_->wasCut;
}

void GmailServer::goDown() {
    const std::lock_guard guard(state_->lock);
    state_->isDown = true;
    state_->hangUpAll();
}

void GmailServer::letPass() {
    const std::lock_guard guard(state_->lock);
    state_->isDown = false;
    state_->untilCut = 0;
}

void GmailServer::refuse(const std::string& words) {
    const std::lock_guard guard(state_->lock);
    state_->refused = words;
}

}  // namespace qs
