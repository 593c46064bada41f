// A message's row in the Direct Inbox, drawn from its dictionary: who wrote what, small pictures, and the buttons for
// what can be done. What is pressed later finds its row anew, as the list may have changed. Main thread.
#pragma once

#include <memory>
#include <string>

#include "DirectInbox/QSDirectInboxViewController.h"
#include "Models/RowList.h"

namespace qs {

class Menu;

class QSDirectInputMessageTableCellView : public HostObject {
public:
    // Class "QSDirectInputMessageTableCellView".
    QSDirectInputMessageTableCellView(const std::shared_ptr<QSDirectInboxViewController>& controller, std::string row);

    ListRow draw(const QSDirectInboxRow& row);  // the one of the identifier that it was made with
    // A menu item: its mode, or none when the row has that mode; sent to a viewer. Nothing for a tag above 7.
    void setFlagMode(HostObject* menuItem);
    void setFlagMode(std::uint32_t mode);  // takes it, and sends nothing

private:
    QSDirectInboxRow* objectValue() const;  // null when the row or the list is gone
    RowButton readButton(bool isRead);
    RowButton flagButton(std::uint32_t mode);
    RowButton segment(int tag, const char* title, std::string image);
    std::vector<std::vector<RowButton>> controls(const QSDirectInboxRow& row);
    std::shared_ptr<Menu> flagMenu(std::uint32_t mode);
    void showMode(Menu& menu, std::uint32_t mode) const;

    std::weak_ptr<QSDirectInboxViewController> controller_;
    std::string row_;
};

}  // namespace qs
