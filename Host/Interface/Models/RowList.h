// A list in a popover as plain data: rows with a picture and some lines of text, headings over them, and what can be
// done with each. The page draws any such list and tells which button of which row was pressed.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Runtime.h"
#include "Viewer/MessageListObjectProxy.h"

namespace qs {

class Menu;

struct RowButton {
    std::string id;           // unique in its row
    std::string title;        // told, or shown where there is no picture
    std::string imageName;    // may be empty
    std::string colour = {};  // "#AABBCC", of the picture or of what is uncovered by a swipe; empty: the page's own
    std::optional<bool> isOn = {};  // a switch, which is pressed to change it
    bool isDestructive = false;
    bool isForPointedAt = false;      // in sight only while the row is pointed at or has the focus
    std::shared_ptr<Menu> menu = {};  // drops down in place of the action
    std::function<void()> action = {};
};

struct ListRow {
    enum class Kind {
        Heading,  // title and detail in a line
        Item,
        Note,  // a quiet line of text
    };
    Kind kind = Kind::Item;
    std::string id;            // unique in the list, and the same for the same thing after a change
    double height = 0;         // points, at least
    std::string picture = {};  // a data URL; empty: none
    std::string title, detail = {}, text = {};
    int textLines = 0;  // of `text`, at most
    std::string date = {}, dateLong = {};
    bool isUnread = false, isImportant = false;
    std::vector<ListIcon> icons = {};
    std::vector<RowButton> marks = {};                   // always in sight
    std::vector<std::vector<RowButton>> controls = {};   // in groups; while the row is pointed at or has the focus
    std::vector<RowButton> leading = {}, trailing = {};  // uncovered by a swipe from that edge
    std::function<void()> onOpen = {};                   // a double click, or Return
};

struct RowList {
    std::string title;           // told, not shown
    std::vector<RowButton> bar;  // above the rows
    std::vector<ListRow> rows;
    std::vector<std::shared_ptr<HostObject>> cells;  // kept as long as the list: targets of its menus

    // A button of that row, or with an empty row of the bar; null for none.
    const RowButton* button(std::string_view row, std::string_view button) const;
    const ListRow* row(std::string_view id) const;
};

}  // namespace qs
