#include "Unsubscribe/UnsubscribeLog.h"

#include <algorithm>

#include "Core/QSPluginDelegate.h"
#include "Settings/UserDefaults.h"

namespace qs {

namespace {

constexpr const char* kKey = "QSUnsubscribeLog";
constexpr std::size_t kMostSteps = 200;
constexpr std::size_t kLongestText = 300;  // bytes; names and addresses are a stranger's

std::string shortened(const std::string& text) {
    if (text.size() <= kLongestText) return text;
    std::size_t end = kLongestText;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
        --end;
    return text.substr(0, end) + "…";
}

}  // namespace

void noteUnsubscribeStep(const UnsubscribeStep& step) {
    UserDefaults& defaults = QSPluginDelegate::quillsteadDefaults();
    Array steps = defaults.objectForKey(kKey).array();
    if (steps.size() >= kMostSteps)
        steps.erase(steps.begin(), steps.end() - static_cast<std::ptrdiff_t>(kMostSteps - 1));
    steps.emplace_back(Dictionary{{"date", step.date},
                                  {"newsletter", shortened(step.newsletter)},
                                  {"asked", shortened(step.asked)},
                                  {"answer", shortened(step.answer)}});
    defaults.setObject(std::move(steps), kKey);
}

std::vector<UnsubscribeStep> unsubscribeSteps() {
    std::vector<UnsubscribeStep> steps;
    const Value kept = QSPluginDelegate::quillsteadDefaults().objectForKey(kKey);
    for (const Value& each : kept.array())
        if (const auto date = each["date"].dateValue())
            steps.push_back(
                {*date, each["newsletter"].stringValue(), each["asked"].stringValue(), each["answer"].stringValue()});
    std::ranges::reverse(steps);
    return steps;
}

}  // namespace qs
