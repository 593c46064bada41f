// The mail of one account as Gmail keeps it: messages that bear labels, and mailboxes that show them, each under a uid
// of its own. Mailboxes go by the names that IMAP has for them. For one thread at a time.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace qs {

struct GmailMessage {
    enum class Place { AllMail, Junk, Trash };
    std::uint64_t number = 0;
    std::string content, date;  // the date as IMAP writes it
    std::set<std::string> flags;
    std::set<std::string> labels;  // names of mailboxes, the inbox among them
    Place place = Place::AllMail;
    std::uint64_t modSeq = 0;
};

struct GmailMailbox {
    std::string use;  // "\All"; empty for ordinary labels and the inbox
    std::uint32_t uidValidity = 0, uidNext = 1;
    std::map<std::uint32_t, std::uint64_t> messages;  // by uid
    std::set<std::uint32_t> deleted;                  // uids that are marked so, which is the mailbox's own mark
};

class GmailMail {
public:
    static constexpr const char* kAll = "[Gmail]/All Mail";
    static constexpr const char* kTrash = "[Gmail]/Trash";
    static constexpr const char* kJunk = "[Gmail]/Spam";
    static constexpr const char* kDrafts = "[Gmail]/Drafts";
    static constexpr const char* kSent = "[Gmail]/Sent Mail";

    GmailMail();
    std::map<std::string, GmailMailbox> mailboxes;
    std::map<std::uint64_t, GmailMessage> messages;

    // What is there already, with the same octets, gets the labels and the same number.
    std::uint64_t add(const std::string& content, const std::set<std::string>& labels,
                      const std::set<std::string>& flags, const std::string& date);
    void label(std::uint64_t number, const std::set<std::string>& added, const std::set<std::string>& taken);
    void setFlags(std::uint64_t number, std::set<std::string> flags);
    // As the command of that name does.
    void move(std::uint64_t number, const std::string& from, const std::string& to);
    void copy(std::uint64_t number, const std::string& to);
    void expunge(const std::string& mailbox, std::uint32_t uid);
    void erase(std::uint64_t number);  // for good
    bool create(const std::string& mailbox);
    bool rename(const std::string& from, const std::string& to);
    bool remove(const std::string& mailbox);

    std::uint32_t uidIn(const std::string& mailbox, std::uint64_t number) const;  // 0 for none
    std::uint64_t highestModSeq(const std::string& mailbox) const;
    bool isLabel(const std::string& mailbox) const;
    // "\Inbox" and its like for the names of mailboxes, and back; empty for what is no label.
    std::string labelOf(const std::string& mailbox) const;
    std::string mailboxOf(const std::string& label) const;

private:
    void show(GmailMessage& message);  // brings the mailboxes into step with it

    std::uint64_t lastModSeq_ = 100, lastNumber_ = 1'500'000'000'000'000'000;
    std::uint32_t lastValidity_ = 0;
};

}  // namespace qs
