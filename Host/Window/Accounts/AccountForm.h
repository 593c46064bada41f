// The forms in which an account is added and changed, as models.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Accounts/AccountDraft.h"
#include "Models/Form.h"

namespace qs {

struct AccountFormState {
    std::shared_ptr<AccountDraft> draft;
    DraftFaults faults;
    std::string progress;  // what is under way; empty for nothing
    // Called when what is shown depends on what was just chosen.
    std::function<void()> rebuild;
};

// Who the person is, or which folder it is.
std::vector<FormGroup> personGroups(const AccountFormState& state);
// The servers; for an account that is there already also its name and its senders.
std::vector<FormGroup> serverGroups(const AccountFormState& state);

}  // namespace qs
