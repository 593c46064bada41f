// The saved versions of one window's message: a new version is added to Drafts first, then the former one is erased, so
// that at every moment at least one whole version stands on the disk.
//
// Safe from every thread; saving blocks on the disk.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/ByteSource.h"
#include "Foundation/Date.h"
#include "Foundation/Result.h"

namespace qs {

class MailLibrary;
class OpenFile;

// The draft that a window was opened from.
struct OpenedDraft {
    std::int64_t id = 0;
    std::string account;
    // Kept open, as the first new version replaces it and the person may want it back.
    std::shared_ptr<const OpenFile> content;
};

class DraftKeeper {
public:
    DraftKeeper(MailLibrary& library, std::optional<OpenedDraft> opened);

    // Saves a version in the account's Drafts. One that is older than the last saved, or comes after an end, is passed
    // over: background saving may be late. After a failure the former version stands.
    Result<void> save(const std::string& account, int version, const ByteSource& content, Date now);
    bool hasSaved() const;  // at least one version, since the window was opened

    // The window was given up: what was saved since it was opened goes, and a draft that it was opened from comes back.
    // After a failure all is as it was.
    Result<void> revert(Date now);
    void end();  // nothing is saved any more

private:
    Result<std::int64_t> add(const std::string& account, const ByteSource& content, Date now);
    void eraseFormer(std::int64_t id);

    MailLibrary& library_;
    mutable std::mutex lock_;
    const std::optional<OpenedDraft> opened_;
    std::int64_t current_ = 0;  // 0: none
    int savedVersion_ = 0;
    bool ended_ = false;
    std::vector<std::int64_t> notErased_;
};

}  // namespace qs
