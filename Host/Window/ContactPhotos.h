// Pictures of the person's contacts, from their cards: drawn small, and those that were asked for last are kept.
//
// Cards come from anywhere, so a picture is decoded in the decoder's process, behind everybody's back: who asks first
// gets none, and PhotoAvailableNotification tells when it is there. Who asks later gets what is known, and when that is
// a minute old the card is read again. Main thread.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Date.h"

namespace qs {

class ContactPhotos : public std::enable_shared_from_this<ContactPhotos> {
public:
    explicit ContactPhotos(std::size_t mostKnown = 2000) : mostKnown_(mostKnown) {}
    // A data URL, a square; empty for none, or none yet.
    std::string of(std::string_view mailAddress);

private:
    struct Known {
        std::string picture;
        std::optional<TimeInterval> read;  // when the card was last looked at, as uptime
        std::uint64_t question = 0;        // the last one for it
    };
    struct Wanted {
        std::string address, contact;
    };
    Known& keep(const std::string& address);
    void forget(std::string address);
    void goOn();
    void take(const std::string& address, std::string picture);

    const std::size_t mostKnown_;
    std::uint64_t questions_ = 0;
    std::map<std::string, Known, std::less<>> known_;  // by address in lower case
    std::deque<Wanted> waiting_;                       // of those known, each once
    bool isReading_ = false;
};

}  // namespace qs
