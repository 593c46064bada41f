// What the letters of a Maildir file's name mean, and back.
//
// Letters of the format: S seen, R answered, F flagged, D draft, T deleted, P forwarded. What it has no letter for goes
// into keywords: lower-case letters whose names stand in the folder's file "dovecot-keywords", a line "0 $Junk" for the
// letter a, as that server and others write it. So a colour survives every loss of our index, and other programs see
// it. Junk is the keyword $Junk; a colour is the bits of its number in $MailFlagBit0, 1 and 2, as registered for IMAP.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Result.h"
#include "Mail/Message.h"

namespace qs {

class FileSystem;
struct FlagChange;

// The keyword names of one folder. A snapshot: read it anew for each piece of work. Blocking.
class MaildirKeywords {
public:
    // A missing or unreadable file is an empty list. Where another program keeps the list (`isOthers`), no name is
    // added to it: what it has no letter for is not kept.
    static MaildirKeywords load(const std::filesystem::path& maildir, FileSystem& files, bool isOthers = false);
    bool canHold(std::string_view name) const { return !isOthers_ || letterOf(name); }

    std::optional<std::string> nameOf(char letter) const;
    std::optional<char> letterOf(std::string_view name) const;
    // As letterOf, but gives the name a free letter, durably, when it has none. Fails when all 26 are taken.
    Result<char> assignLetter(std::string_view name);

private:
    std::filesystem::path file_;
    FileSystem* files_ = nullptr;
    bool isOthers_ = false;
    std::map<char, std::string> names_;
};

MessageFlags flagsFromLetters(std::string_view letters, const MaildirKeywords& keywords);
// `letters` with those set and taken away that `flags` ask for; all others stay.
Result<std::string> lettersWithFlags(std::string_view letters, const MessageFlags& flags, MaildirKeywords& keywords);
// The letters for the same flags and keywords in another folder.
Result<std::string> lettersForOtherFolder(std::string_view letters, const MaildirKeywords& from, MaildirKeywords& to);

MessageFlags flagsWithChange(MessageFlags flags, const FlagChange& change);
// As one number, for the index: seen 1, answered 2, flagged 4, draft 8, deleted 16, forwarded 32, junk 64, colour *
// 256.
int packedFlags(const MessageFlags& flags);
MessageFlags unpackedFlags(int packed);

}  // namespace qs
