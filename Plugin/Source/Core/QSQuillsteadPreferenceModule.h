// The plug-in's pane in the host's preferences: its settings in groups, each stored as it is changed. Main thread.
#pragma once

#include <memory>

#include "Application/Preferences.h"

namespace qs {

class QSServicesPane;

class QSQuillsteadPreferenceModule : public PreferencesModule {
public:
    QSQuillsteadPreferenceModule();
    // The one of the current session.
    static std::shared_ptr<QSQuillsteadPreferenceModule> sharedInstance();

    std::shared_ptr<FormModel> form() override;
    void willBeDisplayed() override;
    std::string imageName() const override { return "plugin:Quillstead"; }

private:
    void automaticUpdatesDidChange(bool enabled);
    FormGroup updatesGroup();

    std::shared_ptr<QSServicesPane> services_;
};

}  // namespace qs
