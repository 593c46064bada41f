// The header fields of a compose window. Rows and their extra controls are models: a plug-in adds controls to the
// stacks, the page draws them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Foundation/Runtime.h"
#include "Models/Form.h"

namespace qs {

class ComposeController;
class HeadersEditor;

class HeaderRow : public HostObject {
public:
    using HostObject::HostObject;  // class "ComposeHeaderRowView"
    std::string identifier;
    bool visible = true;
    std::vector<FormControl> controls;  // drawn side by side
};

class StackView : public HostObject {
public:
    using HostObject::HostObject;  // class "NSStackView"
    struct Entry {
        std::shared_ptr<HostObject> view;
        int gravity = 1;  // 1 leading, 2 centre, 3 trailing
    };
    const std::vector<Entry>& entries() const { return entries_; }
    std::vector<std::shared_ptr<HostObject>> views() const;
    void addView(std::shared_ptr<HostObject> view, int inGravity);
    void removeView(const std::shared_ptr<HostObject>& view);

private:
    std::vector<Entry> entries_;
};

// A field of addresses: display forms, "Ada Lovelace <ada@example.org>".
class AddressField : public HostObject {
public:
    using HostObject::HostObject;  // class "AddressTextField"
    virtual std::vector<std::string> addresses() const = 0;
    virtual void setAddresses(std::vector<std::string> addresses) = 0;
};

class HeadersEditor : public HostObject {
public:
    using HostObject::HostObject;  // class "HeadersEditor"

    // composeViewController on OS minor 11 and up, documentEditor below; null while the editor isn't in a window.
    virtual std::shared_ptr<ComposeController> composeController() const = 0;
    virtual std::shared_ptr<StackView> subjectStack() const = 0;
    virtual std::shared_ptr<StackView> contentStack() const = 0;
    virtual std::shared_ptr<HeaderRow> statusRow() const = 0;
    virtual std::shared_ptr<AddressField> toField() const = 0;
    virtual std::shared_ptr<AddressField> ccField() const = 0;
    virtual std::shared_ptr<AddressField> bccField() const = 0;
    virtual std::string subject() const = 0;
};

namespace headers_editor {  // exchangeable
inline const Operation<void()> configureButtonsAndPopUps{"configureButtonsAndPopUps"};
inline const Operation<void(HeaderRow* row, bool toVisible, bool animate)> setHeaderRow{
    "_setHeaderRow:toVisible:animate:"};
using StackViews = std::vector<std::shared_ptr<HostObject>>;
inline const Operation<void(StackView& stackView, const StackViews& views)> stackViewDidReattachViews{
    "stackView:didReattachViews:"};
inline const Operation<void(StackView& stackView, const StackViews& views)> stackViewWillDetachViews{
    "stackView:willDetachViews:"};
inline const Operation<void(HostObject* sender)> updateDeliveryAccountControl{"updateDeliveryAccountControl:"};  // < 12
inline const Operation<void(HostObject* sender)> changeFromHeader{"changeFromHeader:"};  // 12 and up
}  // namespace headers_editor

}  // namespace qs
