#include "Imap/SyncPass.h"

#include <algorithm>

#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Imap/ImapError.h"
#include "Imap/MailKeeper.h"
#include "Imap/MailboxNames.h"
#include "Imap/MirroredName.h"
#include "Library/LibraryObjects.h"
#include "MailLibrary.h"

namespace qs {

namespace {

// So many of the inbox's newest come before anything else is looked at.
constexpr std::size_t kFirstMessages = 50;
constexpr int kMostBusy = 3;
// Connections that break over a mailbox, and steps that then do without it: a pass looks once, and changes in two.
constexpr int kMostCuts = 4, kLeftOut = 3;

}  // namespace

void SyncScope::add(const SyncScope& other) {
    here.insert(other.here.begin(), other.here.end());
    there.insert(other.there.begin(), other.there.end());
    everything = everything || other.everything;
    mailboxes = mailboxes || other.mailboxes;
    asked = asked || other.asked;
}

Result<void> SyncPass::pullAll(const SyncScope& scope) {
    const std::set<std::string> labelled = labelledFolders();
    const bool isNewFolder = std::any_of(scope.here.begin(), scope.here.end(), [&](const std::string& folder) {
        return !staysHere(folder) && !parts_.state.mailboxOfFolder(folder);
    });
    if (scope.everything || scope.mailboxes || isNewFolder)
        if (auto taken = takeMailboxes(); !taken) return taken;
    for (MirroredMailbox& mailbox : parts_.state.mailboxes()) {
        // Most of what changes here, the server has told us.
        const bool isAsked = scope.everything || scope.there.contains(mailbox.folder) ||
                             labelled.contains(mailbox.folder) || mailbox.order == MirroredMailbox::Order::Remove ||
                             (scope.here.contains(mailbox.folder) && hasSomethingToPush(mailbox));
        if (isAsked) works_[mailbox.folder].mailbox = std::move(mailbox);
    }
    // The inbox comes first, as its folder is "".
    for (auto& [folder, work] : works_) {
        const bool isLikelyChanged = !scope.everything || scope.there.contains(folder) || labelled.contains(folder);
        auto done = unlessItCuts(folder, "look", [&, &each = work] { return pull(each, isLikelyChanged); });
        if (done) done = list(work);
        if (done && folder.empty()) done = fetch(work, kFirstMessages);
        if (done)
            busyInARow_ = 0;
        else if (auto still = goOnAfter(done.error(), folder); !still)
            return still;
        progress_.total += work.arrived.size();
    }
    return {};
}

Result<void> SyncPass::fetchAll() {
    // Nobody waits for what is large elsewhere.
    for (const bool areLarge : {false, true})
        for (const bool isLast : {false, true})
            for (auto& [folder, work] : works_) {
                // At Gmail, what others have is copied from there.
                if (isLast != (work.mailbox.use == MirroredMailbox::Use::AllMail)) continue;
                if (auto done = areLarge ? fetchLarge(work) : fetch(work, work.arrived.size()); !done)
                    if (auto still = goOnAfter(done.error(), folder); !still) return still;
            }
    return {};
}

Result<void> SyncPass::run(const SyncScope& asked) {
    SyncScope scope = asked;
    // Of a mailbox that is still selected from the pass before, servers otherwise tell how it was then.
    if (auto told = parts_.line.noop(); !told) return told;
    const bool wasGmail = isGmail();
    parts_.state.setGmail(parts_.line.has("X-GM-EXT-1"));
    // A change there mostly shows in other mailboxes as well.
    if (wasGmail != isGmail() || (isGmail() && !scope.there.empty())) scope.everything = true;
    if (auto pulled = pullAll(scope); !pulled) return pulled;
    // A server that takes nothing for now may give out all the same.
    auto pushed = pushAll();
    if (!pushed && !(isForNow(pushed.error()) && parts_.line.isOpen())) return pushed;
    if (auto pulled = pullOnceMore(); !pulled) return pulled;
    if (auto done = fetchAll(); !done) return done;
    if (!pushed) return pushed;
    if (auto done = removeAllThere(); !done) return done;
    forgetSettledRemovals();
    parts_.keeper.forgetBegun();  // nobody waits for the rest of these
    if (isGmail() && scope.everything) parts_.state.forgetGoneGmail();
    return {};
}

Result<void> SyncPass::pushAll() {
    isPushing_ = true;
    auto done = pushLabels();
    for (const auto step : {&SyncPass::push, &SyncPass::upload})
        for (auto& [folder, work] : works_)
            if (done)
                if (done = unlessItCuts(folder, "change", [&, &each = work] { return (this->*step)(each); }); !done)
                    done = goOnAfter(done.error(), folder);
    isPushing_ = false;
    busyInARow_ = 0;
    return done;
}

Result<void> SyncPass::pullOnceMore() {
    for (const std::string& folder : pullAgain_) {
        Work& work = works_[folder];
        if (const auto mailbox = parts_.state.mailboxOfFolder(folder)) work.mailbox = *mailbox;
        tree_.forget(folder);
        if (auto done = pull(work, true); !done)
            if (auto still = goOnAfter(done.error(), folder); !still) return still;
    }
    return {};
}

bool SyncPass::isForNow(const Error& error) {
    return error.domain == kImapErrorDomain && imapFailure(error) == ImapFailure::Temporary;
}

Result<void> SyncPass::goOnAfter(const Error& error, const std::string& what) {
    // Of what was to be put there, these concern that alone.
    const auto code = imapResponseCode(error);
    const bool isOfOne = isPushing_ && (code == "LIMIT" || code == "INUSE" || code == "SERVERBUG");
    const bool isBusy = isForNow(error) && !isOfOne && ++busyInARow_ >= kMostBusy;
    const bool isAnswer = error.domain == kImapErrorDomain && parts_.line.isOpen() && !isBusy;
    // Renamed or removed here since the pass began; the next one takes that up.
    const bool isElsewhere = error.domain == kMailLibraryErrorDomain && error.code == kMailLibraryNotFound;
    if (!isAnswer && !isElsewhere) return failure(error);
    logWarning("the mailbox “" + what + "” of " + parts_.account + ": " + error.description);
    selected_.clear();
    return {};
}

bool SyncPass::isCutOver(const std::string& name, const Error& error, int most) {
    if (parts_.line.isOpen() || error.domain != kImapErrorDomain) return false;
    const ImapFailure failure = imapFailure(error);
    if (failure != ImapFailure::HungUp && failure != ImapFailure::TimedOut && failure != ImapFailure::Malformed)
        return false;
    return ++parts_.troubles.cut[name] >= most;
}

Result<void> SyncPass::unlessItCuts(const std::string& folder, const char* what,
                                    const std::function<Result<void>()>& act) {
    const std::string key = std::string(what) + "/" + folder;
    auto& cut = parts_.troubles.cut;
    if (const auto found = cut.find(key); found != cut.end() && found->second >= kMostCuts) {
        if (found->second++ < kMostCuts + kLeftOut) return {};
        found->second = kMostCuts - 1;
    }
    auto done = act();
    if (done || parts_.line.isOpen())
        cut.erase(key);
    else if (isCutOver(key, done.error(), kMostCuts) && !folder.starts_with('/'))  // as one does that was removed here
        tellOnce(key, "“" + shownPath(folder) +
                          "” can't be brought into step with the server, which breaks the connection over it. The "
                          "other mailboxes go on, and it is tried again. " +
                          done.error().description);
    return done;
}

void SyncPass::tellOnce(const std::string& what, const std::string& sentence) {
    if (parts_.troubles.told.insert(what).second) parts_.tellPerson(sentence);
}

Result<void> SyncPass::selected(const MirroredMailbox& mailbox) {
    if (selected_ == mailbox.serverName) return {};
    selected_.clear();
    const auto selection = parts_.line.select(ImapMailboxName::fromWire(mailbox.serverName));
    if (!selection) return failed(selection);
    if (selection->uidValidity != mailbox.uidValidity)
        return failure(std::string(kImapErrorDomain), static_cast<int>(ImapFailure::Refused),
                       "The mailbox has changed as a whole.");  // the next pass takes that up
    selected_ = mailbox.serverName;
    return {};
}

Result<void> SyncPass::isStill(const MirroredMailbox& mailbox) {
    const auto now = parts_.state.mailboxNumbered(mailbox.number);
    if (now && now->folder == mailbox.folder) return {};
    return failure(std::string(kMailLibraryErrorDomain), kMailLibraryNotFound, "It has just been renamed or removed.");
}

std::shared_ptr<Mailbox> SyncPass::boxOf(const std::string& folder) {
    return parts_.library.mailboxWithIdentifier(mailboxIdentifier(parts_.account, folder));
}

// An order stands as long as the server may still have the message.
void SyncPass::forgetSettledRemovals() {
    std::set<std::string> uploading;
    const auto mailboxes = parts_.state.mailboxes();
    const auto isAllHere = [this](const std::string& folder) {
        const auto work = works_.find(folder);
        return work != works_.end() && work->second.isPulled && work->second.arrived.empty() &&
               work->second.left.empty();
    };
    for (const MirroredMailbox& mailbox : mailboxes)
        for (const Upload& upload : parts_.state.uploads(mailbox.folder))
            uploading.insert(upload.name);
    std::vector<std::string> settled;
    for (const MirrorState::Removal& removal : parts_.state.removals()) {
        // What is about to be fetched there may be it; and one that was only listed may have been moved there.
        const bool isAwaited = !isAllHere(removal.folder) ||
                               std::any_of(mailboxes.begin(), mailboxes.end(), [&](const MirroredMailbox& mailbox) {
                                   return uidInName(mailbox, removal.name) && !isAllHere(mailbox.folder);
                               });
        if (!isAwaited && !uploading.contains(removal.name) && parts_.state.mailboxesWith(removal.name).empty())
            settled.push_back(removal.name);
    }
    parts_.state.forgetRemovals(settled);
}

}  // namespace qs
