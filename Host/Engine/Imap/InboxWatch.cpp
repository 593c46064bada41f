#include "Imap/InboxWatch.h"

#include "Foundation/Log.h"
#include "Imap/ImapConnection.h"

namespace qs {

InboxWatch::InboxWatch(const ImapServer& server, SecretSource secret, std::function<void()> changed)
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

Result<void> InboxWatch::watch(const SecretSource& secret, const std::function<void()>& changed) {
    const auto text = secret(nullptr);
    if (!text) return failed(text);
    if (auto opened = line_->open(*text); !opened) {
        // For the next watch.
        if (imapFailure(opened.error()) == ImapFailure::SignInRefused) (void)secret(&*text);
        return opened;
    }
    if (const auto looked = line_->examine(ImapMailboxName::inbox()); !looked) return failed(looked);
    changed();  // what happened between the last look at it and now
    for (;;) {
        const auto end = line_->idle();
        if (!end) return failed(end);
        if (*end == ImapConnection::IdleEnd::Update) changed();
    }
}

}  // namespace qs
