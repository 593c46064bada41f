// What the library has to know of accounts at Gmail, where a message is one however many mailboxes show it: each label
// is a mailbox, and every message is in that of all mail besides. A message goes by Gmail's own number, unique in the
// account; 0 is none. Folders go without the "." in front.
//
// Called on any thread, with the library waiting: must not ask it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Result.h"

namespace qs {

class GmailKeeper {
public:
    virtual ~GmailKeeper() = default;
    // As far as is known from the last connection.
    virtual bool isGmail(const std::string& account) = 0;
    // Also of a folder that the server does not have yet.
    virtual bool isLabel(const std::string& account, const std::string& folder) = 0;
    virtual bool isAllMail(const std::string& account, const std::string& folder) = 0;
    // Of the messages that lie there under these unique parts of files' names, in the same order.
    virtual std::vector<std::uint64_t> messagesNamed(const std::string& account,
                                                     const std::vector<std::string>& names) = 0;
    // A copy of it has been here before, so that another one is no news.
    virtual bool isKept(const std::string& account, std::uint64_t message) = 0;
    // The folders whose labels it bears, with what was ordered here and the server has not done yet.
    virtual std::vector<std::string> labels(const std::string& account, std::uint64_t message) = 0;
    struct Order {
        std::uint64_t message = 0;
        std::string folder;
        bool isAdded = true;  // else taken away
    };
    // Labels are about to change here. Durable when it returns, all or none; when it fails nothing is changed.
    virtual Result<void> willLabel(const std::string& account, const std::vector<Order>& orders) = 0;
};

// The unique part of the name of a file that was made here of another copy, before the server gave it a number in that
// mailbox; and back.
std::string gmailCopyName(std::uint64_t message, std::string_view folder);
std::optional<std::uint64_t> gmailMessageInName(std::string_view name);

}  // namespace qs
