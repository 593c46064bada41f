// A person who answers the alerts of a host in a test.
#pragma once

#include <deque>
#include <string>
#include <vector>

namespace qs {

// Answers alerts as they come, in order, by button title; an alert without an answer left gets its last button.
class AlertAnswers {
public:
    AlertAnswers();
    ~AlertAnswers();
    void give(std::string buttonTitle) { answers_.push_back(std::move(buttonTitle)); }
    std::vector<std::string> seen;   // titles
    std::vector<std::string> texts;  // what stands below the titles

private:
    void answer();
    std::deque<std::string> answers_;
};

}  // namespace qs
