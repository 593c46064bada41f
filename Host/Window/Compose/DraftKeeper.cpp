#include "Compose/DraftKeeper.h"

#include <utility>

#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "MailLibrary.h"

namespace qs {

DraftKeeper::DraftKeeper(MailLibrary& library, std::optional<OpenedDraft> opened)
    : library_(library), opened_(std::move(opened)), current_(opened_ ? opened_->id : 0) {}

Result<std::int64_t> DraftKeeper::add(const std::string& account, const ByteSource& content, Date now) {
    const auto drafts = library_.mailbox(account, MailboxKind::Drafts, true);
    if (!drafts) return failure("Mail", 1, "There is no mailbox for drafts.");
    const auto added = library_.addFrom(*drafts, content, {.seen = true, .draft = true}, now);
    if (!added) return failed(added);
    return (*added)->libraryID();
}

void DraftKeeper::eraseFormer(std::int64_t id) {
    notErased_.push_back(id);
    std::erase_if(notErased_, [&](std::int64_t former) {
        // The person may have deleted or moved it.
        if (!library_.messageWithID(former)) return true;
        const auto erased = library_.erase({former});
        if (!erased) logWarning("A former version of a draft stays for now: " + erased.error().description);
        return erased.has_value();
    });
}

Result<void> DraftKeeper::save(const std::string& account, int version, const ByteSource& content, Date now) {
    const std::lock_guard hold(lock_);
    if (ended_ || version <= savedVersion_) return {};
    const auto added = add(account, content, now);
    if (!added) return failed(added);
    savedVersion_ = version;
    if (const std::int64_t former = std::exchange(current_, *added); former != 0) eraseFormer(former);
    return {};
}

bool DraftKeeper::hasSaved() const {
    const std::lock_guard hold(lock_);
    return savedVersion_ > 0;
}

Result<void> DraftKeeper::revert(Date now) {
    const std::lock_guard hold(lock_);
    if (!ended_ && savedVersion_ > 0) {
        if (opened_) {
            if (const auto added = add(opened_->account, sourceOf(opened_->content), now); !added) return failed(added);
        }
        eraseFormer(std::exchange(current_, 0));
    }
    ended_ = true;
    return {};
}

void DraftKeeper::end() {
    const std::lock_guard hold(lock_);
    ended_ = true;
}

}  // namespace qs
