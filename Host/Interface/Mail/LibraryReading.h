// Whether the library of the running host knows all that lies in its mailboxes. A library that reads them by and by
// says so by this interface.
#pragma once

namespace qs {

class LibraryReading {
public:
    virtual ~LibraryReading() = default;
    // False while the index is made or brought up to date: messages may be missing that lie in mailboxes. From every
    // thread.
    virtual bool isReadIn() const = 0;
    // Of Library::shared(). False without one.
    static bool isOver();
};

}  // namespace qs
