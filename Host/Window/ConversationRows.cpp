#include "ConversationRows.h"

#include <algorithm>

namespace qs {

int ConversationRows::conversations() {
    refresh();
    return conversations_;
}

bool ConversationRows::isOpen(std::int64_t conversation) const {
    return std::ranges::find(wanted_, conversation) != wanted_.end();
}

void ConversationRows::setOpen(std::int64_t conversation, bool open) {
    if (isOpen(conversation) == open) return;
    if (open)
        wanted_.push_back(conversation);
    else
        std::erase(wanted_, conversation);
    if (wanted_.size() > kMostOpen) wanted_.erase(wanted_.begin());
    isStale_ = true;
}

void ConversationRows::reveal(std::int64_t message) {
    const auto summary = library_.summary(message);
    if (!summary || summary->mailbox != mailbox_ || isOpen(summary->conversation)) return;
    if (library_.conversationIn(mailbox_, summary->conversation, 2).size() > 1) setOpen(summary->conversation, true);
}

void ConversationRows::messagesChanged() {
    isStale_ = true;
    known_ = {};
}

// Where the open conversations stand: counted from one to the next, so that all together cost one pass.
void ConversationRows::refresh() {
    if (!isStale_) return;
    isStale_ = false;
    conversations_ = library_.page(MailboxConversations::grouped(mailbox_), {}, 0, 0).total;
    open_.clear();
    for (const std::int64_t conversation : wanted_)
        if (auto messages = library_.conversationIn(mailbox_, conversation, kMostMessages); messages.size() > 1)
            open_.push_back({.conversation = messages.front().conversation, .row = 0, .messages = std::move(messages)});
    std::ranges::sort(open_, std::greater(), [](const Open& each) { return each.messages.front().key; });
    // Two that were joined are one now.
    const auto same = std::ranges::unique(open_, {}, &Open::conversation);
    open_.erase(same.begin(), same.end());
    std::int64_t above = 0;
    int next = 0;
    for (Open& each : open_) {
        each.row = next + library_.conversationsBetween(mailbox_, above, each.messages.front().key);
        above = each.messages.front().key;
        next = each.row + 1;
    }
    std::erase_if(wanted_, [&](std::int64_t conversation) {
        return std::ranges::find(open_, conversation, &Open::conversation) == open_.end();
    });
}

ConversationRows::Place ConversationRows::placeOf(int row) const {
    int shift = 0;  // rows of messages above
    for (const Open& each : open_) {
        const int head = each.row + shift, messages = static_cast<int>(each.messages.size());
        if (row <= head) break;
        if (row <= head + messages) return {each.row + 1, &each, static_cast<std::size_t>(row - head - 1)};
        shift += messages;
    }
    return {row - shift, nullptr, 0};
}

ListedRow ConversationRows::messageRow(const MessageSummary& message, std::int64_t parent) const {
    ListedRow row{.summary = message, .facts = {}};
    row.facts.count = 1;
    row.parent = parent;
    return row;
}

std::vector<ListedRow> ConversationRows::leadRows(int first, int count) {
    const auto page = library_.page(MailboxConversations::grouped(mailbox_), {}, first, count, known_);
    if (!page.rows.empty()) known_ = {first, page.rows.front().key};
    std::vector<std::int64_t> numbers;
    for (const MessageSummary& each : page.rows)
        numbers.push_back(each.conversation);
    const auto facts = library_.conversationFacts(mailbox_, numbers);
    std::vector<ListedRow> rows;
    for (std::size_t i = 0; i < page.rows.size(); ++i) {
        ListedRow row{.summary = page.rows[i], .facts = facts[i]};
        row.isConversation = facts[i].count > 1;
        row.isOpen = row.isConversation && isOpen(row.summary.conversation);
        rows.push_back(std::move(row));
    }
    return rows;
}

ListedPage ConversationRows::page(int offset, int limit) {
    refresh();
    ListedPage page;
    page.total = conversations_;
    for (const Open& each : open_)
        page.total += static_cast<int>(each.messages.size());
    const int end = std::min(page.total, offset + limit);
    if (offset >= end) return page;
    const int firstLead = placeOf(offset).lead;
    std::vector<Place> places;
    int leads = 0;
    for (int row = offset; row < end; ++row) {
        places.push_back(placeOf(row));
        if (!places.back().open) leads = places.back().lead - firstLead + 1;
    }
    const auto rows = leads > 0 ? leadRows(firstLead, leads) : std::vector<ListedRow>();
    for (const Place& place : places) {
        const auto lead = static_cast<std::size_t>(place.lead - firstLead);
        if (place.open)
            page.rows.push_back(messageRow(place.open->messages[place.message], -place.open->conversation));
        else if (lead < rows.size())
            page.rows.push_back(rows[lead]);
    }
    return page;
}

std::vector<std::int64_t> ConversationRows::allIDs(int limit) {
    refresh();
    std::vector<std::int64_t> ids;
    for (const ConversationLead& lead : library_.leads(mailbox_, limit))
        ids.push_back(lead.isAlone ? lead.id : -lead.conversation);
    return ids;
}

}  // namespace qs
