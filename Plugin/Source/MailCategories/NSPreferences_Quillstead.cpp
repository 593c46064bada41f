// Adds the plug-in's pane to the host's preferences, the first time that somebody asks for them. Main thread.
#include <algorithm>

#include "Application/Bundles.h"
#include "Application/Preferences.h"
#include "Core/PatchClass.h"
#include "Core/QSPopoverController.h"
#include "Core/QSQuillsteadPreferenceModule.h"
#include "Core/QSSession.h"
#include "Foundation/RunLoop.h"
#include "Models/Toolbar.h"
#include "Models/View.h"

namespace qs {

namespace {

constexpr TimeInterval kHintDelay = 0.5;
constexpr int kHighVisibilityPriority = 1000;

const Operation<std::shared_ptr<Preferences>()> quillstead_sharedPreferences{"quillstead_sharedPreferences"};

// The session that has added its pane already.
QSSession* paneAddedBy = nullptr;

std::shared_ptr<ToolbarItem> itemNamed(const std::vector<std::shared_ptr<ToolbarItem>>& items,
                                       const std::string& identifier) {
    const auto found = std::ranges::find(items, identifier, [](const auto& item) { return item->itemIdentifier(); });
    return found == items.end() ? nullptr : *found;
}

void raisePriorityAndHint(const std::shared_ptr<Preferences>& panel, const std::string& name) {
    auto* session = QSSession::currentIfLoaded();
    auto window = panel->preferenceWindow();
    auto toolbar = window ? window->toolbar() : nullptr;
    if (!session || !window || !window->isVisible() || !toolbar) return;
    auto item = itemNamed(toolbar->visibleItems(), name);
    if (!item) return;
    item->visibilityPriority = kHighVisibilityPriority;
    session->popoverController().queuePopoverWithIdentifier(
        "Preferences", QSLocalizedString("Configure Quillstead according to your personal preferences."), item->view(),
        1);
}

void addPane(const std::shared_ptr<Preferences>& panel) {
    auto module = QSQuillsteadPreferenceModule::sharedInstance();
    const std::string name = mail_bundle::preferencesPanelName.onClass(NSClassFromString("QSMailBundle"));
    auto modules = panel->preferenceModules();
    if (std::find(modules.begin(), modules.end(), module) == modules.end()) panel->addPreferenceNamed(name, module);

    auto window = panel->preferencesPanel();
    if (window) module->observe(*window);
    auto toolbar = window ? window->toolbar() : nullptr;
    if (!toolbar) return;
    paneAddedBy = &QSSession::current();
    if (itemNamed(toolbar->items(), name)) return;
    toolbar->insertItemWithItemIdentifier(name, toolbar->items().size());
    RunLoop::main().after(kHintDelay, [panel, name] { raisePriorityAndHint(panel, name); });
}

std::shared_ptr<Preferences> sharedPreferences(Class& self) {
    auto panel = quillstead_sharedPreferences.onClass(&self);
    if (panel && QSSession::currentIfLoaded() && paneAddedBy != QSSession::currentIfLoaded()) addPane(panel);
    return panel;
}

void load() {
    paneAddedBy = nullptr;
    PatchClass patch("NSPreferences_Quillstead");
    patch.addClassMethod(quillstead_sharedPreferences, sharedPreferences);
    patch.addAsCategoryOf("NSPreferences");
    patch.exchangeClassMethods("NSPreferences", preferences::sharedPreferences.selector(),
                               quillstead_sharedPreferences.selector());
    patch.finish();
}

const PatchClassRegistration registration(load);

}  // namespace

}  // namespace qs
