// The attachments of one compose window, as files in a folder of its own: <data>/Compose/<id>/. They are working
// copies: a draft carries its attachments inside the message. The folder is made when first needed and removed when the
// window closes; what a crash leaves there is swept at the next start.
//
// Main thread, but for the file calls of others who read the files.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Compose/ComposeBackEnd.h"
#include "Foundation/ByteSource.h"
#include "Foundation/Result.h"

namespace qs {

class FileSystem;
class OpenFile;

inline constexpr std::string_view kAttachmentErrorDomain = "Attachments";
inline constexpr std::uint64_t kLargestAttachment = 500'000'000;  // bytes
enum class AttachmentError { TooLarge = 1, TooMany, NoPicture, Unknown };

class AttachmentFolder {
public:
    AttachmentFolder(FileSystem& files, std::filesystem::path folder) : files_(files), folder_(std::move(folder)) {}

    // The name is made safe for showing and saving. Without a type it is found by the name. A picture inside the text
    // must really be one. Nothing is kept after a failure.
    Result<ComposeAttachment> addFrom(std::string_view fileName, const SizedSource& content, std::string mimeType,
                                      bool isInline);
    Result<ComposeAttachment> add(std::string_view fileName, std::string_view content, std::string mimeType,
                                  bool isInline) {
        return addFrom(fileName, content, std::move(mimeType), isInline);
    }
    bool remove(std::string_view identifier);  // false when there is no such attachment
    Result<std::string> content(std::string_view identifier) const;
    Result<std::shared_ptr<const OpenFile>> open(std::string_view identifier) const;
    const ComposeAttachment* find(std::string_view identifier) const;
    const std::vector<ComposeAttachment>& all() const { return attachments_; }

    const std::filesystem::path& path() const { return folder_; }
    Result<void> make();  // for those who keep other files of the window there
    void erase();         // with everything in it

private:
    FileSystem& files_;
    std::filesystem::path folder_;
    std::vector<ComposeAttachment> attachments_;
};

// Removes a folder with its files; folders inside it stay, and with them the folder. Faults are logged.
void eraseFolder(FileSystem& files, const std::filesystem::path& folder);

}  // namespace qs
