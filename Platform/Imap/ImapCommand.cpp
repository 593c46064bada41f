#include "Imap/ImapCommand.h"

#include <algorithm>

#include "Text/Ascii.h"

namespace qs {

namespace {

constexpr std::size_t kLongestQuoted = 1000;

bool isAtomCharacter(char c) {
    return static_cast<unsigned char>(c) < 0x80 && !isAsciiControl(c) &&
           std::string_view(" (){%*\"\\]").find(c) == std::string_view::npos;
}

bool isPlain(char c) { return static_cast<unsigned char>(c) < 0x80 && !isAsciiControl(c); }

std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') result += '\\';
        result += c;
    }
    return result + '"';
}

bool isFlag(std::string_view flag) {
    if (flag.starts_with('\\')) flag.remove_prefix(1);
    return !flag.empty() && std::all_of(flag.begin(), flag.end(), isAtomCharacter);
}

}  // namespace

std::string& ImapCommand::text() {
    if (parts_.back().hasLiteral()) parts_.emplace_back();
    return parts_.back().text;
}

ImapCommand& ImapCommand::raw(std::string_view words) {
    std::string& line = text();
    if (!line.empty() || parts_.size() > 1) line += ' ';
    line += words;
    return *this;
}

ImapCommand& ImapCommand::string(std::string_view given) {
    if (given.find('\0') != std::string_view::npos) isSendable_ = false;
    if (given.size() <= kLongestQuoted && std::all_of(given.begin(), given.end(), isPlain)) return raw(quoted(given));
    raw("");
    parts_.back().literal = given;
    return *this;
}

ImapCommand& ImapCommand::content(const SizedSource& content) {
    raw("");
    parts_.back().content = &content;
    return *this;
}

bool ImapCommand::flags(const ImapFlags& flags) {
    std::string list;
    for (const std::string& flag : flags) {
        if (!isFlag(flag)) return false;
        list += (list.empty() ? "" : " ") + flag;
    }
    raw("(" + list + ")");
    return true;
}

ImapCommand& ImapCommand::labels(const std::vector<ImapMailboxName>& labels) {
    std::string list;
    for (const ImapMailboxName& label : labels) {
        const std::string& wire = label.wire();
        isSendable_ = isSendable_ && std::all_of(wire.begin(), wire.end(), isPlain);
        list += (list.empty() ? "" : " ") + (wire.starts_with('\\') && isFlag(wire) ? wire : quoted(wire));
    }
    return raw("(" + list + ")");
}

}  // namespace qs
