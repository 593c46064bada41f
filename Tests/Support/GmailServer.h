// A mail server on loopback that is to IMAP clients what Gmail is: labels are mailboxes, a message has a number and is
// shown in several of them (developers.google.com/gmail/imap/imap-extensions). Strict: what Gmail would not take is
// answered with BAD and is a complaint. One account, "ada", whose password is "analytical".
//
// What another client of the person's does is done by calls here; everything is safe from every thread.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace qs {

class GmailServer {
public:
    GmailServer();
    ~GmailServer();
    int port() const;

    // Labels go by the names of their mailboxes. Answers Gmail's number.
    std::uint64_t deliver(const std::string& content, const std::set<std::string>& labels = {"INBOX"},
                          const std::set<std::string>& flags = {});
    void label(std::uint64_t number, const std::set<std::string>& added, const std::set<std::string>& taken = {});
    void setFlags(std::uint64_t number, const std::set<std::string>& flags);
    void trash(std::uint64_t number);
    void erase(std::uint64_t number);  // for good
    void create(const std::string& mailbox);

    // The names of the mailboxes that show it, sorted.
    std::vector<std::string> mailboxesOf(std::uint64_t number) const;
    std::set<std::string> flagsOf(std::uint64_t number) const;
    std::vector<std::uint64_t> numbers() const;    // of all messages
    int timesFetched(std::uint64_t number) const;  // as a whole
    std::vector<std::string> complaints() const;
    std::vector<std::string> commands() const;  // without tags, in order, of all connections

    // The connection over which the so manieth command from now comes is cut: before it is done, or when it is done and
    // nobody was told. 0: none is.
    enum class Cut { Before, After };
    void cutAt(int command, Cut cut);
    bool wasCut() const;  // since then
    // Connections are cut, and none comes about until letPass().
    void goDown();
    void letPass();
    // Answers NO to commands with these words in them; empty: to none.
    void refuse(const std::string& words);

private:
    struct State;
    const std::unique_ptr<State> state_;
};

}  // namespace qs
