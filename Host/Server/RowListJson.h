// Lists in popovers as the JSON that the page draws.
#pragma once

#include <boost/json/fwd.hpp>

namespace qs {

struct RowList;

boost::json::value rowListJson(const RowList& list);

}  // namespace qs
