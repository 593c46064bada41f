// One Maildir folder: messages as files, flags in the file's name (format: https://cr.yp.to/proto/maildir.html).
//
// Other programs work in the same folder, so a listing is a snapshot and a path may be stale a moment later: keep the
// unique part of a name, never the path. Every call blocks. Safe from every thread; two calls about one message at the
// same time end as if one came after the other, the later one perhaps with NotFound.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/ByteSource.h"
#include "Foundation/Date.h"
#include "Foundation/Result.h"
#include "Maildir/MaildirName.h"

namespace qs {

class FileSystem;

class Maildir {
public:
    Maildir(std::filesystem::path root, FileSystem& files) : root_(std::move(root)), files_(&files) {}

    const std::filesystem::path& root() const { return root_; }
    // Makes cur/, new/ and tmp/ as far as they are missing, in a subfolder of Maildir++ also the mark that it is one.
    Result<void> create(bool isSubfolder) const;
    bool exists() const;

    // Files are named relative to the root: "new/17.M5P2Q1R7.box" or "cur/17.M5P2Q1R7.box:2,S".

    // Written, synced and visible when this returns its file: in new/, or in cur/ if there are letters. Cut off
    // earlier, it leaves the whole message or a piece in tmp/, which sweepTmp() removes after 36 hours; never a piece
    // in new/ or cur/. A failure leaves nothing. The file's date becomes `received`, for other programs.
    Result<std::string> deliver(std::string_view content, std::string_view unique, std::string_view letters,
                                Date received) const;
    // The same of any size, from its source.
    Result<std::string> deliverFrom(const ByteSource& content, std::string_view unique, std::string_view letters,
                                    Date received) const;
    // A new name for a file that somebody writes there himself, to deliver it later; swept like any other.
    std::filesystem::path newTemporary(Date now) const;
    // As deliver() for each, with one sync of the disk for all of them. Answers their files, in order; an empty one for
    // a message whose name was taken. After a failure some of the messages may be there, whole.
    struct Delivery {
        std::string_view content;
        std::string unique, letters;
        Date received;
        std::filesystem::path temporary = {};  // instead of the content: its file in tmp/, synced
    };
    Result<std::vector<std::string>> deliverAll(const std::vector<Delivery>& messages) const;
    // Gives the file these letters and moves it to cur/. Not yet synced: a power cut may leave the old name. The same
    // letters again succeed without a rename.
    Result<std::string> setLetters(const std::string& file, std::string_view letters) const;
    // Where a message lies now, when its file is no longer where it was: other programs rename files to set flags.
    // Walks both folders.
    std::optional<std::string> find(std::string_view unique) const;
    // Messages alone: no folders, no names with "." in front. In any order; a file that another program renames
    // meanwhile may be missed or come twice.
    Result<void> forEachFile(const std::function<void(const std::string& file)>& visit) const;
    // Syncs the folder that the file is in.
    Result<void> syncFolderOf(std::string_view file) const;
    // Removes what interrupted deliveries left more than 36 hours before `now`.
    void sweepTmp(Date now) const;

    std::filesystem::path pathOf(std::string_view file) const { return root_ / file; }
    static MaildirName nameOf(std::string_view file) { return MaildirName(file.substr(file.find('/') + 1)); }

private:
    Result<std::string> moveIn(const std::filesystem::path& temporary, std::string_view unique,
                               std::string_view letters, Date received) const;

    std::filesystem::path root_;
    FileSystem* files_;
};

}  // namespace qs
