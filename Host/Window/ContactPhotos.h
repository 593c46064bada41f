// Pictures of the person's contacts, from their cards: drawn small, once, and kept for as long as the program runs.
//
// Cards come from anywhere, so a picture is decoded in the decoder's process, behind everybody's back: who asks first
// gets none, and PhotoAvailableNotification tells when it is there. Cards are read again now and then. Main thread.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "Foundation/Date.h"

namespace qs {

class ContactPhotos : public std::enable_shared_from_this<ContactPhotos> {
public:
    // A data URL, a square; empty for none, or none yet.
    std::string of(std::string_view mailAddress);

private:
    struct Known {
        std::string picture;
        Date asked;  // when the card was last looked at
    };
    struct Wanted {
        std::string address, contact;
    };
    void goOn();
    void take(const std::string& address, std::string picture);

    std::map<std::string, Known, std::less<>> known_;  // by address in lower case
    std::deque<Wanted> waiting_;
    bool isReading_ = false;
};

}  // namespace qs
