#include "PageState.h"

#include <boost/json.hpp>
#include <map>
#include <set>

#include "AccountBook.h"
#include "Application/EventMonitors.h"
#include "Compose/HeadersEditor.h"
#include "ComposeWindow.h"
#include "DeliveryService.h"
#include "HostSettings.h"
#include "MailApplication.h"
#include "MailEngine.h"
#include "MailReading.h"
#include "MailSync.h"
#include "MainViewer.h"
#include "MessageJson.h"
#include "ModelJson.h"
#include "Models/Alert.h"
#include "Models/Popover.h"
#include "Models/StatusItem.h"
#include "Models/Toolbar.h"
#include "Models/View.h"
#include "PreferencesWindow.h"
#include "RowListJson.h"
#include "SyncJson.h"

namespace qs {

namespace json = boost::json;

namespace {

constexpr const char* kMailboxKinds[] = {"inbox", "drafts", "outbox", "sent", "archive", "junk", "trash", "user"};
constexpr const char* kVersion = "1.0.0";

json::array strings(const std::vector<std::string>& texts) {
    json::array array;
    for (const auto& text : texts)
        array.emplace_back(text);
    return array;
}

void addSheet(json::object& model, const Window* window) {
    if (auto sheet = window ? window->currentSheet() : nullptr) model["sheet"] = formJson(*sheet);
}

json::value appSection(MailApplication& application) {
    json::array notices;
    for (const auto& notice : application.notices())
        notices.push_back(json::object{{"id", notice.id}, {"text", notice.text}});
    return json::object{{"title", "Quillstead Mail"},
                        {"icon", application.applicationIconImage()},
                        {"notices", std::move(notices)},
                        {"waiting", application.engine().deliveries().waitingCount()},
                        {"version", kVersion},
                        {"watchesModifiers", EventMonitors::current().isAnyFor(kFlagsChangedMask)},
                        {"notifies", notifiesOfNewMail()}};
}

// The mailboxes of an account as a tree: names parted at their levels, and a row for each level that is no mailbox
// itself.
json::array mailboxTree(MailApplication& application, const std::string& account) {
    json::array rows;
    std::set<std::string> paths;
    for (const auto& mailbox : application.engine().library().mailboxes(account)) {
        if (!application.listsMailbox(*mailbox)) continue;
        const std::string path = mailbox->displayName();
        int depth = 0;
        std::size_t begin = 0;
        for (std::size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', begin)) {
            const std::string above = path.substr(0, slash);
            if (paths.insert(above).second)
                rows.push_back(json::object{{"id", account + "//" + above},
                                            {"name", above.substr(begin)},
                                            {"path", above},
                                            {"kind", "group"},
                                            {"depth", depth},
                                            {"badge", 0},
                                            {"image", ""},
                                            {"takesDrops", false},
                                            {"unread", 0},
                                            {"count", 0}});
            begin = slash + 1;
            ++depth;
        }
        paths.insert(path);
        const MailboxRow row = application.rowOfMailbox(*mailbox);
        rows.push_back(json::object{{"id", mailbox->identifier()},
                                    {"name", path.substr(begin)},
                                    {"path", path},
                                    {"kind", kMailboxKinds[static_cast<int>(mailbox->kind())]},
                                    {"depth", depth},
                                    {"badge", row.badge},
                                    {"image", row.image},
                                    {"takesDrops", row.takesDrops},
                                    {"unread", mailbox->unreadCount()},
                                    {"count", mailbox->messageCount()}});
    }
    return rows;
}

json::value accountsSection(MailApplication& application) {
    json::array accounts;
    std::map<std::string, json::value> syncs;
    for (const SyncStatus& status : application.engine().sync().statuses())
        syncs[status.account] = syncJson(status, RunLoop::main().now());
    for (const auto& record : application.engine().accounts().inUse()) {
        json::object account{{"id", record.identifier},
                             {"name", record.displayName},
                             {"address", record.mainAddress()},
                             {"mailboxes", mailboxTree(application, record.identifier)}};
        json::value line =
            readingJson(MailReading::of(application.engine().library()).readingProgress(record.identifier));
        if (line.is_null()) line = std::move(syncs[record.identifier]);
        if (!line.is_null()) account["sync"] = std::move(line);
        accounts.push_back(std::move(account));
    }
    return accounts;
}

const char* emptyText(MailApplication& application) {
    if (!application.viewer().searchText().empty()) return "Nothing found.";
    if (!application.engine().accounts().all().empty()) return "No messages here.";
    return "There is no account yet. To add one, choose “Add Account…” in the File menu.";
}

json::value listSection(MailApplication& application) {
    auto& viewer = application.viewer();
    auto mailbox = viewer.mailbox();
    json::array rows, selected;
    for (const auto& row : viewer.rows())
        rows.push_back(rowJson(application, row));
    for (const auto id : viewer.selectedIDs())
        selected.push_back(id);
    json::object model{{"mailbox", mailbox ? mailbox->identifier() : ""},
                       {"title", viewer.title()},
                       {"total", viewer.total()},
                       {"more", viewer.hasMore()},
                       {"offset", viewer.offset()},
                       {"rows", std::move(rows)},
                       {"selected", std::move(selected)},
                       {"search", viewer.searchText()},
                       {"emptyText", emptyText(application)}};
    if (showsContactPhotos()) model["pictures"] = true;
    if (const auto conversations = viewer.conversations()) model["conversations"] = *conversations;
    return model;
}

json::value viewerSection(MailApplication& application) {
    auto& viewer = application.viewer();
    json::object model{{"selectedCount", viewer.selectedIDs().size()}};
    auto toolbar = viewer.toolbar();
    model["toolbar"] = toolbar ? toolbarJson(*toolbar) : json::array();
    addSheet(model, viewer.window().get());
    if (const auto move = viewer.lastMove())
        model["lastMove"] = json::object{{"number", move->number}, {"text", move->text}};
    return model;
}

json::array attachmentsJson(const std::vector<ComposeAttachment>& attachments) {
    json::array array;
    for (const auto& attachment : attachments)
        array.push_back(json::object{{"id", attachment.identifier},
                                     {"name", attachment.fileName},
                                     {"type", attachment.mimeType},
                                     {"size", attachment.size},
                                     {"inline", attachment.isInline}});
    return array;
}

json::array rowsJson(const std::vector<ComposeRow>& rows) {
    json::array array;
    for (const auto& row : rows) {
        if (!row.row || !row.row->visible) continue;
        json::array controls;
        for (const auto& control : row.row->controls)
            controls.push_back(controlJson(control));
        array.push_back(
            json::object{{"identifier", row.identifier}, {"place", row.place}, {"controls", std::move(controls)}});
    }
    return array;
}

json::value composeJson(ComposeWindow& compose, const json::array& accounts) {
    auto window = compose.window();
    json::object model{{"window", window->identifier()},
                       {"title", compose.title()},
                       {"accounts", accounts},
                       {"account", compose.sender()},
                       {"to", strings(compose.to())},
                       {"cc", strings(compose.cc())},
                       {"bcc", strings(compose.bcc())},
                       {"subject", compose.subject()},
                       {"bodyHtml", compose.bodyHtml()},
                       {"bodyRevision", compose.bodyRevision()},
                       {"plainText", compose.isPlainText()},
                       {"attachments", attachmentsJson(compose.attachments())},
                       {"rows", rowsJson(compose.extraRows())},
                       {"status", compose.statusText()},
                       {"busy", compose.isBusy()}};
    auto toolbar = window->toolbar();
    model["toolbar"] = toolbar ? toolbarJson(*toolbar) : json::array();
    addSheet(model, window.get());
    return model;
}

json::value composeSection(MailApplication& application) {
    json::array accounts, windows;
    for (const auto& record : application.engine().accounts().inUse())
        for (const MailIdentity& each : record.identities)
            accounts.push_back(json::object{
                {"id", each == record.identities.front() ? record.identifier : record.identifier + "/" + each.address},
                {"label", each.name + " <" + each.address + ">"}});
    for (const auto& window : application.composeWindows())
        windows.push_back(composeJson(*window, accounts));
    return windows;
}

json::value takenSection(MailApplication& application) {
    json::array messages;
    for (const auto& status : application.engine().deliveries().taken())
        messages.push_back(json::object{{"uniqueID", status.uniqueID},
                                        {"subject", status.subject},
                                        {"to", status.to},
                                        {"delivery", deliveryJson(status)}});
    return messages;
}

json::value alertsSection(MailApplication&) {
    json::array alerts;
    for (const Alert* alert : AlertCentre::shared().shown()) {
        json::object model{{"id", alert->identifier},
                           {"window", alert->windowIdentifier},
                           {"title", alert->messageText},
                           {"text", alert->informativeText},
                           {"icon", alert->iconName},
                           {"buttons", strings(alert->buttons)},
                           {"cancel", alert->cancelButtonIndex()}};
        if (alert->buttons.empty()) model["buttons"] = json::array{"OK"};
        if (alert->showsSuppressionButton) model["suppression"] = alert->suppressionState;
        alerts.push_back(std::move(model));
    }
    return alerts;
}

json::value popoversSection(MailApplication&) {
    json::array popovers;
    for (const Popover* popover : Popover::allShown()) {
        const auto& content = popover->content;
        json::object model{{"identifier", popover->identifier()},      {"anchor", popover->positioningView()->anchor()},
                           {"edge", popover->preferredEdge()},         {"text", content.text},
                           {"buttons", strings(content.buttonTitles)}, {"buttonIcons", strings(content.buttonIcons)}};
        if (!content.imageName.empty()) model["image"] = content.imageName;
        if (!content.countdownText.empty()) model["countdown"] = content.countdownText;
        if (content.form) model["form"] = formJson(*content.form);
        if (content.list) model["list"] = rowListJson(*content.list);
        popovers.push_back(std::move(model));
    }
    return popovers;
}

json::value preferencesSection(MailApplication& application) {
    auto& preferences = application.preferences();
    auto window = preferences.preferenceWindow();
    const bool visible = window && window->isVisible();
    json::array modules;
    for (const auto& module : preferences.modules())
        modules.push_back(json::object{{"name", module.name}, {"image", module.imageName}});
    json::object model{
        {"visible", visible}, {"modules", std::move(modules)}, {"selected", preferences.selectedModule()}};
    if (auto form = visible ? preferences.form() : nullptr) model["form"] = formJson(*form);
    if (visible) addSheet(model, window.get());
    return model;
}

json::value statusSection(MailApplication&) {
    json::array items;
    for (const auto& item : StatusBar::systemStatusBar().statusItems())
        items.push_back(
            json::object{{"id", item->identifier()}, {"title", item->title()}, {"image", item->imageName()}});
    return items;
}

struct Section {
    const char* name;
    json::value (*make)(MailApplication&);
};

constexpr Section kSections[] = {
    {"app", appSection},
    {"menu", [](MailApplication& application) { return menuJson(application, *application.mainMenu()); }},
    {"accounts", accountsSection},
    {"list", listSection},
    {"message", messageSection},
    {"viewer", viewerSection},
    {"compose", composeSection},
    {"taken", takenSection},
    {"alerts", alertsSection},
    {"popovers", popoversSection},
    {"status", statusSection},
    {"preferences", preferencesSection},
};

}  // namespace

PageSections makePageSections(MailApplication& application, const PageSections& before) {
    PageSections result;
    for (const Section& section : kSections) {
        std::string text = json::serialize(section.make(application));
        const auto former = before.find(section.name);
        result[section.name] = former != before.end() && *former->second == text
                                   ? former->second
                                   : std::make_shared<const std::string>(std::move(text));
    }
    return result;
}

std::string updateFor(PageSections& seen, const PageSections& now) {
    std::string changed;
    for (const auto& [name, text] : now) {
        auto& last = seen[name];
        if (last == text) continue;
        last = text;
        changed += (changed.empty() ? "\"" : ",\"") + name + "\":" + *text;
    }
    return changed.empty() ? changed : "{\"type\":\"update\",\"sections\":{" + changed + "}}";
}

}  // namespace qs
