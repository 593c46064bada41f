// The panels in which a person signs in to a service that has no page for it: which fields each has.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace qs {

class QSService;
struct FormModel;

// A form with the service's values; what is typed stands in its controls. "login" and "password" are the service's own,
// the other controls bear the keys of its credentials. Without buttons. Null for a service without a panel.
std::shared_ptr<FormModel> linkPanelFor(const QSService& service);

// Takes over what was typed. False, and nothing taken, when a login is missing that the service needs.
bool takeFromLinkPanel(FormModel& form, QSService& service);

}  // namespace qs
