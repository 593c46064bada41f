#include "Imap/LocalTree.h"

#include <cerrno>

#include "Foundation/FileSystem.h"
#include "Maildir/Maildir.h"
#include "Maildir/MaildirFlags.h"
#include "Text/Digests.h"

namespace qs {

std::filesystem::path LocalTree::pathOf(const std::string& folder) const {
    return folder.empty() ? account_ : account_ / ("." + folder);
}

const std::vector<std::string>& LocalTree::folders() {
    if (!folders_.empty()) return folders_;
    folders_.emplace_back();
    (void)files_.forEachName(account_, [&](const std::string& name, bool isFolder) {
        if (isFolder && name.size() > 1 && name.front() == '.' && Maildir(account_ / name, files_).exists())
            folders_.push_back(name.substr(1));
    });
    return folders_;
}

bool LocalTree::exists(const std::string& folder) const { return Maildir(pathOf(folder), files_).exists(); }

void LocalTree::forget(const std::string& folder) {
    looked_.erase(folder);
    folders_.clear();
}

void LocalTree::forgetOthersThan(const std::string& folder) {
    std::erase_if(looked_, [&](const auto& entry) { return entry.first != folder; });
    folders_.clear();
}

Result<void> LocalTree::look(const std::string& folder) {
    Looked& looked = looked_[folder];
    const Maildir maildir(pathOf(folder), files_);
    if (!maildir.exists()) return {};
    const auto keywords = MaildirKeywords::load(maildir.root(), files_);
    return maildir.forEachFile([&](const std::string& file) {
        const MaildirName name = Maildir::nameOf(file);
        looked.messages[name.unique()] = packedFlags(flagsFromLetters(name.letters(), keywords));
        looked.files[name.unique()] = file;
    });
}

Result<const MessagesHere*> LocalTree::messagesIn(const std::string& folder) {
    if (!looked_.contains(folder)) return lookAgain(folder);
    return &looked_[folder].messages;
}

Result<const MessagesHere*> LocalTree::lookAgain(const std::string& folder) {
    if (auto looked = look(folder); !looked) {
        looked_.erase(folder);
        return failed(looked);
    }
    return &looked_[folder].messages;
}

Result<void> LocalTree::lookAgainAtAll() {
    folders_.clear();
    for (const std::string& folder : folders())
        if (const auto looked = lookAgain(folder); !looked) return failed(looked);
    return {};
}

Result<std::vector<std::string>> LocalTree::foldersWith(const std::string& name) {
    std::vector<std::string> found;
    for (const std::string& folder : folders()) {
        const auto messages = messagesIn(folder);
        if (!messages) return failed(messages);
        if ((*messages)->contains(name)) found.push_back(folder);
    }
    return found;
}

Result<LocalTree::File> LocalTree::open(const std::string& folder, const std::string& name) {
    const auto messages = messagesIn(folder);
    if (!messages) return failed(messages);
    const Maildir maildir(pathOf(folder), files_);
    const auto file = looked_[folder].files.find(name);
    auto path = maildir.pathOf(file == looked_[folder].files.end() ? "cur/" + name : file->second);
    auto content = files_.open(path);
    if (!content && content.error().code == ENOENT) {
        const auto renamed = maildir.find(name);
        if (!renamed) return failed(content);
        path = maildir.pathOf(*renamed);
        content = files_.open(path);
    }
    if (!content) return failed(content);
    const auto info = files_.info(path);
    return File{std::move(*content), info ? info->modified : Date{}};
}

ByteSource withNetworkLineEnds(ByteSource content) {
    return changed(std::move(content), [last = '\0'](std::string_view piece, std::string& out) mutable {
        for (const char c : piece) {
            if (c == '\n' && last != '\r') out += '\r';
            out += c;
            last = c;
        }
    });
}

Result<std::string> headerOf(const ByteSource& content) {
    std::string header, piece(kPieceBytes, '\0');
    for (std::size_t line = 0;;) {
        for (std::size_t end; (end = header.find('\n', line)) != std::string::npos; line = end + 1)
            if (end == line || (end == line + 1 && header[line] == '\r')) return header.substr(0, line);
        const auto length = content(piece.data(), piece.size());
        if (!length) return failed(length);
        if (*length == 0) return header;
        header.append(piece, 0, *length);
    }
}

std::string headerDigest(std::string_view content) {
    // Line ends, and blank lines at the end, are told differently by different servers.
    std::string header;
    while (!content.empty()) {
        const std::size_t end = content.find('\n');
        std::string_view line = content.substr(0, end);
        content.remove_prefix(end == std::string_view::npos ? content.size() : end + 1);
        if (line.ends_with('\r')) line.remove_suffix(1);
        if (line.empty()) break;
        header.append(line).append("\n");
    }
    return SHA256HexDigest(header);
}

}  // namespace qs
