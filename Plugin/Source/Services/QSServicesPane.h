// The services in the preferences: the list with its states, adding and removing, linking and unlinking, and what is
// set for each mail account. Hears from the workers how a sign-in ended. Main thread.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/NotificationCenter.h"
#include "Models/Form.h"
#include "Services/QSServiceSlave.h"

namespace qs {

class QSService;
using QSServiceRef = std::shared_ptr<QSService>;

class QSServicesPane : public QSServiceSlaveAuthenticationDelegate,
                       public std::enable_shared_from_this<QSServicesPane> {
public:
    std::vector<FormGroup> groups();

    // Unlinks a linked service; begins to link any other, as its kind asks for.
    void linkService(const QSServiceRef& service);
    void addService(std::int32_t type);
    void removeSelectedServices();
    void saveChanges();

    void didFinishAuthenticationWithError(const std::optional<Error>& error) override;

private:
    struct Panel;
    FormGroup servicesGroup();
    FormGroup blindCopiesGroup();
    FormControl list();
    std::vector<FormControl> buttons();
    std::vector<QSServiceRef> selectedServices();
    void observe();
    void startSlave(const QSServiceRef& service);
    bool isConfigured(const QSService& service);
    void showPanel(const QSServiceRef& service);
    void confirmPanel();
    void setPanelBusy(bool isBusy);
    void showTypes();
    void alert(const std::string& title, const std::string& text);

    std::vector<std::string> selected_;  // unique identifiers
    std::string message_;                // how the last sign-in ended
    std::weak_ptr<QSService> linking_;
    std::shared_ptr<Panel> panel_;
    std::vector<ObservationRef> observations_;  // of the manager first, then of each service
};

}  // namespace qs
