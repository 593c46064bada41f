#include "MessageJson.h"

#include <boost/json.hpp>
#include <map>
#include <optional>

#include "DeliveryService.h"
#include "Foundation/RunLoop.h"
#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "Mail/MessageHeaders.h"
#include "Mail/SenderName.h"
#include "MailApplication.h"
#include "MailEngine.h"
#include "MailSync.h"
#include "MainViewer.h"
#include "Mime/Addresses.h"
#include "Mime/MimeMessage.h"
#include "PeoplePictures.h"
#include "Viewer/Banner.h"
#include "Viewer/HeaderView.h"
#include "Viewer/ListDates.h"

namespace qs {

namespace json = boost::json;

namespace {

constexpr const char* kDeliveryStates[] = {"waiting", "sending", "failed", "inDoubt"};

// What some have already is changed no more.
bool canEdit(MailApplication& application, std::int64_t id, MailboxKind kind) {
    if (kind == MailboxKind::Drafts) return true;
    return kind == MailboxKind::Outbox && !application.engine().deliveries().status(id).reachedSome;
}

std::optional<json::value> deliveryOf(MailApplication& application, std::int64_t id, MailboxKind kind) {
    if (kind != MailboxKind::Outbox) return std::nullopt;
    return deliveryJson(application.engine().deliveries().status(id));
}

MailboxKind kindOf(MailApplication& application, const std::string& mailbox) {
    auto found = application.engine().library().mailboxWithIdentifier(mailbox);
    return found ? found->kind() : MailboxKind::User;
}

json::array addressesJson(const MessageHeaders& headers, std::string_view key) {
    json::array array;
    for (const auto& field : headers.allHeadersForKey(key))
        for (const auto& address : parseAddresses(field))
            array.emplace_back(address.display());
    return array;
}

json::array attachmentsJson(const MimeMessage& message) {
    json::array array;
    for (const auto& part : message.attachments())
        if (!part.isInline)
            array.push_back(json::object{
                {"part", part.part}, {"name", part.fileName}, {"type", part.mimeType}, {"size", part.size}});
    return array;
}

// Where a message lies is told when that is not where one is.
std::string placeElsewhere(MailApplication& application, const MessageSummary& summary) {
    const auto mailbox = application.engine().library().mailboxWithIdentifier(summary.mailbox);
    return mailbox && mailbox != application.viewer().mailbox() ? mailbox->displayName() : std::string();
}

json::array conversationJson(MailApplication& application) {
    json::array array;
    for (const ViewerRow& row : application.viewer().conversation()) {
        const MessageSummary& summary = row.summary;
        json::object model{{"id", summary.id},
                           {"from", senderDisplayName(summary.from)},
                           {"snippet", summary.snippet},
                           {"date", row.date},
                           {"dateLong", row.dateLong},
                           {"unread", !summary.flags.seen},
                           {"attachments", summary.attachments},
                           {"mailbox", placeElsewhere(application, summary)}};
        // Of whoever wrote it, as the name is; in a list the message may show whom it went to.
        const auto senders = parseAddresses(summary.from);
        if (auto person = personJson(senders.empty() ? MailAddress() : senders.front()); !person.is_null())
            model["person"] = std::move(person);
        array.push_back(std::move(model));
    }
    return array;
}

// The selected message, read apart once and kept while it stays selected: every redraw asks for it.
struct Parsed {
    std::int64_t id = 0;
    std::shared_ptr<MimeMessage> message;
};

std::shared_ptr<MimeMessage> parsedMessage(MailLibrary& library, std::int64_t id) {
    static Parsed last;
    if (last.id == id && last.message) return last.message;
    const auto content = library.openContent(id);
    if (!content) return nullptr;
    last = {id, MimeMessage::parse(*content)};
    return last.message;
}

// Of a message that is still at its server. Asking for its content has sent for it.
std::string waitingText(MailApplication& application, const std::string& mailbox) {
    const auto found = application.engine().library().mailboxWithIdentifier(mailbox);
    const auto account = found ? found->account() : nullptr;
    for (const SyncStatus& status : application.engine().sync().statuses())
        if (account && status.account == account->identifier() && status.state != SyncStatus::State::Idle &&
            status.state != SyncStatus::State::Working)
            return "This message is not here yet. It comes as soon as its server can be reached.";
    return "Loading…";
}

json::object buttonJson(const BannerButton& button) {
    json::object model{{"id", button.anchor()}, {"title", button.title}};
    if (button.isCheckBox) model["checked"] = button.isOn;
    if (!button.isEnabled) model["disabled"] = true;
    return model;
}

json::array bannersJson(const MainViewer& viewer) {
    json::array array;
    if (!viewer.banners()) return array;
    for (const auto& controller : viewer.banners()->displayed()) {
        json::array buttons;
        for (const auto& button : controller->buttons())
            if (!button->isHidden) buttons.push_back(buttonJson(*button));
        const auto& colour = junk_mail_banner::backgroundColor;
        json::object model{
            {"id", controller->view()->anchor()},
            {"image", controller->isIconHidden ? std::string() : controller->icon},
            {"text", controller->messageField.isHidden ? std::string() : controller->messageField.text},
            {"colour", colour.isAnsweredBy(*controller) ? colour(*controller).hexString() : std::string()},
            {"buttons", std::move(buttons)}};
        if (!controller->trailingField.isHidden && !controller->trailingField.text.empty())
            model["trailing"] =
                json::object{{"text", controller->trailingField.text}, {"late", controller->isTrailingFieldRed}};
        array.push_back(std::move(model));
    }
    return array;
}

json::object iconJson(const std::string& image, const std::string& label, int size) {
    return {{"image", image}, {"label", label}, {"size", size}};
}

// From left to right, as the page draws them.
json::array headerIconsJson(const MainViewer& viewer) {
    json::array array;
    if (!viewer.header()) return array;
    for (const auto& row : viewer.header()->belowDate)
        for (auto image = row->images.rbegin(); image != row->images.rend(); ++image)
            array.push_back(iconJson(image->image, image->label, image->size));
    return array;
}

}  // namespace

json::value deliveryJson(const DeliveryStatus& status) {
    json::object model{{"state", kDeliveryStates[static_cast<int>(status.state)]},
                       {"attempts", status.attempts},
                       {"lastAnswer", status.lastAnswer},
                       {"reachedSome", status.reachedSome}};
    if (status.until) model["until"] = untilText(*status.until, RunLoop::main().now());
    return model;
}

json::value rowJson(MailApplication& application, const ViewerRow& row) {
    const MessageSummary& summary = row.summary;
    json::array icons;
    for (const auto& icon : row.icons)
        icons.push_back(iconJson(icon.image, icon.label, icon.size));
    json::object model{{"id", row.id},
                       {"from", row.correspondent},
                       {"subject", summary.subject},
                       {"snippet", summary.snippet},
                       {"date", row.date},
                       {"dateLong", row.dateLong},
                       {"unread", !summary.flags.seen},
                       {"answered", summary.flags.answered},
                       {"forwarded", summary.flags.forwarded},
                       {"flagged", summary.flags.flagged},
                       {"colour", summary.flags.colour},
                       {"attachments", summary.attachments},
                       {"icons", std::move(icons)}};
    if (row.count > 1) {
        model["count"] = row.count;
        model["open"] = row.isOpen;
    }
    if (row.parent != 0) model["parent"] = row.parent;
    if (auto place = placeElsewhere(application, summary); !place.empty()) model["place"] = std::move(place);
    if (auto person = personJson(row.person); !person.is_null()) model["person"] = std::move(person);
    if (!row.colour.empty()) model["ground"] = row.colour;
    if (auto delivery = deliveryOf(application, summary.id, kindOf(application, summary.mailbox)))
        model["delivery"] = std::move(*delivery);
    return model;
}

json::value messageSection(MailApplication& application) {
    auto selected = application.viewer().selectedMessage();
    auto& library = application.engine().library();
    auto summary = selected ? library.summary(selected->libraryID()) : std::nullopt;
    if (!summary) return nullptr;
    auto parsed = parsedMessage(library, summary->id);
    const MailboxKind kind = kindOf(application, summary->mailbox);
    auto senders = parseAddresses(summary->from);
    json::object model{
        {"id", summary->id},
        {"subject", summary->subject},
        {"from", senderDisplayName(summary->from)},
        {"fromAddress", senders.empty() ? "" : senders.front().address},
        {"sender", senders.empty() ? "" : senders.front().display()},
        {"date", application.viewer().header() ? application.viewer().header()->dateView.text : std::string()},
        {"icons", headerIconsJson(application.viewer())},
        {"flags", json::object{{"unread", !summary->flags.seen},
                               {"flagged", summary->flags.flagged},
                               {"colour", summary->flags.colour}}},
        {"canEditDraft", canEdit(application, summary->id, kind)}};
    auto headers = parsed ? parsed->headers() : nullptr;
    for (const auto& [name, key] : {std::pair{"to", MCHeaderKeyTo}, {"cc", MCHeaderKeyCc}, {"bcc", MCHeaderKeyBcc}})
        model[name] = headers ? addressesJson(*headers, key) : json::array();
    model["banners"] = bannersJson(application.viewer());
    model["attachments"] = parsed ? attachmentsJson(*parsed) : json::array();
    if (!parsed && !summary->isFetched)
        model["waiting"] = waitingText(application, summary->mailbox);
    else if (!parsed)
        model["damaged"] = "This message's file can't be read.";
    else if (!parsed->damage().empty())
        model["damaged"] = parsed->damage();
    if (auto delivery = deliveryOf(application, summary->id, kind)) model["delivery"] = std::move(*delivery);
    model["conversation"] = conversationJson(application);
    return model;
}

}  // namespace qs
