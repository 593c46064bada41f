// The outline of mailboxes. All are listed, but an outbox only while there is a reason to look at it. Main thread.
#pragma once

#include "Mail/Mailbox.h"
#include "MailApplication.h"
#include "Viewer/MailboxesOutline.h"

namespace qs {

class MailEngine;

class MailboxesOutlineObject : public MailboxesOutlineViewStateStorage {
public:
    static void defineClass();
    explicit MailboxesOutlineObject(MailEngine& engine);

    void setShouldShowOutbox(bool flag);
    bool lists(const Mailbox& mailbox, const Mailbox* viewed) const;
    // What a row shows and takes, as the classes of the outline answer.
    MailboxRow rowOf(Mailbox& mailbox) const;
    bool takesDrops(Mailbox& mailbox) const;
    // Something came into an outbox or left one: the wish to see them ends when nothing waits any more.
    void waitingDidChange();

private:
    bool isWaitedIn(const Mailbox& outbox) const;

    MailEngine& engine_;
    const std::shared_ptr<MailboxesOutlineViewController> controller_;
    const std::shared_ptr<MailboxOutlineItemController> itemController_;
    bool shouldShowOutbox_ = false;
};

}  // namespace qs
