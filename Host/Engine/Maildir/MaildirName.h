// The name of a message's file: a unique part, then ":2," and a letter for each flag (format:
// https://cr.yp.to/proto/maildir.html). The unique part stays, the letters come and go.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Date.h"

namespace qs {

class MaildirName {
public:
    explicit MaildirName(std::string_view fileName);

    const std::string& unique() const { return unique_; }
    const std::string& letters() const { return letters_; }  // sorted, each once; those that we don't know as well
    bool has(char letter) const { return letters_.find(letter) != std::string::npos; }
    MaildirName withLetters(std::string_view letters) const;
    // As a file name: with ":2," as soon as it had or has letters.
    std::string text() const;

    // A new unique part, different on every call in every process. It begins with the time, and so remembers it.
    static std::string newUnique(Date received);
    // The time in a unique part that newUnique() made; nothing for those of other programs, whose clocks may mean
    // another moment.
    static std::optional<Date> timeIn(std::string_view unique);
    // Whether this can be the unique part of a file: not empty, no "/", ":" or control character, no "." in front, not
    // too long.
    static bool isUsable(std::string_view unique);

private:
    std::string unique_, letters_;
    std::string rest_;  // what some programs put behind the letters
    bool hasInfo_ = false;
};

}  // namespace qs
