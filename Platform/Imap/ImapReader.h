// Reads what an IMAP server says, response by response, without knowing commands (RFC 3501, section 9). Believes the
// server within limits: a longer line, a deeper nesting or a larger literal is an error before the memory for it is
// asked for. What it does not know is read as items, too, since servers say more every year.
//
// Ours because libetpan's follows nested lists until the stack ends, takes any announced length for granted, and gives
// the connection up at the first response or item that it does not know.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Result.h"

namespace qs {

struct ImapItem {
    enum class Kind { Atom, Text, List };  // Text: quoted or literal
    Kind kind = Kind::Atom;
    std::string text;
    std::vector<ImapItem> items;

    bool isNil() const;
    bool is(std::string_view atom) const;  // in letters of any case
    // Nothing when it is no number, or one too large.
    std::optional<std::uint64_t> number() const;
    std::optional<std::uint32_t> number32() const;
};

struct ImapResponse {
    enum class Kind { Untagged, Tagged, Continuation };
    enum class Status { None, Ok, No, Bad, Bye, Preauth };

    Kind kind = Kind::Untagged;
    std::string tag;
    Status status = Status::None;
    std::vector<ImapItem> code;  // of a status: its name and what follows
    std::string text;            // of a status or a continuation, for people
    std::string name;            // of data, in capitals: "FETCH", "LIST", ...
    std::uint32_t number = 0;    // before the name, as in "* 23 EXISTS"
    std::vector<ImapItem> items;

    bool hasCode(std::string_view codeName) const;
};

class ImapReader {
public:
    struct Limits {
        std::size_t textBytes, literalBytes;  // of one response: all but its literals; all its literals
        int depth = 32;
        std::size_t items = 500'000;
    };
    // `read` fills a part of the buffer, at least one byte, or fails.
    using Read = std::function<Result<std::size_t>(char* buffer, std::size_t size)>;
    ImapReader(Read read, Limits limits);

    // After an error there is no way to go on.
    Result<ImapResponse> next();
    // The items up to the end of the line, whatever they are.
    Result<std::vector<ImapItem>> itemsOfLine();
    bool hasUnread() const { return position_ < end_; }
    std::string takeUnread();
    // Takes what is there without waiting; `read` may answer 0 here.
    Result<void> readAhead(const Read& read);

private:
    int peek();  // -1: failed
    int get();
    bool refill();
    bool fail(std::string what);
    bool skip(char expected);
    void skipBlanks();
    bool endLine();
    bool restOfLine(std::string& text);
    bool item(ImapItem& out, int depth);
    bool atom(std::string& text);
    bool quoted(std::string& text);
    bool literal(std::string& text);
    bool list(std::vector<ImapItem>& items, int depth);
    bool items(std::vector<ImapItem>& items);
    bool untagged(ImapResponse& response);
    bool status(ImapResponse& response, ImapResponse::Status kind);

    const Read read_;
    const Limits limits_;
    std::string buffer_;
    std::size_t position_ = 0, end_ = 0;
    std::size_t textBytes_ = 0, literalBytes_ = 0, items_ = 0;  // of the response so far
    std::optional<Error> error_;
};

}  // namespace qs
