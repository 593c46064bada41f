// Address fields and headers editor.
#include "Compose/ComposeObjects.h"
#include "Models/ModelChanges.h"
#include "Platform.h"

namespace qs {
namespace {

constexpr int kLeading = 1;

std::shared_ptr<HeaderRow> makeRow(std::string identifier) {
    auto row = std::make_shared<HeaderRow>("ComposeHeaderRowView");
    row->identifier = std::move(identifier);
    return row;
}

}  // namespace

AddressFieldObject::AddressFieldObject(ChangeHandler changed)
    : AddressField("AddressTextField"), changed_(std::move(changed)) {}

void AddressFieldObject::setAddresses(std::vector<std::string> addresses) {
    if (addresses == addresses_) return;
    addresses_ = std::move(addresses);
    changed_();
}

// The host's own part of these operations is small: its rows are models, which the page draws as they come.
void HeadersEditorObject::defineClass() {
    ClassRegistry& registry = ClassRegistry::current();
    registry.define("AddressTextField");
    registry.define("ComposeHeaderRowView");
    registry.define("NSStackView");
    Class& editor = registry.define("HeadersEditor");
    editor.add(headers_editor::configureButtonsAndPopUps, [](HostObject&) { noteModelChange(); });
    editor.add(headers_editor::setHeaderRow, [](HostObject&, HeaderRow* row, bool toVisible, bool) {
        if (!row || row->visible == toVisible) return;
        row->visible = toVisible;
        noteModelChange();
    });
    const auto accountChanged = [](HostObject&, HostObject*) { noteModelChange(); };
    if (osMinor() >= 12) {
        editor.add(headers_editor::changeFromHeader, accountChanged);
        return;
    }
    editor.add(headers_editor::updateDeliveryAccountControl, accountChanged);
    const auto viewsChanged = [](HostObject&, StackView&, const headers_editor::StackViews&) { noteModelChange(); };
    editor.add(headers_editor::stackViewDidReattachViews, viewsChanged);
    editor.add(headers_editor::stackViewWillDetachViews, viewsChanged);
}

HeadersEditorObject::HeadersEditorObject(const ChangeHandler& changed)
    : HeadersEditor("HeadersEditor"),
      subjectStack_(std::make_shared<StackView>("NSStackView")),
      contentStack_(std::make_shared<StackView>("NSStackView")),
      statusRow_(makeRow("status")),
      to_(std::make_shared<AddressFieldObject>(changed)),
      cc_(std::make_shared<AddressFieldObject>(changed)),
      bcc_(std::make_shared<AddressFieldObject>(changed)) {
    statusRow_->visible = false;
}

void HeadersEditorObject::showStatusRow(bool visible) {
    if (visible == statusRow_->visible) return;
    const headers_editor::StackViews views{statusRow_};
    // Version 12 has no code of its own for these two; a plug-in may have added some.
    const auto& attached = headers_editor::stackViewDidReattachViews;
    const auto& detaching = headers_editor::stackViewWillDetachViews;
    if (!visible && detaching.isAnsweredBy(*this)) detaching(*this, *contentStack_, views);
    if (visible)
        contentStack_->addView(statusRow_, kLeading);
    else
        contentStack_->removeView(statusRow_);
    headers_editor::setHeaderRow(*this, statusRow_.get(), visible, true);
    if (visible && attached.isAnsweredBy(*this)) attached(*this, *contentStack_, views);
}

void HeadersEditorObject::accountDidChange(HostObject* sender) {
    for (const auto* operation : {&headers_editor::changeFromHeader, &headers_editor::updateDeliveryAccountControl})
        if (operation->isAnsweredBy(*this)) return (*operation)(*this, sender);
}

std::vector<ComposeRow> HeadersEditorObject::rows() const {
    std::vector<ComposeRow> rows;
    const auto addRows = [&](const StackView& stack, const char* place) {
        for (const auto& view : stack.views()) {
            auto row = std::dynamic_pointer_cast<HeaderRow>(view);
            if (!row || !row->visible) continue;
            const std::string identifier = row->identifier;
            rows.push_back({identifier, row == statusRow_ ? "status" : place, std::move(row)});
        }
    };
    addRows(*subjectStack_, "subject");
    addRows(*contentStack_, "content");
    return rows;
}

}  // namespace qs
