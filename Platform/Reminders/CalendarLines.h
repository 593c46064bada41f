// A calendar file as lines, for changing a few of a to-do's properties: everything else in the file stays as it is,
// byte for byte, whatever other programs have put there. Format: RFC 5545 section 3.1. Private to this folder.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qs {

class CalendarLines {
public:
    // Any bytes; text() gives them back.
    explicit CalendarLines(std::string_view text);

    // Puts the cursor on the to-do of that identifier, on the series rather than one of its repetitions. False when
    // there is none, or none that ends. What follows works on that to-do.
    bool find(std::string_view identifier);
    bool has(std::string_view property) const;
    // `line` is a whole line, "DUE;VALUE=DATE:20260101", not folded and without its end; it takes the place of all
    // lines of that property, or comes behind the last property.
    void set(std::string_view property, std::string_view line);
    void drop(std::string_view property);
    // Adds lines at the end of every alarm that rings at a fixed moment, has a URL of that scheme and lacks `property`.
    void addToAlarms(std::string_view urlScheme, std::string_view property, std::string_view line);
    // Takes lines of that property out of the alarm with exactly that trigger line; false when there is no such alarm.
    bool reviveAlarm(std::string_view triggerLine, std::string_view property);
    // The lines of a component, from BEGIN to END, at the end of the to-do.
    void addComponent(const std::vector<std::string>& lines);
    void remove();  // the to-do, with the repetitions that were changed

    bool hasOthers() const;  // components beside the calendar's frame, of any kind, broken ones too
    std::string text() const;

private:
    struct Line {
        std::string raw;   // as it stands, with its ends and folds
        std::string name;  // in capitals; empty for what is no property
        std::string value() const;
        std::string unfolded() const;
        bool is(std::string_view property, std::string_view value) const;
    };
    struct Range {
        std::size_t begin = 0, end = 0;  // of the line BEGIN, and behind the line END
    };
    std::vector<Range> componentsIn(Range range, std::string_view kind) const;
    std::vector<std::size_t> propertiesOf(Range component) const;
    std::optional<std::string> valueOf(Range component, std::string_view property) const;
    bool isOf(Range toDo, std::string_view identifier) const;
    Line made(std::string_view line) const;
    void insert(std::size_t at, std::string_view line);
    void erase(std::size_t begin, std::size_t end);

    std::vector<Line> lines_;
    std::string lineEnd_ = "\r\n";
    Range toDo_;
    std::string identifier_;
};

}  // namespace qs
