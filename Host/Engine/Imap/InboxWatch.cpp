#include "Imap/InboxWatch.h"

#include "Foundation/Log.h"
#include "Imap/ImapConnection.h"

namespace qs {

InboxWatch::InboxWatch(const ImapServer& server, std::function<Result<ImapSecret>()> secret,
                       std::function<void()> changed)
    : line_(std::make_unique<ImapConnection>(server)),
      thread_([this, secret = std::move(secret), changed = std::move(changed)] {
          const auto ended = watch(secret, changed);
          isAlive_ = false;
          if (!ended && imapFailure(ended.error()) != ImapFailure::Cancelled)
              logInfo("no longer waiting for news of an inbox: " + ended.error().description);
      }) {}

InboxWatch::~InboxWatch() {
    line_->cancel();
    thread_.join();
}

Result<void> InboxWatch::watch(const std::function<Result<ImapSecret>()>& secret,
                               const std::function<void()>& changed) {
    const auto text = secret();
    if (!text) return failed(text);
    if (auto opened = line_->open(*text); !opened) return opened;
    if (const auto looked = line_->examine(ImapMailboxName::inbox()); !looked) return failed(looked);
    changed();  // what happened between the last look at it and now
    for (;;) {
        const auto end = line_->idle();
        if (!end) return failed(end);
        if (*end == ImapConnection::IdleEnd::Update) changed();
    }
}

}  // namespace qs
