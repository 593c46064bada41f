// The menu of a person whom a message names.
#pragma once

#include <memory>
#include <string_view>

#include "Models/Menu.h"

namespace qs {

class MailApplication;

// `person`: the display form, "Ada Lovelace <ada@example.org>". Main thread.
std::shared_ptr<Menu> makePersonMenu(MailApplication& application, std::string_view person);
void definePersonClass();  // "MailPerson", which its items act on

}  // namespace qs
