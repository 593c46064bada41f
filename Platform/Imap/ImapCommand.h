// One command on its way to a server, as lines and literals (RFC 3501, section 4.3). Private to this folder.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Imap/ImapTypes.h"

namespace qs {

class ImapCommand {
public:
    // What stands between two waits for the server: `text`, and then, when there is one, a literal.
    struct Part {
        std::string text;
        std::string literal;                   // in memory,
        const SizedSource* content = nullptr;  // or from elsewhere
        bool hasLiteral() const { return content || !literal.empty(); }
    };

    explicit ImapCommand(std::string_view words) { raw(words); }
    // As it stands, after a blank; `words` must be ours.
    ImapCommand& raw(std::string_view words);
    ImapCommand& string(std::string_view text);  // quoted, or a literal where it must be
    ImapCommand& mailbox(const ImapMailboxName& name) { return string(name.wire()); }
    ImapCommand& content(const SizedSource& content);
    // Flags in brackets. False, and nothing is added, when one of them is none.
    bool flags(const ImapFlags& flags);
    // Gmail's own labels begin with a backslash and go as they are.
    ImapCommand& labels(const std::vector<ImapMailboxName>& labels);

    const std::vector<Part>& parts() const { return parts_; }
    // Somebody's words would break the line, as a name with a null byte would.
    bool isSendable() const { return isSendable_; }

private:
    std::string& text();
    std::vector<Part> parts_{1};
    bool isSendable_ = true;
};

}  // namespace qs
