// Rows of the list and the selected message as JSON.
#pragma once

#include <boost/json/fwd.hpp>

namespace qs {

class MailApplication;
struct DeliveryStatus;
struct ViewerRow;

boost::json::value rowJson(MailApplication& application, const ViewerRow& row);
boost::json::value deliveryJson(const DeliveryStatus& status);
boost::json::value messageSection(MailApplication& application);  // null unless exactly one message is selected

}  // namespace qs
