#include "Imap/MailboxNames.h"

#include <algorithm>
#include <array>
#include <optional>
#include <set>

#include "Maildir/FolderName.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

constexpr std::string_view kOutbox = "Outbox";

struct Special {
    std::string_view folder;
    ImapUse use;
    std::array<std::string_view, 4> names;  // in small letters; for servers that tell no use
};
constexpr std::array<Special, 5> kSpecial{
    {{"Drafts", ImapUse::Drafts, {"drafts", "draft", "", ""}},
     {"Sent", ImapUse::Sent, {"sent", "sent messages", "sent items", "sent mail"}},
     {"Archive", ImapUse::Archive, {"archive", "archives", "", ""}},
     {"Junk", ImapUse::Junk, {"junk", "spam", "junk e-mail", "junk email"}},
     {"Trash", ImapUse::Trash, {"trash", "deleted messages", "deleted items", "bin"}}}};

std::string pathOf(const ImapMailbox& mailbox, const std::string& prefix) {
    return pathOnServer(mailbox.name.wire(), prefix, mailbox.delimiter);
}

std::string ordinaryFolder(const ImapMailbox& mailbox, const std::string& prefix, const std::set<std::string>& taken) {
    const auto folder = folderNameFromPath(pathOf(mailbox, prefix));
    const std::string wanted = folder.value_or("Mailbox");
    std::string name = wanted;
    for (int i = 2; taken.contains(name) || staysHere(name) || name.empty(); ++i)
        name = wanted + " " + std::to_string(i);
    return name;
}

}  // namespace

std::string pathOnServer(const std::string& serverName, const std::string& prefix, char delimiter) {
    std::string wire = serverName;
    if (!prefix.empty() && wire.size() > prefix.size() && wire.starts_with(prefix)) wire.erase(0, prefix.size());
    std::string path = ImapMailboxName::fromWire(wire).text();
    if (delimiter == 0 || delimiter == '/') return path;
    // A "/" inside of a name would otherwise make another level of it.
    for (char& c : path)
        if (c == '/') c = '-';
    std::replace(path.begin(), path.end(), delimiter, '/');
    return path;
}

std::string shownPath(const std::string& folder) { return folder.empty() ? "Inbox" : pathFromFolderName(folder); }

bool staysHere(const std::string& folder) { return folder == kOutbox; }

std::map<std::string, ImapMailboxName> foldersFor(const std::vector<ImapMailbox>& listed, const std::string& prefix,
                                                  const std::vector<MirroredMailbox>& kept, bool isGmail) {
    std::map<std::string, ImapMailboxName> folders;
    std::vector<const ImapMailbox*> rest;
    std::set<std::string> taken;
    const auto take = [&](const std::string& folder, const ImapMailbox& mailbox) {
        if (!taken.insert(folder).second) return false;
        folders.emplace(folder, mailbox.name);
        return true;
    };
    for (const ImapMailbox& mailbox : listed) {
        if (!mailbox.isSelectable) continue;
        const auto known = std::find_if(kept.begin(), kept.end(),
                                        [&](const auto& each) { return each.serverName == mailbox.name.wire(); });
        if (mailbox.name.isInbox())
            take("", mailbox);
        else if (known == kept.end() || !take(known->folder, mailbox))
            rest.push_back(&mailbox);
    }
    // By use before by name: "Sent" may be a mailbox of the person's beside the one that is meant for it.
    for (const bool byName : {false, true}) {
        std::erase_if(rest, [&](const ImapMailbox* mailbox) {
            if (isGmail && mailbox->use == ImapUse::All && take("Archive", *mailbox)) return true;
            const std::string name = asciiLowered(pathOf(*mailbox, prefix));
            return std::any_of(kSpecial.begin(), kSpecial.end(), [&](const Special& special) {
                const bool isIt =
                    byName ? std::find(special.names.begin(), special.names.end(), name) != special.names.end()
                           : mailbox->use == special.use;
                return isIt && take(std::string(special.folder), *mailbox);
            });
        });
    }
    for (const ImapMailbox* mailbox : rest) {
        const bool gathers = mailbox->use == ImapUse::Flagged || mailbox->use == ImapUse::Important;
        if (mailbox->use == ImapUse::All && take("Archive", *mailbox)) continue;
        if (!gathers) take(ordinaryFolder(*mailbox, prefix, taken), *mailbox);
    }
    return folders;
}

MirroredMailbox::Use useAtGmail(const ImapMailbox& mailbox) {
    using Use = MirroredMailbox::Use;
    switch (mailbox.use) {
    case ImapUse::All: return Use::AllMail;
    case ImapUse::Junk: return Use::Junk;
    case ImapUse::Trash: return Use::Trash;
    case ImapUse::Drafts: return Use::Drafts;
    case ImapUse::Sent: return Use::Sent;
    default: return Use::Label;
    }
}

ImapMailboxName serverNameFor(const std::string& folder, const std::string& prefix, char delimiter) {
    std::string path = pathFromFolderName(folder);
    if (delimiter != '/') {
        for (char& c : path)
            if (c == '/')
                c = delimiter == 0 ? '-' : delimiter;
            else if (c == delimiter)
                c = '-';
    }
    return ImapMailboxName::fromWire(prefix + ImapMailboxName::fromText(path).wire());
}

}  // namespace qs
