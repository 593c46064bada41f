// The plug-in's pane in the host's preferences: its settings in groups, each stored as it is changed. Main thread.
#pragma once

#include <memory>
#include <string>

#include "Application/Preferences.h"
#include "Foundation/NotificationCenter.h"

namespace qs {

class QSServicesPane;
class Window;

class QSQuillsteadPreferenceModule : public PreferencesModule {
public:
    QSQuillsteadPreferenceModule();
    // The one of the current session.
    static std::shared_ptr<QSQuillsteadPreferenceModule> sharedInstance();

    std::shared_ptr<FormModel> form() override;
    void willBeDisplayed() override;
    // The window of the preferences: each time it gets the keys, the profile is fetched and linked services are synced,
    // whichever module it shows.
    void observe(const Window& window);
    std::string imageName() const override { return "plugin:Quillstead"; }
    // Brings the services into sight, in the pane that is shown.
    void showServices();

private:
    void automaticUpdatesDidChange(bool enabled);
    FormGroup updatesGroup();
    static void windowDidBecomeKey();

    std::shared_ptr<QSServicesPane> services_;
    ObservationRef becameKey_;
    std::string shownGroup_;  // until the pane is shown anew
};

}  // namespace qs
