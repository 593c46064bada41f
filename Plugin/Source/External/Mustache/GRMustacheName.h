// A name to be looked up in dictionaries. It knows its first bytes as a number, which tells it from nearly every other
// key without a look at the rest.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace qs {

class GRMustacheName {
public:
    // Refers to the text.
    GRMustacheName(std::string_view text) : text_(text), head_(headOf(text)) {}
    GRMustacheName(const char* text) : GRMustacheName(std::string_view(text)) {}
    GRMustacheName(const std::string& text) : text_(text), head_(headOf(text)) {}

    std::string_view text() const { return text_; }
    // Numbers from the first and the last bytes; the same for the same text.
    std::uint64_t head() const { return head_; }
    std::uint64_t tail() const {
        return text_.size() <= kHead ? 0 : bigEndian<std::uint64_t>(text_.data() + text_.size() - kHead);
    }

    // Of a key with the same head.
    bool isTextOf(const std::string& key) const {
        return key.size() == text_.size() && (key.size() <= kHead || key == text_);
    }

    // The order of texts, so that a dictionary's own search can be used.
    friend bool operator<(const std::string& key, const GRMustacheName& name) {
        const std::uint64_t head = headOf(key);
        if (head != name.head_) return head < name.head_;
        return name.isWholeInHead(key) ? key.size() < name.text_.size() : key < name.text_;
    }
    friend bool operator<(const GRMustacheName& name, const std::string& key) {
        const std::uint64_t head = headOf(key);
        if (head != name.head_) return name.head_ < head;
        return name.isWholeInHead(key) ? name.text_.size() < key.size() : name.text_ < key;
    }

private:
    static constexpr std::size_t kHead = sizeof(std::uint64_t);

    bool isWholeInHead(const std::string& key) const { return text_.size() <= kHead && key.size() <= kHead; }

    // The first eight bytes, the first one counting most, as if zeros followed the text.
    static std::uint64_t headOf(std::string_view text) {
        std::uint64_t head = 0;
        for (std::size_t i = 0; i < kHead; ++i)
            head = head << 8 | (i < text.size() ? static_cast<unsigned char>(text[i]) : 0u);
        return head;
    }
    // The same of a text with a zero behind it, which may be read, too: without a loop.
    static std::uint64_t headOf(const std::string& text) {
        const std::size_t size = text.size();
        const char* bytes = text.c_str();
        if (size + 1 >= 8) return bigEndian<std::uint64_t>(bytes);
        if (size + 1 < 4) return headOf(std::string_view(text));
        // Two halves, of which the second one ends with the zero, and overlaps the first.
        const std::uint64_t last = bigEndian<std::uint32_t>(bytes + size + 1 - 4);
        return std::uint64_t{bigEndian<std::uint32_t>(bytes)} << 32 | ((last << (8 * (7 - size))) & 0xFFFFFFFF);
    }
    template <class Number>
    static Number bigEndian(const char* bytes) {
        Number number;
        std::memcpy(&number, bytes, sizeof number);
        if constexpr (std::endian::native == std::endian::big) return number;
        if constexpr (sizeof number == 8) return __builtin_bswap64(number);
        return static_cast<Number>(__builtin_bswap32(static_cast<std::uint32_t>(number)));
    }

    std::string_view text_;
    std::uint64_t head_;
};

}  // namespace qs
