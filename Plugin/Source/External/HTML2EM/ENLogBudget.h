// Lets the first lines about one document into the log and counts the others: a broken or hostile mail has faults by
// the thousand, and the log has other readers.
#pragma once

#include <string>

#include "Foundation/Format.h"
#include "Foundation/Log.h"

namespace qs {

class ENLogBudget {
public:
    ENLogBudget() = default;
    ENLogBudget(const ENLogBudget&) = delete;
    ENLogBudget& operator=(const ENLogBudget&) = delete;
    ~ENLogBudget() {
        if (leftOut_ > 0) logInfo(stringWithFormat("%lu more lines of this kind were left out", {leftOut_}));
    }

    // Whether a line may still be written; to be asked once for each, before it is put together.
    bool allows() {
        if (left_ == 0) {
            ++leftOut_;
            return false;
        }
        --left_;
        return true;
    }

private:
    int left_ = 20;
    int leftOut_ = 0;
};

}  // namespace qs
