// One connection to an IMAP server (RFC 3501 and what the larger servers add to it): blocking calls, each bounded in
// time by the limits in ImapServer. One thread at a time; cancel() and wake() come from any.
//
//     ImapConnection connection(server);
//     if (auto opened = connection.open(secret); !opened) return failed(opened);
//     auto selected = connection.select(ImapMailboxName::inbox());
//
// To check an account: open() it and close() it.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Imap/ImapError.h"
#include "Imap/ImapServer.h"
#include "Imap/ImapTypes.h"

namespace qs {

class ImapConnection {
public:
    explicit ImapConnection(ImapServer server);
    ~ImapConnection();  // hangs up
    ImapConnection(const ImapConnection&) = delete;
    ImapConnection& operator=(const ImapConnection&) = delete;

    // Connects, turns to TLS as the account asks, proves the server's name, signs in, asks what the server can do.
    // No secret leaves before that proof, nor over an open connection except to this very machine. Once only.
    Result<void> open(const ImapSecret& secret);
    bool isOpen() const;  // false after errors of the first group in ImapFailure
    void close();         // with a farewell, whose answer is waited for briefly

    // Everything that waits ends with Cancelled, now and from now on. Any thread; before open(), too.
    void cancel();
    // Ends the idle() of now, or the next. Any thread.
    void wake();

    // Called within every call below, on its thread, with what the server says unasked. Must not call the connection.
    void setUpdateHandler(std::function<void(const ImapUpdate&)> handler);

    bool has(std::string_view capability) const;  // such as "UIDPLUS", in letters of any case
    std::vector<std::string> capabilities() const;
    // What the server says of itself (RFC 2971), by key in small letters; empty when it does not.
    const std::map<std::string, std::string>& serverIdentity() const;
    const ImapLimits& limits() const;

    // Mailboxes. Names go as the server writes them.
    Result<ImapNamespaces> namespaces();  // the personal one with an empty prefix when the server knows none
    Result<std::vector<ImapMailbox>> list();
    Result<ImapStatus> status(const ImapMailboxName& name);
    Result<void> create(const ImapMailboxName& name);
    Result<void> rename(const ImapMailboxName& from, const ImapMailboxName& to);
    Result<void> remove(const ImapMailboxName& name);
    Result<void> subscribe(const ImapMailboxName& name, bool isSubscribed = true);

    // The mailbox that the calls below are about. When it fails, none is selected.
    Result<ImapSelection> select(const ImapMailboxName& name, const std::optional<ImapKnownState>& known = {});
    Result<ImapSelection> examine(const ImapMailboxName& name, const std::optional<ImapKnownState>& known = {});

    // Hands over each message as soon as it is here; uids that are gone are left out. Marks nothing as read. To stop
    // early, cancel(). Mind that servers answer an open range with the last message even when it begins behind that.
    Result<void> fetch(const ImapUidSet& uids, const ImapFetch& what, const std::function<void(ImapMessage)>& each);
    Result<ImapUidSet> search(const ImapSearch& what);
    // Large sets go in several commands: after a failure a part may be done.
    //
    // Answers the uids that were left alone because their modSeq is above `unchangedSince` (0: whatever it is).
    Result<ImapUidSet> store(const ImapUidSet& uids, ImapChange change, const ImapFlags& flags,
                             std::uint64_t unchangedSince = 0);
    Result<void> storeGmailLabels(const ImapUidSet& uids, ImapChange change,
                                  const std::vector<ImapMailboxName>& labels);
    Result<ImapCopied> copy(const ImapUidSet& uids, const ImapMailboxName& target);
    Result<ImapCopied> move(const ImapUidSet& uids, const ImapMailboxName& target);  // NotOffered without MOVE
    // Removes those of the uids that are marked \Deleted. NotOffered without UIDPLUS: what others have marked would go.
    Result<void> expunge(const ImapUidSet& uids);
    Result<ImapAppended> append(const ImapMailboxName& target, const SizedSource& content, const ImapFlags& flags = {},
                                std::optional<Date> date = {});
    Result<void> noop();

    enum class IdleEnd { Update, Woken };
    // Returns once the server has told of a change (the update handler has heard it), or somebody called wake().
    Result<IdleEnd> idle();

    struct Session;

private:
    const std::unique_ptr<Session> session_;
};

}  // namespace qs
