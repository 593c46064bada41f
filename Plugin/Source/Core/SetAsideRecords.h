// What becomes of records that a rule deletes and not the person: they are kept beside the object store for a while,
// and the preferences have a table from which each can be brought back. Main thread.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Core/Store/RecoveryFolder.h"
#include "Models/Form.h"

namespace qs {

RecoveryFolder recoveredRecords();

// One kind of such records, in the person's words.
struct SetAsideKind {
    std::string_view entity;
    std::string identifier, label, imageName;            // of the table; the picture is each row's
    std::string cannotBringBack;                         // title of the alert that tells why not
    std::function<std::string()> obstacle;               // why none can be brought back now; empty when it can
    std::function<void(ManagedObject& record)> prepare;  // when it is made anew, before it is saved
    std::function<void()> wasBroughtBack;
};

// A sentence and the table; none while nothing of the kind was set aside.
std::vector<FormControl> setAsideControls(const SetAsideKind& kind);

}  // namespace qs
