#include "Support/AlertAnswers.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "Models/Alert.h"
#include "Models/ModelChanges.h"

namespace qs {

AlertAnswers::AlertAnswers() {
    setModelChangeHandler([this] { answer(); });
}

AlertAnswers::~AlertAnswers() { setModelChangeHandler({}); }

void AlertAnswers::answer() {
    AlertCentre& centre = AlertCentre::shared();
    if (centre.shown().empty()) return;
    const Alert& alert = *centre.shown().back();
    seen.push_back(alert.messageText);
    texts.push_back(alert.informativeText);
    std::size_t button = alert.buttons.size() - 1;
    if (!answers_.empty()) {
        const auto found = std::find(alert.buttons.begin(), alert.buttons.end(), answers_.front());
        ASSERT_NE(found, alert.buttons.end()) << "“" << alert.messageText << "” has no button " << answers_.front();
        button = static_cast<std::size_t>(found - alert.buttons.begin());
        answers_.pop_front();
    }
    centre.answer(alert.identifier, static_cast<int>(button), false);
}

}  // namespace qs
