#include "Mail/AddressScan.h"

#include "Text/Ascii.h"

namespace qs {

namespace {

class Scanner {
public:
    explicit Scanner(std::string_view field) : field_(field) {}

    std::vector<ScannedAddress> run() {
        while (at_ < field_.size())
            take();
        finish();
        return std::move(found_);
    }

private:
    void take() {
        const char c = field_[at_++];
        switch (c) {
        case '"': quoted(); break;
        case '(': comment(); break;
        case '<': angle(); break;
        case ',':
        case ';': finish(); break;
        case ':':
            // The name of a group, unless it is the colon of an address literal or of something odd in the middle.
            if (!hasAngle_ && words_.find('@') == std::string::npos)
                words_.clear();
            else
                words_ += c;
            break;
        default: words_ += isAsciiSpace(c) ? ' ' : c;
        }
    }

    // Quotes are dropped; "@" inside them belongs to a name, not to an address, unless an "@" follows at once.
    void quoted() {
        std::string text;
        while (at_ < field_.size() && field_[at_] != '"') {
            if (field_[at_] == '\\' && at_ + 1 < field_.size()) ++at_;
            text += field_[at_++];
        }
        if (at_ < field_.size()) ++at_;
        const bool isLocalPart = at_ < field_.size() && field_[at_] == '@';
        if (isLocalPart)
            words_ += '"' + text + '"';
        else {
            if (text.find('@') != std::string::npos) quotedAt_ = true;
            words_ += text;
        }
    }

    void comment() {
        int depth = 1;
        for (; at_ < field_.size() && depth > 0; ++at_) {
            const char c = field_[at_];
            if (c == '\\' && at_ + 1 < field_.size())
                comment_ += field_[++at_];
            else if (c == '(')
                ++depth;
            else if (c == ')')
                --depth;
            else
                comment_ += c;
        }
    }

    void angle() {
        const std::size_t end = field_.find('>', at_);
        std::string_view inside = field_.substr(at_, end == std::string_view::npos ? end : end - at_);
        at_ = end == std::string_view::npos ? field_.size() : end + 1;
        // An old route: <@relay1,@relay2:ada@example.org>
        if (const auto colon = inside.rfind(':'); inside.starts_with('@') && colon != std::string_view::npos)
            inside.remove_prefix(colon + 1);
        inside = trimmedAscii(inside);
        std::string name = std::move(words_);
        words_.clear();
        if (hasAngle_) finish();  // "a <x@y> b <z@w>": the comma was forgotten
        name_ = std::move(name);
        angle_ = inside;
        hasAngle_ = true;
    }

    void finish() {
        const std::string_view words = trimmedAscii(words_);
        if (hasAngle_) {
            const std::string_view name = trimmedAscii(name_);
            add(std::string(name.empty() ? words : name), angle_);
        } else if (words.find('@') != std::string_view::npos && !quotedAt_) {
            std::string address;
            bool isQuoted = false;
            for (const char c : words) {
                if (c == '"') isQuoted = !isQuoted;
                if (c != ' ' || isQuoted) address += c;
            }
            add(std::string(trimmedAscii(comment_)), std::move(address));
        } else if (!words.empty()) {
            add(std::string(words), "");
        }
        words_.clear();
        name_.clear();
        angle_.clear();
        comment_.clear();
        hasAngle_ = quotedAt_ = false;
    }

    void add(std::string name, std::string address) {
        if (address.find('@') == std::string::npos && !address.empty()) {
            name += name.empty() ? address : " " + address;
            address.clear();
        }
        if (!name.empty() || !address.empty()) found_.push_back({std::move(name), std::move(address)});
    }

    std::string_view field_;
    std::size_t at_ = 0;
    std::vector<ScannedAddress> found_;
    std::string words_, name_, angle_, comment_;
    bool hasAngle_ = false, quotedAt_ = false;
};

}  // namespace

std::vector<ScannedAddress> scanAddresses(std::string_view field) { return Scanner(field).run(); }

const std::string& shownName(const std::string& name, const std::string& address) {
    const bool tellsAddress = name.find('@') != std::string::npos || name.find("\uFF20") != std::string::npos;
    return address.empty() || (!name.empty() && !tellsAddress) ? name : address;
}

}  // namespace qs
