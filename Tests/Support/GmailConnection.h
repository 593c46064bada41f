// One client's dialogue with a GmailServer; private to it.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Imap/ImapUidSet.h"
#include "Support/GmailMail.h"

namespace qs {

class TestConnection;

std::string imapQuoted(const std::string& text);
std::string imapUppered(std::string text);

// What the connections share; under the lock.
struct GmailHub {
    virtual ~GmailHub() = default;
    virtual void tellIdle() = 0;  // something changed

    mutable std::mutex lock;
    GmailMail mail;
    std::vector<std::string> complaints, commands;
    std::map<std::uint64_t, int> fetched;
    std::string refused;
    int untilCut = 0;
    bool cutsBefore = false, wasCut = false;
};

class GmailConnection {
public:
    GmailConnection(TestConnection& socket, GmailHub& hub) : socket_(socket), hub_(hub) {}
    void serve();       // until somebody hangs up
    void tellIfIdle();  // under the hub's lock

private:
    // A word, a text or a list of the command.
    struct Word {
        std::string text;
        bool isList = false;
        std::vector<Word> words;
    };
    using Words = std::vector<Word>;

    // The line with its literals put in; nothing when the client has gone.
    std::optional<std::string> readCommand();
    Word nextWord(const std::string& line, std::size_t& at);
    Words wordsOf(const std::string& line);
    bool play(const std::string& line);
    std::string answer(const std::string& verb, const Words& words);
    std::string answerUid(const Words& words);
    std::string authenticate(const Words& words);
    void list();
    std::string status(const Words& words);
    std::string select(const Words& words, bool isReadOnly);
    std::string fetch(const Words& words);
    bool fetchOne(std::uint32_t uid, const Words& items);
    std::string search(const Words& words);
    std::string store(const Words& words);
    std::string storeLabels(const ImapUidSet& uids, bool isAdded, const Words& labels);
    std::string copyOrMove(const Words& words, bool moves);
    std::string expunge(const Words& words);
    std::string append(const Words& words);
    void idle(const std::string& tag);
    void tellChanges();
    bool isOf(const std::string& verb, const Words& words, const char* name, std::size_t least) const;
    std::string bad(const std::string& why);
    void say(const std::string& line);
    std::vector<std::uint32_t> here(const ImapUidSet& uids) const;
    std::size_t sequenceOf(std::uint32_t uid) const;
    GmailMessage& message(std::uint32_t uid) const;
    std::string flagsOf(std::uint32_t uid) const;

    TestConnection& socket_;
    GmailHub& hub_;
    std::vector<std::string> literals_;
    std::string line_;
    std::string selected_;
    std::map<std::uint32_t, std::uint64_t> seen_;  // what the client has been told: modSeqs by uid
    bool isSignedIn_ = false, isReadOnly_ = false, isIdle_ = false, isOver_ = false;
};

}  // namespace qs
