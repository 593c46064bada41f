// Puts one finished message into the outbox, on a global queue, so that whatever is cut off leaves the message in
// exactly one place from which it can leave:
//
//   1. <window folder>/sending.plist names the message (its Message-Id and unique id) before anything changes.
//   2. Held versions of it in the outbox, which the window was opened from, move to Drafts. A version that a delivery
//      has taken meanwhile can't be moved, and the job ends: the person decides whether the changed message leaves too.
//   3. The message is appended to the outbox. When that fails, the held versions move back.
//
// The drafts go afterwards, when the window has told the plug-ins. After a crash settleSends() does it: a message that
// reached the outbox loses its drafts, one that did not stays a draft and the person is told.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Compose/ComposeBackEnd.h"
#include "Foundation/Result.h"

namespace qs {

class AccountBook;
class DeliveryService;
class FileSystem;
class MailEngine;
class MailLibrary;
struct MessageSummary;

struct SendJob {
    MailEngine* engine = nullptr;
    std::filesystem::path folder;  // of the window; exists
    std::string account, uniqueID, messageID, subject;
    std::shared_ptr<OutgoingMessage> message;
    std::vector<MessageSummary> held;  // in an outbox, with this unique id

    struct Outcome {
        enum class Kind { Queued, HeldIsGone, Failed };
        Kind kind = Kind::Failed;
        MessageRef message;  // in the outbox
        Error error;         // why it failed
    };
    Outcome run() const;

private:
    Result<void> writeIntent() const;
    void dropIntent() const;
    Result<bool> takeHeldOut() const;  // false when one is gone
    bool isAmongDrafts(const MessageSummary& one) const;
    void putHeldBack() const;
};

// For the start, after the deliveries have settled theirs: settles the jobs that folders of former windows tell of, and
// removes the folders. `tell` gets sentences for the person.
void settleSends(MailEngine& engine, const std::vector<std::filesystem::path>& folders,
                 const std::function<void(std::string)>& tell);

}  // namespace qs
