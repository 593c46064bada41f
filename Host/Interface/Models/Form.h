// A dialog or preference pane as plain data: groups of labelled controls. The page draws any form and sends back which
// control got which value; the owner's handlers do the rest. Used for sheets, preference panes and account dialogs.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/Date.h"
#include "Foundation/Value.h"

namespace qs {

// A word with a picture before it.
struct FormFact {
    std::string imageName, text;
};

struct FormOption {
    std::string title;
    Value value;
    std::string imageName;
    bool separator = false;
    std::vector<std::string> controls = {};  // Radio: ids of controls of the same group that stand in the option's line
    // List: a second line, and a word about the state with the colour ("#AABBCC") that goes with it.
    std::string detail = {}, state = {}, stateColor = {};
    std::vector<FormFact> facts = {};  // Table: what stands between the title and the detail
};

struct FormControl {
    enum class Kind {
        Text,       // a sentence; `value` is the text
        TextField,  // string
        Secret,     // string, never sent to the page with a value
        Number,     // integer or real, with minimum, maximum, step
        CheckBox,   // boolean
        PopUp,      // one of options
        Segmented,  // one of options, shown side by side
        Radio,      // one of options, one below the other
        DateTime,   // date
        TimeOfDay,  // date of which hour and minute count, in the default time zone
        Shortcut,   // dictionary: key combination ("characters", "modifierFlags")
        TextList,   // array of strings
        Tokens,     // array of strings, each a small label; options are what can be completed
        RichText,   // HTML of a text that is edited; what comes from the page is made safe before onChange
        List,       // options as rows with pictures; the value is the array of those that are selected
        Table,      // options as rows to read; onChange is the click on a row's button and gets the row's value
        Button,     // no value; onChange is the click
        Separator,
    };
    Kind kind = Kind::Text;
    std::string id;  // unique within the form
    std::string label, toolTip, placeholder;
    std::string error = {};  // what is wrong with the value, told next to it
    Value value;
    bool enabled = true, hidden = false;
    std::vector<FormOption> options;
    double minimum = 0, maximum = 0, step = 1;  // for Number; maximum 0 is none
    std::optional<Date> earliest;               // for DateTime: the first that can be chosen
    std::string unit;                           // shown after a number: "seconds"
    std::vector<std::string> controls = {};     // List: ids of controls of the same group that stand below it in a row
    std::string rowButton = {}, rowButtonImage = {};  // Table: what each row's button is called; empty: none
    std::function<void(const Value&)> onChange;
};

struct FormGroup {
    std::string title, note;
    std::vector<FormControl> controls;
};

struct FormButton {
    std::string title;
    int code = 0;            // what the sheet ends with; ignored where `action` is set
    bool isDefault = false;  // Return
    bool isCancel = false;   // Escape
    bool enabled = true;
    std::function<void()> action;
};

struct FormModel {
    std::string identifier, title, message;
    std::vector<FormGroup> groups;
    std::vector<FormButton> buttons;
    std::string firstResponder = {};  // the control that gets the keys when the form is shown; empty: the first
    // A sheet that is shown anew, by another identifier, with more of them than before shakes its head: what was
    // entered was not accepted.
    int refusals = 0;
    std::string shownGroup = {};  // the title of a group that is brought into sight; empty: none

    FormControl* control(std::string_view id);  // null for none
};

}  // namespace qs
