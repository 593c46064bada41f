// Models as the JSON that the page draws (Host/Page/src/protocol.ts), and values of the page's controls back.
#pragma once

#include <boost/json/fwd.hpp>
#include <memory>
#include <string>
#include <string_view>

#include "Foundation/Value.h"

namespace qs {

class MailApplication;
class Menu;
class Toolbar;
class Window;
struct FormControl;
struct FormModel;

boost::json::value toJson(const Value& value);
Value fromJson(const boost::json::value& json);

// Item ids are paths of indexes below `prefix`. Enabled states are asked of the application, freshly.
boost::json::value menuJson(MailApplication& application, const Menu& menu, const std::string& prefix = {});
boost::json::value toolbarJson(Toolbar& toolbar);
boost::json::value controlJson(const FormControl& control);
boost::json::value formJson(const FormModel& form);

// The menu item of that path; null for none.
std::shared_ptr<class MenuItem> menuItemAt(const Menu& menu, std::string_view path);

}  // namespace qs
