#include "Imap/ImapReader.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "Imap/ImapError.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

constexpr std::size_t kBuffer = 64 * 1024;
constexpr std::size_t kLiteralStep = 4u << 20;

std::optional<ImapResponse::Status> statusNamed(std::string_view name) {
    using Status = ImapResponse::Status;
    if (name == "OK") return Status::Ok;
    if (name == "NO") return Status::No;
    if (name == "BAD") return Status::Bad;
    if (name == "BYE") return Status::Bye;
    if (name == "PREAUTH") return Status::Preauth;
    return {};
}

template <class T>
std::optional<T> numberIn(std::string_view text) {
    T number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || text.empty()) return {};
    return number;
}

// The items of a response code, from a line that is here already. False when the line only looks like having one.
bool parseCode(std::string_view& line, std::vector<ImapItem>& code) {
    int depth = 0;
    bool isQuoted = false;
    std::size_t end = 1;
    for (; end < line.size(); ++end) {
        const char c = line[end];
        if (isQuoted && c == '\\')
            ++end;
        else if (c == '"')
            isQuoted = !isQuoted;
        else if (!isQuoted && c == ']' && depth == 0)
            break;
        else if (!isQuoted && c == '(')
            ++depth;
        else if (!isQuoted && c == ')')
            --depth;
    }
    if (end >= line.size()) return false;
    std::string inside(line.substr(1, end - 1));
    inside += "\r\n";
    std::size_t given = 0;
    ImapReader reader(
        [&](char* buffer, std::size_t size) -> Result<std::size_t> {
            const std::size_t length = std::min(size, inside.size() - given);
            if (length == 0) return failure(std::string(kImapErrorDomain), 0, "");
            std::copy_n(inside.data() + given, length, buffer);
            given += length;
            return length;
        },
        {.textBytes = inside.size(), .literalBytes = 0});
    auto items = reader.itemsOfLine();
    if (!items || items->empty() || items->front().kind != ImapItem::Kind::Atom) return false;
    code = std::move(*items);
    code.front().text = asciiUppered(code.front().text);
    line.remove_prefix(std::min(line.size(), end + 1));
    return true;
}

}  // namespace

bool ImapItem::isNil() const { return is("NIL"); }
bool ImapItem::is(std::string_view atom) const { return kind == Kind::Atom && equalsIgnoringCase(text, atom); }
std::optional<std::uint64_t> ImapItem::number() const {
    return kind == Kind::List ? std::nullopt : numberIn<std::uint64_t>(text);
}
std::optional<std::uint32_t> ImapItem::number32() const {
    return kind == Kind::List ? std::nullopt : numberIn<std::uint32_t>(text);
}

bool ImapResponse::hasCode(std::string_view codeName) const { return !code.empty() && code.front().text == codeName; }

ImapReader::ImapReader(Read read, Limits limits) : read_(std::move(read)), limits_(limits) {}

bool ImapReader::fail(std::string what) {
    if (!error_)
        error_ = Error{std::string(kImapErrorDomain), static_cast<int>(ImapFailure::Malformed), std::move(what), {}};
    return false;
}

bool ImapReader::refill() {
    if (error_) return false;
    if (buffer_.empty()) buffer_.resize(kBuffer);
    auto length = read_(buffer_.data(), buffer_.size());
    if (!length) {
        error_ = length.error();
        return false;
    }
    position_ = 0;
    end_ = *length;
    return true;
}

int ImapReader::peek() {
    if (position_ == end_ && !refill()) return -1;
    return static_cast<unsigned char>(buffer_[position_]);
}

int ImapReader::get() {
    const int c = peek();
    if (c < 0) return c;
    if (++textBytes_ > limits_.textBytes) {
        fail("The server's answer is longer than any that makes sense.");
        return -1;
    }
    ++position_;
    return c;
}

bool ImapReader::skip(char expected) {
    const int c = get();
    if (c == static_cast<unsigned char>(expected)) return true;
    return fail("The server's answer makes no sense.");
}

void ImapReader::skipBlanks() {
    while (peek() == ' ')
        get();
}

bool ImapReader::endLine() {
    skipBlanks();
    if (peek() == '\r') get();
    return skip('\n');
}

bool ImapReader::restOfLine(std::string& text) {
    for (int c = get(); c != '\n'; c = get()) {
        if (c < 0) return false;
        text += static_cast<char>(c);
    }
    if (text.ends_with('\r')) text.pop_back();
    return true;
}

// "BODY[HEADER.FIELDS (DATE)]" is one atom.
bool ImapReader::atom(std::string& text) {
    bool isBracketed = false;
    for (int c = peek(); c >= 0 && c != '\r' && c != '\n'; c = peek()) {
        if (!isBracketed && (c == ' ' || c == '(' || c == ')' || c == '"')) break;
        if (c == '[') isBracketed = true;
        if (c == ']') isBracketed = false;
        if (get() < 0) return false;
        text += static_cast<char>(c);
    }
    return !error_ && (!text.empty() || fail("The server's answer makes no sense."));
}

bool ImapReader::quoted(std::string& text) {
    get();
    for (int c = get(); c != '"'; c = get()) {
        if (c == '\\') c = get();
        if (c < 0) return false;
        if (c == '\r' || c == '\n') return fail("The server ended a line within a quoted text.");
        text += static_cast<char>(c);
    }
    return true;
}

bool ImapReader::literal(std::string& text) {
    get();
    std::string digits;
    for (int c = get(); c != '}'; c = get()) {
        if (c < 0) return false;
        digits += static_cast<char>(c);
        if (digits.size() > 20) return fail("The server announced a text of a length that is no number.");
    }
    if (digits.ends_with('+')) digits.pop_back();
    const auto length = numberIn<std::uint64_t>(digits);
    if (!length) return fail("The server announced a text of a length that is no number.");
    if (*length > limits_.literalBytes - literalBytes_)
        return fail("The server announced a text that is larger than allowed (" + digits + " bytes).");
    if (!endLine()) return false;
    literalBytes_ += static_cast<std::size_t>(*length);
    for (std::size_t have = 0; have < *length;) {
        // Memory grows with what really came.
        if (have == text.size()) text.resize(std::min<std::size_t>(*length, have + std::max(kLiteralStep, have)));
        if (hasUnread()) {
            const std::size_t taken = std::min(text.size() - have, end_ - position_);
            std::copy_n(buffer_.data() + position_, taken, text.data() + have);
            position_ += taken;
            have += taken;
            continue;
        }
        auto came = read_(text.data() + have, text.size() - have);
        if (!came) {
            error_ = came.error();
            return false;
        }
        have += *came;
    }
    return true;
}

bool ImapReader::list(std::vector<ImapItem>& items, int depth) {
    if (depth > limits_.depth) return fail("The server's answer is nested deeper than any that makes sense.");
    get();
    for (;;) {
        skipBlanks();
        const int c = peek();
        if (c < 0) return false;
        if (c == ')') return get() >= 0;
        if (!item(items.emplace_back(), depth)) return false;
    }
}

bool ImapReader::item(ImapItem& out, int depth) {
    if (++items_ > limits_.items) return fail("The server's answer has more parts than any that makes sense.");
    int c = peek();
    if (c == '~') {  // a literal with null bytes (RFC 3516), else the start of an atom
        get();
        if (peek() != '{') {
            out.text = "~";
            const int next = peek();
            return next == ' ' || next == ')' || next == '\r' || atom(out.text);
        }
        c = '{';
    }
    switch (c) {
    case -1: return false;
    case '"': out.kind = ImapItem::Kind::Text; return quoted(out.text);
    case '{': out.kind = ImapItem::Kind::Text; return literal(out.text);
    case '(': out.kind = ImapItem::Kind::List; return list(out.items, depth + 1);
    default: return atom(out.text);
    }
}

bool ImapReader::items(std::vector<ImapItem>& items) {
    for (;;) {
        skipBlanks();
        const int c = peek();
        if (c < 0) return false;
        if (c == '\r' || c == '\n') return endLine();
        if (!item(items.emplace_back(), 0)) return false;
    }
}

Result<std::vector<ImapItem>> ImapReader::itemsOfLine() {
    std::vector<ImapItem> result;
    if (!items(result)) return failure(*error_);
    return result;
}

bool ImapReader::status(ImapResponse& response, ImapResponse::Status kind) {
    response.status = kind;
    skipBlanks();
    std::string line;
    if (!restOfLine(line)) return false;
    std::string_view rest = line;
    if (rest.starts_with('[')) parseCode(rest, response.code);
    response.text = trimmedAscii(rest);
    return true;
}

bool ImapReader::untagged(ImapResponse& response) {
    std::string word;
    if (!atom(word)) return false;
    if (const auto number = numberIn<std::uint32_t>(word)) {
        response.number = *number;
        word.clear();
        skipBlanks();
        if (!atom(word)) return false;
    }
    response.name = asciiUppered(word);
    if (const auto known = statusNamed(response.name)) return status(response, *known);
    return items(response.items);
}

Result<ImapResponse> ImapReader::next() {
    textBytes_ = literalBytes_ = items_ = 0;
    ImapResponse response;
    const auto parse = [&] {
        std::string& tag = response.tag;
        if (!atom(tag)) return false;
        skipBlanks();
        if (tag == "*") return untagged(response);
        if (tag == "+") {
            response.kind = ImapResponse::Kind::Continuation;
            return restOfLine(response.text);
        }
        response.kind = ImapResponse::Kind::Tagged;
        std::string word;
        if (!atom(word)) return false;
        const auto known = statusNamed(asciiUppered(word));
        if (!known) return fail("The server's answer makes no sense.");
        return status(response, *known);
    };
    if (error_ || !parse()) return failure(*error_);
    return response;
}

std::string ImapReader::takeUnread() {
    std::string unread = buffer_.substr(position_, end_ - position_);
    position_ = end_ = 0;
    return unread;
}

Result<void> ImapReader::readAhead(const Read& read) {
    if (hasUnread()) return {};
    if (buffer_.empty()) buffer_.resize(kBuffer);
    auto length = read(buffer_.data(), buffer_.size());
    if (!length) return failed(length);
    position_ = 0;
    end_ = *length;
    return {};
}

}  // namespace qs
