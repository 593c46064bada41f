#include "ViewerToolbar.h"

#include <algorithm>

#include "MainMenu.h"
#include "Models/Toolbar.h"
#include "ViewerObject.h"

namespace qs {
namespace {

// Plug-ins find their places by these identifiers.
struct ToolbarEntry {
    std::string_view identifier;
    const char* label;
    const char* toolTip;
    const char* image;
    const char* action;
};

constexpr ToolbarEntry kEntries[] = {
    {"showComposeWindow:", "New", "Write a new message", "compose", "showComposeWindow:"},
    {"replyMessage:", "Reply", "Reply to the sender", "reply", "replyMessage:"},
    {"replyAllMessage:", "Reply All", "Reply to the sender and all recipients", "replyAll", "replyAllMessage:"},
    {"forwardMessage:", "Forward", "Forward the message to somebody", "forward", "forwardMessage:"},
    {kToolbarSpace, "", "", "", ""},
    {"archiveMessages:", "Archive", "Move the selected messages to the archive", "archive", "archiveMessages:"},
    {"junkMessages:", "Junk", "Move the selected messages to the junk, or back from there", "junk", "junkMessages:"},
    {"deleteMessages:", "Trash", "Move the selected messages to the trash", "trash", "deleteMessages:"},
    {"FlaggedStatus", "Flag", "Flag the selected messages", "flag", "markAsFlagged:"},
    {kToolbarFlexibleSpace, "", "", "", ""},
    {"checkNewMail:", "Get Mail", "Look for new mail", "getMail", "checkNewMail:"},
};

std::vector<std::string> identifiers() {
    std::vector<std::string> identifiers;
    for (const ToolbarEntry& entry : kEntries)
        identifiers.emplace_back(entry.identifier);
    return identifiers;
}

std::shared_ptr<ToolbarItem> makeItem(const std::string& identifier) {
    const auto* entry = std::ranges::find(kEntries, identifier, &ToolbarEntry::identifier);
    if (entry == std::end(kEntries)) return nullptr;
    auto item = std::make_shared<ToolbarItem>(identifier);
    item->label = item->paletteLabel = entry->label;
    item->toolTip = entry->toolTip;
    item->imageName = entry->image;
    item->action = entry->action;
    if (identifier == "FlaggedStatus") item->menu = makeFlagMenu();
    return item;
}

}  // namespace

void addViewerToolbar(Class& cls) {
    cls.add(toolbar_delegate::defaultItemIdentifiers, [](HostObject&, Toolbar&) { return identifiers(); });
    cls.add(toolbar_delegate::allowedItemIdentifiers, [](HostObject&, Toolbar&) { return identifiers(); });
    cls.add(toolbar_delegate::itemForItemIdentifier,
            [](HostObject&, Toolbar&, const std::string& identifier, bool) { return makeItem(identifier); });
    cls.add(toolbar_delegate::validateToolbarItem, [](HostObject& self, ToolbarItem& item) {
        return dynamic_cast<ViewerObject&>(self).isValid(item.action, nullptr);
    });
}

void ViewerObject::makeToolbar() {
    auto toolbar = std::make_shared<Toolbar>("MessageViewer");
    window_->setToolbar(toolbar);
    toolbar->setDelegate(weak_from_this(), window_);
}

}  // namespace qs
