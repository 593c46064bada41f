// Reads any bytes as a calendar file, and changes each of its to-dos: nothing crashes, what is asked for can be read
// afterwards, and the file grows by the lines that were written and loses none of another to-do.
#include <cstdlib>
#include <string>

#include "Reminders/CalendarFile.h"
#include "Reminders/CalendarLines.h"
#include "Text/Utf8.h"

namespace {

void demand(bool isTrue) {
    if (!isTrue) std::abort();
}

void changeAndLook(std::string_view file, const qs::ToDo& toDo) {
    qs::ToDo wanted = toDo;
    wanted.title = "Changed; title";
    wanted.isCompleted = !toDo.isCompleted;
    wanted.completionDate.reset();
    wanted.due = qs::Date{1'700'000'000};
    const auto changed = qs::changedCalendar(file, wanted, {1'600'000'000});
    if (!changed) return;  // the two readers see another to-do by that name, or none
    bool isThere = false;
    for (const qs::ToDo& each : qs::readCalendar(*changed).toDos)
        isThere = isThere || (each.identifier == wanted.identifier && each.title == wanted.title &&
                              each.isCompleted == wanted.isCompleted && each.due == wanted.due);
    demand(isThere);
    demand(qs::changedCalendar(*changed, wanted, {1'600'000'000}).has_value());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    const std::string_view file{reinterpret_cast<const char*>(bytes), size};
    demand(qs::CalendarLines(file).text() == file);
    const auto content = qs::readCalendar(file);
    int looks = 0;
    for (const qs::ToDo& toDo : content.toDos) {
        demand(!toDo.identifier.empty() && qs::isValidUtf8(toDo.title) && qs::isValidUtf8(toDo.notes));
        demand(toDo.priority >= 0 && toDo.priority <= 9);
        if (++looks > 4) break;
        changeAndLook(file, toDo);
        (void)qs::calendarWithout(file, toDo.identifier);
    }
    return 0;
}
