#include "PeoplePictures.h"

#include <boost/json.hpp>

#include "Calls.h"
#include "ContactPictures.h"
#include "HostSettings.h"
#include "Mime/Addresses.h"
#include "Text/Ascii.h"

namespace qs {

namespace json = boost::json;

namespace {

constexpr std::size_t kMostAsked = 200;  // more than a page has rows in view

// Those that are not there yet are told later.
json::value picturesOf(CallContext&, const json::object& args) {
    const auto addresses = arguments::texts(args, "addresses");
    if (addresses.size() > kMostAsked) throw CallRefused("The page asked for too many pictures at once.");
    json::object pictures;
    for (const std::string& address : addresses)
        pictures[address] = showsContactPhotos() ? pictureOfPerson(address) : std::string();
    return json::object{{"pictures", std::move(pictures)}};
}

}  // namespace

json::value personJson(const MailAddress& person) {
    if (!showsContactPhotos() || (person.address.empty() && person.name.empty())) return nullptr;
    return json::object{{"address", asciiLowered(person.address)},
                        {"initials", initialsOfPerson(person.shownName())}};
}

std::string pictureNotice(std::string_view address) {
    if (!showsContactPhotos() || address.empty()) return {};
    return json::serialize(json::object{{"type", "picture"}, {"address", address}});
}

void addPeopleCalls(CallTable& table) { table["people.pictures"] = picturesOf; }

}  // namespace qs
