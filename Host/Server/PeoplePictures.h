// Pictures beside the names in lists, where the person wants them. A row brings whom it shows, with initials; the
// picture itself goes to the page once for each person, and only when it asks, as it does for the rows in view.
#pragma once

#include <boost/json/fwd.hpp>
#include <string>
#include <string_view>

namespace qs {

struct MailAddress;

// {"address", "initials"}; null when pictures are not wanted, or there is nobody.
boost::json::value personJson(const MailAddress& person);
// What pages are told when the picture of somebody is there, or is another one; empty when pictures are not wanted.
std::string pictureNotice(std::string_view address);

}  // namespace qs
