// The sheet in which a person adds or changes an account, step by step: who they are, what was found or is asked, the
// test at the servers, the saving. Main thread; lives as long as its sheet.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Accounts/SettingsDiscovery.h"

namespace qs {

class MailEngine;
class Window;
struct AccountRecord;

struct AccountSheetOptions {
    DiscoveryPorts discovery = DiscoveryPorts::system();
    // With the account's identifier, after it was saved.
    std::function<void(const std::string&)> saved = {};
};

void addAccountInSheet(MailEngine& engine, Window& window, AccountSheetOptions options = {});
void changeAccountInSheet(MailEngine& engine, Window& window, const AccountRecord& account,
                          AccountSheetOptions options = {});

}  // namespace qs
