// Open files of every kind: those that are texts in memory, and what can be done with any.
#include <algorithm>
#include <cstring>

#include "Foundation/FileSystem.h"

namespace qs {

namespace {

class OpenText final : public OpenFile {
public:
    explicit OpenText(std::string text) : text_(std::move(text)) {}
    std::uint64_t size() const override { return text_.size(); }
    Result<std::size_t> readAt(std::uint64_t place, char* buffer, std::size_t size) const override {
        const std::string_view rest =
            std::string_view(text_).substr(static_cast<std::size_t>(std::min<std::uint64_t>(place, text_.size())));
        const std::size_t length = std::min(size, rest.size());
        if (length > 0) std::memcpy(buffer, rest.data(), length);
        return length;
    }

private:
    const std::string text_;
};

}  // namespace

std::shared_ptr<const OpenFile> openText(std::string text) { return std::make_shared<OpenText>(std::move(text)); }

ByteSource sourceOf(std::shared_ptr<const OpenFile> file) {
    return [file = std::move(file), place = std::uint64_t{0}](char* buffer,
                                                              std::size_t size) mutable -> Result<std::size_t> {
        auto length = file->readAt(place, buffer, size);
        if (length) place += *length;
        return length;
    };
}

Result<bool> areSame(const OpenFile& one, const OpenFile& other) {
    if (one.size() != other.size()) return false;
    std::string mine(kPieceBytes, '\0'), others(kPieceBytes, '\0');
    for (std::uint64_t place = 0;;) {
        const auto length = one.readAt(place, mine.data(), mine.size());
        if (!length) return failed(length);
        if (*length == 0) return true;
        for (std::size_t have = 0; have < *length;) {
            const auto more = other.readAt(place + have, others.data() + have, *length - have);
            if (!more) return failed(more);
            if (*more == 0) return false;
            have += *more;
        }
        if (std::string_view(mine).substr(0, *length) != std::string_view(others).substr(0, *length)) return false;
        place += *length;
    }
}

}  // namespace qs
