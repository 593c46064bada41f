// Unique ids of messages, kept as ranges: a mailbox of a hundred thousand messages is mostly one of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qs {

class ImapUidSet {
public:
    struct Range {
        std::uint32_t first = 0, last = 0;  // both included
        friend bool operator==(const Range&, const Range&) = default;
    };

    ImapUidSet() = default;
    ImapUidSet(std::initializer_list<std::uint32_t> uids);
    static ImapUidSet range(std::uint32_t first, std::uint32_t last);
    static ImapUidSet from(std::uint32_t first);  // with everything above it
    static ImapUidSet all() { return from(1); }
    // Such as "1:4,7,20:*". Nothing when it is none.
    static std::optional<ImapUidSet> parse(std::string_view text);

    void add(std::uint32_t uid) { add(Range{uid, uid}); }  // 0 is no uid and is left out
    void add(Range range);                                 // either way round
    void add(const ImapUidSet& others);
    void remove(Range range);
    void remove(const ImapUidSet& others);
    bool contains(std::uint32_t uid) const;
    bool isEmpty() const { return ranges_.empty(); }
    // Of all uids, were they all there. An open end counts up to the largest uid there can be.
    std::uint64_t count() const;
    const std::vector<Range>& ranges() const { return ranges_; }  // ascending, apart from each other
    // Each one; only for sets known to be small, such as what a search found.
    std::vector<std::uint32_t> uids() const;
    // In the protocol's form. Several texts when one would be longer than `longest`.
    std::string text() const;
    std::vector<std::string> texts(std::size_t longest) const;

    friend bool operator==(const ImapUidSet&, const ImapUidSet&) = default;

private:
    std::vector<Range> ranges_;
};

}  // namespace qs
