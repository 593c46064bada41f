#include "MessageRows.h"

#include <algorithm>
#include <map>
#include <set>

#include "Foundation/Assertion.h"
#include "Foundation/RunLoop.h"
#include "ListDates.h"
#include "Mime/Addresses.h"
#include "Viewer/MessageListObjectProxy.h"

namespace qs {
namespace {

class RowProxy : public MessageListObjectProxy {
public:
    RowProxy(MailLibrary& library, const MessageSummary& summary, bool selected, Date now)
        : MessageListObjectProxy("MessageListObjectProxy"),
          library_(library),
          id_(summary.id),
          received_(summary.received),
          selected_(selected),
          now_(now) {}

    // Fetched only when somebody asks: most rows show what the summary tells.
    MessageRef message() const override {
        if (!message_) message_ = library_.messageWithID(id_);
        return message_;
    }
    bool selected() const override { return selected_; }
    std::string todayText(Date date) const override { return qs::todayText(date); }
    std::string dateText(Date date) const override { return dateWithTimeText(date, now_); }
    std::string hostDateString() const { return listDateText(received_, now_); }

private:
    MailLibrary& library_;
    std::int64_t id_;
    Date received_;
    bool selected_;
    Date now_;
    mutable MessageRef message_;
};

std::string namesIn(const std::string& field) {
    std::string names;
    for (const MailAddress& address : parseAddresses(field)) {
        if (!names.empty()) names += ", ";
        names += address.name.empty() ? address.address : address.name;
    }
    return names;
}

bool showsRecipients(MailboxKind kind) {
    return kind == MailboxKind::Sent || kind == MailboxKind::Drafts || kind == MailboxKind::Outbox;
}

// A row is drawn as far as its parts can be had: a fault in one of them must not empty the list.
ViewerRow drawRow(MailLibrary& library, const MessageSummary& summary, bool selected, MailboxKind kind, Date now) {
    ViewerRow row{.summary = summary};
    row.dateLong = longDateText(summary.received);
    row.correspondent = namesIn(showsRecipients(kind) ? summary.to : summary.from);
    const auto proxy = std::make_shared<RowProxy>(library, row.summary, selected, now);
    try {
        row.date = message_list_object_proxy::dateString(proxy);
        for (ListIcon& icon : message_list_object_proxy::flagImages(proxy))
            row.icons.push_back({std::move(icon.image), std::move(icon.label)});
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

std::vector<ViewerRow> drawnRows(MailLibrary& library, const std::vector<MessageSummary>& messages,
                                 const std::vector<std::int64_t>& selected) {
    const Date now = RunLoop::main().now();
    const std::set<std::int64_t> marked(selected.begin(), selected.end());
    std::map<std::string, MailboxKind> kinds;
    std::vector<ViewerRow> rows;
    for (const MessageSummary& summary : messages) {
        auto kind = kinds.find(summary.mailbox);
        if (kind == kinds.end()) {
            const auto mailbox = library.mailboxWithIdentifier(summary.mailbox);
            kind = kinds.emplace(summary.mailbox, mailbox ? mailbox->kind() : MailboxKind::User).first;
        }
        rows.push_back(drawRow(library, summary, marked.contains(summary.id), kind->second, now));
    }
    return rows;
}

void MessageRows::show(MessageCriterion criterion, std::string search) {
    criterion_ = std::move(criterion);
    search_ = std::move(search);
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

ListPage MessageRows::read(int offset, int limit) {
    ListPage page = library_.page(criterion_, search_, offset, limit, known_);
    if (!page.rows.empty()) known_ = {offset, page.rows.front().key};
    return page;
}

const ListPage& MessageRows::page() {
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
    rows_ = drawnRows(library_, page().rows, selected);
    return *rows_;
}

std::optional<int> MessageRows::rowOf(std::int64_t id) {
    const auto& rows = page().rows;
    const auto found = std::ranges::find(rows, id, &MessageSummary::id);
    if (found == rows.end()) return {};
    return offset_ + static_cast<int>(found - rows.begin());
}

std::optional<std::int64_t> MessageRows::idAt(int row) {
    if (row < 0 || row >= total()) return {};
    const auto& rows = page().rows;
    const int inWindow = row - offset_;
    if (inWindow >= 0 && inWindow < static_cast<int>(rows.size())) return rows[static_cast<std::size_t>(inWindow)].id;
    const ListPage one = read(row, 1);
    if (one.rows.empty()) return {};
    return one.rows.front().id;
}

std::vector<std::int64_t> MessageRows::allIDs() { return library_.ids(criterion_, search_, kMostSelected); }

}  // namespace qs
