// What was asked of whom to leave newsletters, and what they said: kept for the person to look at. Main thread.
#pragma once

#include <string>
#include <vector>

#include "Foundation/Date.h"

namespace qs {

struct UnsubscribeStep {
    Date date;
    std::string newsletter;  // its sender's name; may be empty
    std::string asked;       // "Sent a request to news.example"
    std::string answer;      // no more than they said: "It answered with status 200."
};

// The oldest ones go when there are many.
void noteUnsubscribeStep(const UnsubscribeStep& step);
std::vector<UnsubscribeStep> unsubscribeSteps();  // newest first

}  // namespace qs
