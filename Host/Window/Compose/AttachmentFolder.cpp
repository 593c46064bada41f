#include "Compose/AttachmentFolder.h"

#include <algorithm>

#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Mime/FileNames.h"
#include "Mime/MessageWriter.h"
#include "Text/ByteCount.h"
#include "Text/MimeTypes.h"

namespace qs {
namespace {

constexpr std::uint64_t kLargestTogether = 1'000'000'000;  // bytes
constexpr std::size_t kPictureStart = 4096;                // bytes that tell what kind it is
constexpr std::size_t kMostAttachments = 500;

tl::unexpected<Error> attachmentFailure(AttachmentError code, std::string sentence) {
    return failure(std::string(kAttachmentErrorDomain), static_cast<int>(code), std::move(sentence));
}

}  // namespace

Result<void> AttachmentFolder::make() { return files_.makeFolder(folder_); }

Result<ComposeAttachment> AttachmentFolder::addFrom(std::string_view fileName, const SizedSource& content,
                                                    std::string mimeType, bool isInline) {
    ComposeAttachment added;
    added.fileName = safeFileName(fileName);
    if (added.fileName.empty()) added.fileName = "Attachment";
    std::uint64_t together = content.size;
    for (const ComposeAttachment& other : attachments_)
        together += other.size;
    if (content.size > kLargestAttachment || together > kLargestTogether)
        return attachmentFailure(
            AttachmentError::TooLarge,
            stringWithFormat("“%@” is too large to be attached: one file may have %@, all of a message %@.",
                             {added.fileName, megabytesText(kLargestAttachment), megabytesText(kLargestTogether)}));
    if (attachments_.size() >= kMostAttachments)
        return attachmentFailure(AttachmentError::TooMany, "The message has too many attachments.");

    const auto start = startOf(content.read, kPictureStart);
    if (!start) return failed(start);
    added.mimeType = mimeType.empty() ? mimeTypeForFileName(added.fileName) : std::move(mimeType);
    if (isInline) {
        added.mimeType = pictureTypeOf(*start);
        if (added.mimeType.empty())
            return attachmentFailure(
                AttachmentError::NoPicture,
                stringWithFormat("“%@” is not a picture that can stand in the text.", {added.fileName}));
    }
    added.identifier = newUniqueIdentifier();
    added.size = content.size;
    added.isInline = isInline;
    added.file = folder_ / added.identifier;
    if (const auto made = make(); !made) return failed(made);
    if (const auto written = files_.writeNewFrom(added.file, sourceOf(*start, content.read)); !written)
        return failed(written);
    attachments_.push_back(added);
    return added;
}

bool AttachmentFolder::remove(std::string_view identifier) {
    const auto found = std::ranges::find(attachments_, identifier, &ComposeAttachment::identifier);
    if (found == attachments_.end()) return false;
    if (const auto removed = files_.remove(found->file); !removed)
        logWarning("An attachment's file stays until the window closes: " + removed.error().description);
    attachments_.erase(found);
    return true;
}

const ComposeAttachment* AttachmentFolder::find(std::string_view identifier) const {
    const auto found = std::ranges::find(attachments_, identifier, &ComposeAttachment::identifier);
    return found == attachments_.end() ? nullptr : &*found;
}

Result<std::shared_ptr<const OpenFile>> AttachmentFolder::open(std::string_view identifier) const {
    const ComposeAttachment* found = find(identifier);
    if (!found) return attachmentFailure(AttachmentError::Unknown, "The message has no such attachment.");
    return files_.open(found->file);
}

Result<std::string> AttachmentFolder::content(std::string_view identifier) const {
    const auto file = open(identifier);
    if (!file) return failed(file);
    return startOf(sourceOf(*file), kLargestAttachment);
}

void AttachmentFolder::erase() {
    attachments_.clear();
    eraseFolder(files_, folder_);
}

void eraseFolder(FileSystem& files, const std::filesystem::path& folder) {
    const auto found = files.list(folder);
    if (!found) return;  // never made
    for (const FileInfo& file : *found)
        if (!file.isFolder) (void)files.remove(file.path);
    if (const auto removed = files.remove(folder); !removed)
        logWarning("A folder of a closed message stays until the next start: " + removed.error().description);
}

}  // namespace qs
