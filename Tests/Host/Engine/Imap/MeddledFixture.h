// An account whose server is made to answer what a good one does not, and a dialogue in the middle of which the person
// goes on working.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Imap/SyncFixture.h"

namespace qs {

class MeddledTest : public SyncTest {
protected:
    void SetUp() override {
        SyncTest::SetUp();
        proxy_->meddle([this](bool isFromClient, const std::string& line) {
            return isFromClient ? asked(line) : CuttingProxy::Passing{answered(line)};
        });
    }
    void TearDown() override {
        engine_.reset();
        proxy_->meddle({});
        SyncTest::TearDown();
    }
    // Once, before the server sees a line with these words.
    void onceBefore(const std::string& words, std::function<void()> act) { acts_.emplace_back(words, std::move(act)); }
    // In the server's place, to commands with these words, until the answer is empty. Without a tag.
    void answer(const std::string& words, const std::string& text) { answers_[words] = text; }
    // In every line of the server's.
    void replaceInAnswers(const std::string& from, const std::string& to) { replaced_[from] = to; }
    // As a server without it, which tells no uids of what it takes in.
    void withoutUidplus() {
        replaceInAnswers(" UIDPLUS", "");
        replaceInAnswers("[APPENDUID ", "[XA ");
        replaceInAnswers("[COPYUID ", "[XC ");
    }
    // Sees each command first. Nothing: it passes as it is.
    std::function<std::optional<CuttingProxy::Passing>(const std::string& line)> whenAsked_;
    static CuttingProxy::Passing refused(const std::string& line, const std::string& text) {
        return {"", line.substr(0, line.find(' ') + 1) + text + "\r\n"};
    }
    // Of a command that fetches whole messages: their uids.
    static std::optional<ImapUidSet> fetchedBy(const std::string& line) {
        const auto at = line.find(" UID FETCH ");
        if (at == std::string::npos || line.find("BODY.PEEK[]") == std::string::npos) return {};
        return ImapUidSet::parse(line.substr(at + 11, line.find(' ', at + 11) - at - 11));
    }
    // Commands with these words so far.
    long count(const std::string& words) {
        const std::lock_guard hold(lock_);
        return std::count_if(heard_.begin(), heard_.end(),
                             [&](const std::string& line) { return line.find(words) != std::string::npos; });
    }
    // Of the server's texts so far, that it announced as one, in bytes.
    std::size_t largestAnswer() {
        const std::lock_guard hold(lock_);
        return largestAnswer_;
    }

private:
    CuttingProxy::Passing asked(const std::string& line) {
        {
            const std::lock_guard hold(lock_);
            heard_.push_back(line);
        }
        for (auto& [words, act] : acts_)
            if (act && line.find(words) != std::string::npos) std::exchange(act, nullptr)();
        for (const auto& [words, text] : answers_)
            if (!text.empty() && line.find(words) != std::string::npos) return refused(line, text);
        const auto passing = whenAsked_ ? whenAsked_(line) : std::nullopt;
        return passing ? *passing : CuttingProxy::Passing{line};
    }
    std::string answered(std::string line) {
        if (const auto at = line.rfind('{'); at != std::string::npos && line.ends_with("}\r\n")) {
            const std::lock_guard hold(lock_);
            largestAnswer_ = std::max(largestAnswer_, std::size_t{std::strtoull(&line[at + 1], nullptr, 10)});
        }
        for (const auto& [from, to] : replaced_)
            if (const auto at = line.find(from); at != std::string::npos) line.replace(at, from.size(), to);
        return line;
    }

    std::mutex lock_;
    std::vector<std::string> heard_;
    std::size_t largestAnswer_ = 0;
    std::vector<std::pair<std::string, std::function<void()>>> acts_;
    std::map<std::string, std::string> answers_, replaced_;
};

}  // namespace qs
