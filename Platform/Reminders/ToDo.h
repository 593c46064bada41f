// A to-do and the list that holds it, as programs for tasks know them. Plain data.
#pragma once

#include <optional>
#include <string>

#include "Foundation/Date.h"

namespace qs {

struct ToDo {
    std::string identifier, listIdentifier;  // of a new one, the identifier that it shall have
    std::string title, notes, url;           // empty: none
    std::optional<Date> due;                 // also the moment at which it rings
    int priority = 0;                        // 1 highest to 9 lowest; 0: none
    bool isCompleted = false;
    std::optional<Date> completionDate;

    friend bool operator==(const ToDo&, const ToDo&) = default;
};

struct ToDoSource {
    enum class Kind { Local = 0, Exchange = 1, CalDav = 2 };
    std::string identifier;  // empty: the machine itself
    std::string title;
    Kind kind = Kind::Local;
};

struct ToDoList {
    std::string identifier, title;
    ToDoSource source;
    bool allowsContentModifications = true;
};

}  // namespace qs
