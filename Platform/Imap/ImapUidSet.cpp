#include "Imap/ImapUidSet.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace qs {

namespace {

constexpr std::uint32_t kLargest = std::numeric_limits<std::uint32_t>::max();

std::optional<std::uint32_t> uidFrom(std::string_view text) {
    if (text == "*") return kLargest;
    std::uint32_t uid = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), uid);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() || uid == 0) return {};
    return uid;
}

std::string textOf(const ImapUidSet::Range& range) {
    const std::string last = range.last == kLargest ? "*" : std::to_string(range.last);
    return range.first == range.last ? last : std::to_string(range.first) + ":" + last;
}

}  // namespace

ImapUidSet::ImapUidSet(std::initializer_list<std::uint32_t> uids) {
    for (const std::uint32_t uid : uids)
        add(uid);
}

ImapUidSet ImapUidSet::range(std::uint32_t first, std::uint32_t last) {
    ImapUidSet set;
    set.add(Range{first, last});
    return set;
}

ImapUidSet ImapUidSet::from(std::uint32_t first) { return range(first, kLargest); }

std::optional<ImapUidSet> ImapUidSet::parse(std::string_view text) {
    ImapUidSet set;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find(',', start), text.size());
        const std::string_view part = text.substr(start, end - start);
        const std::size_t colon = std::min(part.find(':'), part.size());
        const auto first = uidFrom(part.substr(0, colon));
        const auto last = colon == part.size() ? first : uidFrom(part.substr(colon + 1));
        if (!first || !last) return {};
        set.add(Range{*first, *last});
        start = end + 1;
    }
    return set;
}

void ImapUidSet::add(Range range) {
    if (range.first > range.last) std::swap(range.first, range.last);
    range.first = std::max<std::uint32_t>(range.first, 1);
    if (range.last == 0) return;
    // Mostly they come in order.
    if (ranges_.empty() || (ranges_.back().last != kLargest && range.first > ranges_.back().last + 1)) {
        ranges_.push_back(range);
        return;
    }
    auto begin =
        std::lower_bound(ranges_.begin(), ranges_.end(), range.first, [](const Range& each, std::uint32_t uid) {
            return each.last != kLargest && each.last + 1 < uid;
        });
    auto end = begin;
    for (; end != ranges_.end() && end->first - 1 <= range.last; ++end) {
        range.first = std::min(range.first, end->first);
        range.last = std::max(range.last, end->last);
    }
    if (begin == end) {
        ranges_.insert(begin, range);
    } else {
        *begin = range;
        ranges_.erase(begin + 1, end);
    }
}

void ImapUidSet::add(const ImapUidSet& others) {
    for (const Range& each : others.ranges_)
        add(each);
}

void ImapUidSet::remove(Range range) {
    if (range.first > range.last) std::swap(range.first, range.last);
    std::vector<Range> rest;
    rest.reserve(ranges_.size() + 1);
    for (const Range& each : ranges_) {
        if (each.last < range.first || each.first > range.last) {
            rest.push_back(each);
            continue;
        }
        if (each.first < range.first) rest.push_back({each.first, range.first - 1});
        if (each.last > range.last) rest.push_back({range.last + 1, each.last});
    }
    ranges_ = std::move(rest);
}

void ImapUidSet::remove(const ImapUidSet& others) {
    std::vector<Range> rest;
    auto other = others.ranges_.begin();
    for (Range each : ranges_) {
        bool isLeft = true;
        while (other != others.ranges_.end() && other->last < each.first)
            ++other;
        for (auto next = other; isLeft && next != others.ranges_.end() && next->first <= each.last; ++next) {
            if (next->first > each.first) rest.push_back({each.first, next->first - 1});
            isLeft = next->last < each.last;
            if (isLeft) each.first = next->last + 1;
        }
        if (isLeft) rest.push_back(each);
    }
    ranges_ = std::move(rest);
}

bool ImapUidSet::contains(std::uint32_t uid) const {
    const auto found = std::lower_bound(ranges_.begin(), ranges_.end(), uid,
                                        [](const Range& each, std::uint32_t wanted) { return each.last < wanted; });
    return found != ranges_.end() && found->first <= uid;
}

std::uint64_t ImapUidSet::count() const {
    std::uint64_t count = 0;
    for (const Range& each : ranges_)
        count += std::uint64_t{each.last} - each.first + 1;
    return count;
}

std::vector<std::uint32_t> ImapUidSet::uids() const {
    std::vector<std::uint32_t> result;
    result.reserve(count());
    for (const Range& each : ranges_)
        for (std::uint64_t uid = each.first; uid <= each.last; ++uid)
            result.push_back(static_cast<std::uint32_t>(uid));
    return result;
}

std::string ImapUidSet::text() const {
    std::string result;
    for (const Range& each : ranges_)
        result += (result.empty() ? "" : ",") + textOf(each);
    return result;
}

std::vector<std::string> ImapUidSet::texts(std::size_t longest) const {
    std::vector<std::string> result;
    for (const Range& each : ranges_) {
        const std::string part = textOf(each);
        if (result.empty() || result.back().size() + part.size() + 1 > longest)
            result.push_back(part);
        else
            result.back() += "," + part;
    }
    return result;
}

}  // namespace qs
