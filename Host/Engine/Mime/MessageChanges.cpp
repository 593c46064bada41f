#include "Mime/MessageChanges.h"

#include <algorithm>

#include "Text/Ascii.h"

namespace qs {

namespace {

class LineEnds {
public:
    void operator()(std::string_view piece, std::string& out) {
        if (piece.empty() && isLineOpen_) out += "\r\n";
        while (!piece.empty()) {
            const std::size_t plain = plainStart(piece);
            if (plain > 0) {
                out.append(piece.substr(0, plain));
                isLineOpen_ = true;
                wasReturn_ = false;
                piece.remove_prefix(plain);
                continue;
            }
            const char c = piece.front();
            piece.remove_prefix(1);
            if (c != '\0' && !(c == '\n' && wasReturn_)) {
                out += "\r\n";
                isLineOpen_ = false;
            }
            wasReturn_ = c == '\r';
        }
    }

private:
    static std::size_t plainStart(std::string_view text) {
        const auto end =
            std::find_if(text.begin(), text.end(), [](char c) { return c == '\r' || c == '\n' || c == '\0'; });
        return static_cast<std::size_t>(end - text.begin());
    }

    bool wasReturn_ = false, isLineOpen_ = false;
};

class HeaderFields {
public:
    explicit HeaderFields(FieldChange change) : change_(std::move(change)) {}

    void operator()(std::string_view piece, std::string& out) {
        if (isBehind_) {
            out.append(piece);
            return;
        }
        waiting_.append(piece);
        std::size_t start = 0;
        while (const std::size_t length = wholeField(std::string_view(waiting_).substr(start))) {
            out += change_(std::string_view(waiting_).substr(start, length));
            start += length;
        }
        waiting_.erase(0, start);
        isBehind_ = piece.empty() || waiting_.starts_with("\r\n");
        if (!isBehind_) return;
        out += piece.empty() && !waiting_.empty() && !waiting_.starts_with("\r\n") ? change_(waiting_) : waiting_;
        waiting_.clear();
    }

private:
    // The length of the field at the start, with the lines that continue it; 0 when its end is not here yet.
    static std::size_t wholeField(std::string_view text) {
        if (text.starts_with('\r')) return 0;
        for (std::size_t next = 0;;) {
            const std::size_t end = text.find('\n', next);
            if (end == std::string_view::npos || end + 1 == text.size()) return 0;
            next = end + 1;
            if (text[next] != ' ' && text[next] != '\t') return next;
        }
    }

    FieldChange change_;
    std::string waiting_;
    bool isBehind_ = false;
};

}  // namespace

std::string withCrLf(std::string_view text) { return changed(text, LineEnds()); }
ByteSource withCrLf(ByteSource text) { return changed(std::move(text), LineEnds()); }

std::string withChangedHeader(std::string_view message, FieldChange change) {
    return changed(withCrLf(message), HeaderFields(std::move(change)));
}
ByteSource withChangedHeader(ByteSource message, FieldChange change) {
    return changed(withCrLf(std::move(message)), HeaderFields(std::move(change)));
}

std::string_view fieldName(std::string_view field) { return trimmedAscii(field.substr(0, field.find(':'))); }

}  // namespace qs
