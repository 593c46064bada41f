// When folders are read, and in which order: on a thread of its own, while everything goes on with what the index
// knows.
#include <algorithm>

#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Library/LibraryCore.h"

namespace qs {

void LibraryCore::addJob(std::function<void()> job) {
    if (reading_->isStopped()) return;
    reading_->jobAdded();
    reader_.add([this, job = std::move(job)] {
        try {
            job();
        } catch (const DatabaseFailure& failure) {
            indexFailed(failure);
        } catch (const std::exception& exception) {
            logError("reading the mail folders: " + std::string(exception.what()));
        }
        for (const std::string& account : reading_->jobEnded())
            announcer_->mailboxChanged(mailboxIdentifier(account, ""));
    });
}

void LibraryCore::readIn() {
    std::vector<LibraryMailboxRef> changed;
    for (const LibraryMailboxRef& mailbox : allMailboxes())
        if (isUnchanged(*mailbox))
            reading_->noteRead(mailbox->indexed().number);
        else
            changed.push_back(mailbox);
    addJob([this, changed] { readAll(changed); });
    addJob([this] {
        const RunLoop* const loop = RunLoop::mainIfInstalled();
        for (const auto& account : mailAccounts())
            sweepRemovedFolders(folderOfAccount(account->identifier()));
        for (const LibraryMailboxRef& mailbox : allMailboxes())
            if (loop && !mailbox->isOthers() && !reading_->isStopped()) mailbox->maildir().sweepTmp(loop->now());
        readTextsSoon();  // of an earlier run
    });
}

void LibraryCore::readSoon(const std::vector<LibraryMailboxRef>& mailboxes) {
    if (mailboxes.empty()) return;
    for (const LibraryMailboxRef& mailbox : mailboxes)
        reading_->await(mailbox->indexed().number);
    addJob([this, mailboxes] { readAll(mailboxes); });
}

// All folders are looked at before the older messages of any of them are read, so that it is known how many these are.
void LibraryCore::readAll(std::vector<LibraryMailboxRef> mailboxes) {
    const auto isInbox = [](const LibraryMailboxRef& each) { return each->kind() == MailboxKind::Inbox; };
    std::stable_partition(mailboxes.begin(), mailboxes.end(), isInbox);
    std::vector<Compared> all;
    const auto withIndex = [this](const std::function<void()>& work) {
        try {
            if (mayReadOn()) work();
        } catch (const DatabaseFailure& failure) {
            indexFailed(failure);
        }
    };
    for (const LibraryMailboxRef& mailbox : mailboxes)
        withIndex([&] {
            // Somebody may have needed it at once.
            if (reading_->isRead(mailbox->indexed().number)) return;
            if (auto compared = look(mailbox)) all.push_back(std::move(*compared));
            if (isInbox(mailbox)) takeNewest(mailbox);
        });
    std::shared_ptr<Index::Gathering> gathering;
    withIndex([&] {
        if (fresh::count(*index_->write()) >= kVeryManyMessages)
            gathering = std::make_shared<Index::Gathering>(*index_);
    });
    for (const Compared& each : all)
        withIndex([&] {
            if (takeFresh(each.mailbox)) finish(each);
        });
    // Its end waits for the disk; nobody who waits for the messages does.
    if (gathering) textReader_.add([ended = std::move(gathering)]() mutable { ended.reset(); });
}

void LibraryCore::stopReading() {
    reading_->stop();
    const Lull::Hurry hurry(arrivals_);
    for (OperationQueue* const queue : {&textReader_, &reader_}) {
        queue->cancelWaiting();
        queue->waitUntilFinished();
    }
}

void LibraryCore::rebuild() {
    logWarning("making the library's index anew");
    try {
        for (const LibraryMailboxRef& mailbox : allMailboxes())
            reading_->await(mailbox->indexed().number);
        std::vector<std::string> notices;
        index_->beginAnew(notices);
        for (std::string& notice : notices)
            addNotice(std::move(notice));
        const auto mailboxes = allMailboxes();
        putMailboxes(mailboxes);
        readSoon(mailboxes);
    } catch (const DatabaseFailure& failure) {
        logError("cannot make the library's index anew: " + std::string(failure.what()));
    }
    isRebuilding_ = false;
}

}  // namespace qs
