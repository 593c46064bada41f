// The name of a mailbox at a server: as the server writes it (modified UTF-7, RFC 3501 section 5.1.3), and as people
// read it. Kept as the server wrote it, since not every server writes what it should and the name must still be found.
#pragma once

#include <string>
#include <string_view>

namespace qs {

class ImapMailboxName {
public:
    ImapMailboxName() = default;
    static ImapMailboxName fromWire(std::string wire) { return ImapMailboxName(std::move(wire)); }
    static ImapMailboxName fromText(std::string_view utf8);
    static ImapMailboxName inbox() { return ImapMailboxName("INBOX"); }

    const std::string& wire() const { return wire_; }
    // UTF-8. What is no modified UTF-7 is shown as it stands, with U+FFFD for bytes that are no UTF-8 either.
    std::string text() const;
    bool isInbox() const;  // in letters of any case

    friend bool operator==(const ImapMailboxName&, const ImapMailboxName&) = default;
    friend auto operator<=>(const ImapMailboxName&, const ImapMailboxName&) = default;

private:
    explicit ImapMailboxName(std::string wire) : wire_(std::move(wire)) {}
    std::string wire_;
};

}  // namespace qs
