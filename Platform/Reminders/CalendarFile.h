// A calendar file with to-dos (RFC 5545, VTODO): what it says, and the file after a change. Private to this folder.
// Thread-safe.
//
// Reading is lenient: what can't be understood is passed over. Changing touches the lines of what changes and no
// others, so that nothing is lost of what other programs keep in the file.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Result.h"
#include "Reminders/ToDo.h"

namespace qs {

struct CalendarContent {
    std::vector<ToDo> toDos;  // without their list; those that have no identifier are left out
    bool isBroken = false;    // there is something in it that is no calendar
};
// Due dates without a time of day are the day's start in the default time zone.
CalendarContent readCalendar(std::string_view bytes);

std::string newCalendar(const ToDo& toDo, Date now);
// The file with the to-do as it shall be; the same text when that says nothing new. Fails when it isn't there.
Result<std::string> changedCalendar(std::string_view bytes, const ToDo& wanted, Date now);
// Empty when nothing else is left in it, neither another to-do nor anything of another kind.
Result<std::string> calendarWithout(std::string_view bytes, std::string_view identifier);

}  // namespace qs
