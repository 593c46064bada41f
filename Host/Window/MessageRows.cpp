#include "MessageRows.h"

#include <algorithm>
#include <map>
#include <set>

#include "Foundation/Assertion.h"
#include "Foundation/RunLoop.h"
#include "Mail/MessageColor.h"
#include "Mime/Addresses.h"
#include "Viewer/ListDates.h"
#include "Viewer/MessageListObjectProxy.h"

namespace qs {
namespace {

constexpr std::size_t kLongestNames = 200;  // of a conversation, in bytes: a row shows no more

class RowProxy : public MessageListObjectProxy {
public:
    RowProxy(MailLibrary& library, const ListedRow& listed, bool selected, std::shared_ptr<MessageListDrawing> drawing,
             Date now)
        : MessageListObjectProxy("MessageListObjectProxy"),
          library_(library),
          listed_(listed),
          selected_(selected),
          drawing_(std::move(drawing)),
          now_(now) {}

    std::shared_ptr<HostObject> message() const override {
        if (!message_) message_ = library_.messageWithID(listed_.summary.id);
        if (!listed_.isConversation) return message_;
        if (!thread_) thread_ = std::make_shared<MessageThread>(message_);
        return thread_;
    }
    bool selected() const override { return selected_; }
    MessageListDrawing& drawing() const override { return *drawing_; }
    std::string todayText(Date date) const override { return qs::todayText(date); }
    std::string dateText(Date date) const override { return dateWithTimeText(date, now_); }
    std::string hostDateString() const { return listDateText(listed_.summary.received, now_); }
    // What somebody who asked for the message gave it; nothing when nobody asked.
    std::optional<Color> color() const { return qs::message::color(message_); }

private:
    MailLibrary& library_;
    const ListedRow& listed_;
    const bool selected_;
    const std::shared_ptr<MessageListDrawing> drawing_;
    const Date now_;
    mutable MessageRef message_;  // made only when somebody asks: most rows show what the summary tells
    mutable std::shared_ptr<MessageThread> thread_;
};

// Each once, as one person writes several messages of a conversation.
void addPeople(const std::vector<std::string>& fields, ViewerRow& row) {
    std::string& names = row.correspondent;
    std::set<std::string> told;
    for (const std::string& field : fields) {
        for (const MailAddress& address : parseAddresses(field)) {
            if (told.empty()) row.person = address;
            const std::string name = address.shownName();
            if (names.size() > kLongestNames || !told.insert(name).second) continue;
            if (!names.empty()) names += ", ";
            names += name;
        }
    }
}

bool showsRecipients(MailboxKind kind) {
    return kind == MailboxKind::Sent || kind == MailboxKind::Drafts || kind == MailboxKind::Outbox;
}

// Of a conversation it tells what is so of any of its messages.
ViewerRow rowFor(const ListedRow& listed) {
    ViewerRow row{.summary = listed.summary, .id = listed.id(), .parent = listed.parent};
    if (!listed.isConversation) return row;
    row.count = listed.facts.count;
    row.isOpen = listed.isOpen;
    row.summary.flags.seen = listed.facts.unread == 0;
    row.summary.flags.flagged = listed.facts.isFlagged;
    row.summary.flags.colour = listed.facts.colour;
    row.summary.attachments = listed.facts.attachments;
    return row;
}

enum class Pictures { None, All };

// A row is drawn as far as its parts can be had: a fault in one of them must not empty the list.
ViewerRow drawRow(RowProxy& proxy, const ListedRow& listed, MailboxKind kind, Pictures pictures) {
    ViewerRow row = rowFor(listed);
    const MessageSummary& summary = listed.summary;
    row.dateLong = longDateText(summary.received);
    row.date = proxy.hostDateString();  // stays where whoever stands in front of it fails
    if (listed.isConversation)
        addPeople(showsRecipients(kind) ? listed.facts.recipients : listed.facts.senders, row);
    else
        addPeople({showsRecipients(kind) ? summary.to : summary.from}, row);
    try {
        row.date = message_list_object_proxy::dateString(proxy);
        // For those who have the long date read to them, too.
        if (row.date != proxy.hostDateString()) row.dateLong = row.date + ", " + row.dateLong;
        if (pictures == Pictures::None) return row;
        row.icons = message_list_object_proxy::flagImages(proxy);
        if (const auto color = proxy.color()) row.colour = color->hexString();
    } catch (const std::exception&) {
        logCaughtException("A row of the message list is shown as far as it was drawn");
    }
    return row;
}

}  // namespace

void MessageRows::defineClass() {
    Class& cls = ClassRegistry::current().define("MessageListObjectProxy");
    cls.add(message_list_object_proxy::flagImages, [](HostObject&) { return std::vector<ListIcon>(); });
    cls.add(message_list_object_proxy::dateString,
            [](HostObject& self) { return dynamic_cast<RowProxy&>(self).hostDateString(); });
}

namespace {

std::shared_ptr<MessageListDrawing> drawingOf(const std::vector<ListedRow>& listed) {
    std::vector<std::string> ids;
    ids.reserve(listed.size());
    for (const ListedRow& each : listed)
        if (!each.summary.messageID.empty()) ids.push_back(each.summary.messageID);
    return std::make_shared<MessageListDrawing>(std::move(ids));
}

std::vector<ViewerRow> drawn(MailLibrary& library, const std::vector<ListedRow>& listed,
                             const std::vector<std::int64_t>& selected, Pictures pictures) {
    const auto drawing = drawingOf(listed);
    const Date now = RunLoop::main().now();
    const std::set<std::int64_t> marked(selected.begin(), selected.end());
    std::map<std::string, MailboxKind> kinds;
    std::vector<ViewerRow> rows;
    for (const ListedRow& each : listed) {
        auto kind = kinds.find(each.summary.mailbox);
        if (kind == kinds.end()) {
            const auto mailbox = library.mailboxWithIdentifier(each.summary.mailbox);
            kind = kinds.emplace(each.summary.mailbox, mailbox ? mailbox->kind() : MailboxKind::User).first;
        }
        const auto proxy = std::make_shared<RowProxy>(library, each, marked.contains(each.id()), drawing, now);
        rows.push_back(drawRow(*proxy, each, kind->second, pictures));
    }
    return rows;
}

std::vector<ListedRow> asRows(std::vector<MessageSummary> messages) {
    std::vector<ListedRow> rows;
    for (MessageSummary& each : messages)
        rows.push_back({.summary = std::move(each), .facts = {}});
    return rows;
}

}  // namespace

std::vector<ViewerRow> drawnRows(MailLibrary& library, const std::vector<MessageSummary>& messages,
                                 const std::vector<std::int64_t>& selected) {
    return drawn(library, asRows(messages), selected, Pictures::None);
}

void MessageRows::show(MessageCriterion criterion, std::string search, std::string groupedMailbox) {
    criterion_ = std::move(criterion);
    search_ = std::move(search);
    grouped_.reset();
    if (!groupedMailbox.empty()) grouped_.emplace(library_, std::move(groupedMailbox));
    offset_ = 0;
    messagesChanged();
}

void MessageRows::setWindow(int offset, int limit) {
    offset_ = std::max(0, offset);
    limit_ = std::clamp(limit, 1, kMostRows);
    forgetPage();
}

void MessageRows::messagesChanged() {
    known_ = {};
    if (grouped_) grouped_->messagesChanged();
    forgetPage();
}

void MessageRows::setOpen(std::int64_t conversation, bool open) {
    if (!grouped_) return;
    grouped_->setOpen(conversation, open);
    forgetPage();
}

void MessageRows::reveal(std::int64_t message) {
    if (!grouped_) return;
    grouped_->reveal(message);
    forgetPage();
}

void MessageRows::forgetPage() {
    page_.reset();
    rows_.reset();
}

void MessageRows::selectionChanged() { rows_.reset(); }

int MessageRows::offset() {
    page();
    return offset_;
}

int MessageRows::total() { return page().total; }

bool MessageRows::hasMore() { return page().hasMore; }

ListedPage MessageRows::read(int offset, int limit) {
    if (grouped_) return grouped_->page(offset, limit);
    ListPage page = library_.page(criterion_, search_, offset, limit, known_);
    if (!page.rows.empty()) known_ = {offset, page.rows.front().key};
    return {page.total, page.hasMore, asRows(std::move(page.rows))};
}

const ListedPage& MessageRows::page() {
    if (page_) return *page_;
    page_ = read(offset_, limit_);
    if (offset_ > 0 && offset_ >= page_->total) {  // the list has become shorter than where the window stood
        offset_ = std::max(0, page_->total - limit_);
        page_ = read(offset_, limit_);
    }
    return *page_;
}

const std::vector<ViewerRow>& MessageRows::rows(const std::vector<std::int64_t>& selected) {
    if (rows_) return *rows_;
    rows_ = drawn(library_, page().rows, selected, Pictures::All);
    return *rows_;
}

std::optional<int> MessageRows::rowOf(std::int64_t id) {
    const auto& rows = page().rows;
    auto found = std::ranges::find(rows, id, &ListedRow::id);
    if (found == rows.end() && grouped_ && id > 0)
        if (const auto summary = library_.summary(id))
            found = std::ranges::find(rows, -summary->conversation, &ListedRow::id);
    if (found == rows.end()) return {};
    return offset_ + static_cast<int>(found - rows.begin());
}

std::optional<ListedRow> MessageRows::at(int row) {
    if (row < 0 || row >= total()) return {};
    const auto& rows = page().rows;
    const int inWindow = row - offset_;
    if (inWindow >= 0 && inWindow < static_cast<int>(rows.size())) return rows[static_cast<std::size_t>(inWindow)];
    const ListedPage one = read(row, 1);
    if (one.rows.empty()) return {};
    return one.rows.front();
}

std::optional<std::int64_t> MessageRows::idAt(int row) {
    const auto found = at(row);
    return found ? std::optional(found->id()) : std::nullopt;
}

std::vector<std::int64_t> MessageRows::allIDs() {
    if (grouped_) return grouped_->allIDs(kMostSelected);
    return library_.ids(criterion_, search_, kMostSelected);
}

}  // namespace qs
