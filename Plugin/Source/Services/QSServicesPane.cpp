#include "Services/QSServicesPane.h"

#include <algorithm>

#include "Application/Preferences.h"
#include "Core/QSRunAlertPanel.h"
#include "Core/QSSession.h"
#include "Foundation/Format.h"
#include "Models/ModelChanges.h"
#include "Models/View.h"
#include "Services/LinkPanels.h"
#include "Services/QSService.h"
#include "Services/QSServiceConfiguration.h"
#include "Services/QSServicesManager.h"
#include "Services/ServiceTypes.h"
#include "Text/Url.h"

namespace qs {

namespace {

using Kind = FormControl::Kind;

QSServicesManager& manager() { return QSServicesManager::sharedManager(); }

std::shared_ptr<Window> preferencesWindow() {
    const auto panel = preferences::sharedPreferences.onClass(NSClassFromString("NSPreferences"));
    return panel ? panel->preferencesPanel() : nullptr;
}

// What has no worker yet is in the list as linked, for the worker's sake; a person must not be told that it works.
std::string stateOf(const QSService& service) {
    if (!service.hasSlaveClass()) return QSLocalizedString("Not available yet");
    if (service.linking()) return QSLocalizedString("Linking…");
    return service.linked() ? QSLocalizedString("Linked") : QSLocalizedString("Not linked");
}

std::string stateColorOf(const QSService& service) {
    return service.hasSlaveClass() ? service.linkStateColor().hexString() : std::string();
}

FormControl button(std::string id, std::string title, bool isEnabled, std::function<void()> action) {
    FormControl control{.kind = Kind::Button, .id = std::move(id), .label = std::move(title)};
    control.enabled = isEnabled;
    control.onChange = [action = std::move(action)](const Value&) { action(); };
    return control;
}

// What this program can link and may have (once more).
std::vector<std::int32_t> addableTypes() {
    std::vector<std::int32_t> types;
    for (std::int32_t type = 0; type <= kHighestServiceType; ++type)
        if (manager().slaveClasses().hasSlaveForServiceType(type) && QSService::isDeletableServiceType(type) &&
            (QSService::allowsMultipleOfServiceType(type) || manager().servicesOfServiceType(type, false).empty()))
            types.push_back(type);
    return types;
}

}  // namespace

struct QSServicesPane::Panel {
    std::weak_ptr<QSService> service;
    std::shared_ptr<FormModel> form;
    std::weak_ptr<Window> window;
};

std::vector<FormGroup> QSServicesPane::groups() {
    observe();
    std::vector<FormGroup> made{servicesGroup()};
    if (FormGroup copies = blindCopiesGroup(); !copies.controls.empty()) made.push_back(std::move(copies));
    return made;
}

// Whatever changes in the list or in a service is shown at once.
void QSServicesPane::observe() {
    if (!observations_.empty() && observations_.size() == manager().services().size() + 1) return;
    observations_.clear();
    const auto tell = [](bool isPrior) {
        if (!isPrior) noteModelChange();
    };
    observations_.push_back(manager().addObserver("services", [weak = weak_from_this()](bool isPrior) {
        const auto self = weak.lock();
        if (isPrior || !self) return;
        self->observations_.resize(1);  // the services are observed anew when they are drawn
        noteModelChange();
    }));
    for (const QSServiceRef& service : manager().services())
        observations_.push_back(service->addObserver("linkStateColor", tell));
}

FormGroup QSServicesPane::servicesGroup() {
    FormGroup group{.title = QSLocalizedString("Services"), .note = {}, .controls = {}};
    group.controls.push_back(list());
    for (FormControl& each : buttons())
        group.controls.push_back(std::move(each));
    FormControl message{.kind = Kind::Text, .id = "serviceMessage"};
    message.value = message_;
    message.hidden = message_.empty();
    group.controls.push_back(std::move(message));
    return group;
}

FormControl QSServicesPane::list() {
    FormControl list{.kind = Kind::List, .id = "services", .toolTip = QSLocalizedString("Services")};
    Array selected;
    for (const QSServiceRef& service : manager().sortedServices()) {
        const std::string identifier = service->uniqueIdentifier().value_or("");
        list.options.push_back({.title = service->name(),
                                .value = identifier,
                                .imageName = service->icon(),
                                .detail = service->utility(),
                                .state = stateOf(*service),
                                .stateColor = stateColorOf(*service)});
        if (std::ranges::count(selected_, identifier) > 0) selected.push_back(identifier);
    }
    list.value = selected;
    list.controls = {"linkService", "addService", "removeService"};
    list.onChange = [this](const Value& value) {
        selected_.clear();
        for (const Value& each : value.array())
            selected_.push_back(each.stringValue());
    };
    return list;
}

std::vector<FormControl> QSServicesPane::buttons() {
    const auto chosen = selectedServices();
    const QSServiceRef only = chosen.size() == 1 ? chosen.front() : nullptr;
    // Without a worker nothing can be linked, but a password that was kept can be forgotten.
    const bool canLink = only && (only->hasSlaveClass() || (only->linked() && only->canBeDeleted()));
    const std::string title = !canLink || (!only->linked() && !only->linking()) ? QSLocalizedString("Link")
                              : only->linking()                                 ? QSLocalizedString("Stop Linking")
                                                                                : QSLocalizedString("Unlink");
    std::vector<FormControl> made;
    made.push_back(
        button("linkService", title, canLink, [self = shared_from_this(), only] { self->linkService(only); }));
    made.push_back(button("addService", QSLocalizedString("Add…"), !addableTypes().empty(),
                          [self = shared_from_this()] { self->showTypes(); }));
    const bool canRemove =
        !chosen.empty() && std::ranges::all_of(chosen, [](const auto& service) { return service->canBeDeleted(); });
    made.push_back(button("removeService", QSLocalizedString("Remove"), canRemove,
                          [self = shared_from_this()] { self->removeSelectedServices(); }));
    return made;
}

std::vector<QSServiceRef> QSServicesPane::selectedServices() {
    std::vector<QSServiceRef> found;
    for (const std::string& identifier : selected_)
        if (auto service = manager().serviceWithIdentifier(identifier)) found.push_back(std::move(service));
    return found;
}

FormGroup QSServicesPane::blindCopiesGroup() {
    FormGroup group{.title = QSLocalizedString("Automatic blind copies"),
                    .note = QSLocalizedString("Kept for later: nothing uses these settings yet."),
                    .controls = {}};
    for (const QSMailAccountSettings& account : manager().mailAccountSettings()) {
        if (!account.deliveryIdentifier) continue;
        FormControl addresses{
            .kind = Kind::TextList, .id = "automaticBCC-" + account.identifier, .label = account.name};
        addresses.placeholder = QSLocalizedString("Add an address");
        addresses.value = account.automaticBCC.value_or(Array{});
        addresses.onChange = [self = shared_from_this(), identifier = account.identifier](const Value& value) {
            for (QSMailAccountSettings& each : manager().mailAccountSettings())
                if (each.identifier == identifier) each.automaticBCC = value.array();
            self->saveChanges();
        };
        group.controls.push_back(std::move(addresses));
    }
    return group;
}

void QSServicesPane::saveChanges() {
    manager().saveToPreferences();
    for (const QSMailAccountSettings& account : manager().mailAccountSettings()) {
        if (manager().defaultNotebook.set) manager().defaultNotebook.set(account.defaultNotebook, account.identifier);
        if (manager().defaultReminderList.set)
            manager().defaultReminderList.set(account.defaultReminderList, account.identifier);
        if (account.deliveryIdentifier) manager().setAutomaticBCC(account.automaticBCC, *account.deliveryIdentifier);
    }
}

void QSServicesPane::linkService(const QSServiceRef& service) {
    message_.clear();
    if (service->linked() || service->linking()) {
        if (service->linked())
            manager().unlinkService(service);
        else
            service->markAsLinked(false);
        return saveChanges();
    }
    switch (factsOfServiceType(service->serviceType()).link) {
    case QSLinkKind::Slave:
        if (isConfigured(*service)) startSlave(service);
        break;
    case QSLinkKind::LoginPanel:
    case QSLinkKind::OwnCloudPanel:
    case QSLinkKind::FTPPanel:
    case QSLinkKind::EvernotePanel:
        if (isConfigured(*service)) showPanel(service);
        break;
    case QSLinkKind::AtOnce:
        service->markAsLinked(true);
        saveChanges();
        break;
    case QSLinkKind::None: break;
    }
}

bool QSServicesPane::isConfigured(const QSService& service) {
    const auto missing = QSServiceConfiguration::forServiceType(service.serviceType()).missingKeys();
    if (missing.empty()) return true;
    std::string names;
    for (const std::string& key : missing)
        names += (names.empty() ? "" : ", ") + key;
    const std::string type = QSService::nameForServiceType(service.serviceType()).value_or("");
    alert(stringWithFormat(QSLocalizedString("%@ Is Not Set Up"), {type}),
          stringWithFormat(
              QSLocalizedString("This copy of Quillstead is not registered at %@ yet. What it needs: %@. The "
                                "README tells where to get and where to put it."),
              {type, names}));
    return false;
}

void QSServicesPane::startSlave(const QSServiceRef& service) {
    linking_ = service;
    QSServiceSlaveProtocol& slave = service->slave();
    if (slave.respondsTo(QSSlaveOperation::SetAuthDelegate)) slave.setAuthDelegate(weak_from_this());
    if (slave.respondsTo(QSSlaveOperation::AuthenticateWithWindow))
        slave.authenticateWithWindow(preferencesWindow());
    else if (slave.respondsTo(QSSlaveOperation::Authenticate))
        slave.authenticate();
}

void QSServicesPane::showPanel(const QSServiceRef& service) {
    const auto window = preferencesWindow();
    const auto form = linkPanelFor(*service);
    if (!window || !form) return;
    panel_ = std::make_shared<Panel>(Panel{service, form, window});
    form->buttons = {{.title = QSLocalizedString("Link"),
                      .isDefault = true,
                      .action = [self = shared_from_this()] { self->confirmPanel(); }},
                     {.title = QSLocalizedString("Cancel"), .code = kSheetCancelled, .isCancel = true}};
    window->beginSheet(form, [weak = weak_from_this(), service, panel = panel_](int code) {
        const auto self = weak.lock();
        panel->form->buttons.clear();  // they hold this pane
        if (!self || self->panel_ != panel) return;
        self->panel_.reset();
        if (code == kSheetCancelled && service->linking()) service->markAsLinked(false);
    });
}

void QSServicesPane::confirmPanel() {
    const auto service = panel_ ? panel_->service.lock() : nullptr;
    if (!service) return;
    const FormControl* server = panel_->form->control("QSGenericServer");
    if (server) {
        const auto url = Url::parse(server->value.stringValue());
        if (!url || !url->scheme())
            return alert(QSLocalizedString("Invalid Server Address"),
                         QSLocalizedString("The provided server address does not have the required format."));
    }
    if (!takeFromLinkPanel(*panel_->form, *service)) return;
    setPanelBusy(true);
    startSlave(service);
}

void QSServicesPane::setPanelBusy(bool isBusy) {
    for (FormGroup& group : panel_->form->groups)
        for (FormControl& control : group.controls)
            control.enabled = !isBusy;
    panel_->form->buttons.front().title = isBusy ? QSLocalizedString("Linking") : QSLocalizedString("Link");
    noteModelChange();
}

void QSServicesPane::didFinishAuthenticationWithError(const std::optional<Error>& error) {
    const auto service = linking_.lock();
    const std::string name = service ? service->name() : std::string();
    message_ = error ? stringWithFormat(QSLocalizedString("%@ could not be linked. %@"), {name, error->description})
                     : std::string();
    if (panel_ && panel_->service.lock() == service) {
        panel_->form->message = message_;
        setPanelBusy(false);
        if (!error)
            if (const auto window = panel_->window.lock()) window->endSheet(*panel_->form, kSheetConfirmed);
    }
    noteModelChange();
}

void QSServicesPane::addService(std::int32_t type) {
    const auto service = manager().addServiceOfType(type);
    selected_ = {service->uniqueIdentifier().value_or("")};
    message_.clear();
    noteModelChange();
}

void QSServicesPane::removeSelectedServices() {
    for (const QSServiceRef& service : selectedServices()) {
        if (service->linked()) manager().unlinkService(service);
        manager().removeService(service);
    }
    selected_.clear();
    message_.clear();
    saveChanges();
}

void QSServicesPane::showTypes() {
    const auto window = preferencesWindow();
    if (!window) return;
    auto form = std::make_shared<FormModel>();
    form->identifier = "addService";
    form->title = QSLocalizedString("Add a Service");
    FormControl types{.kind = Kind::List, .id = "types", .toolTip = QSLocalizedString("Services")};
    for (const std::int32_t type : addableTypes())
        types.options.push_back({.title = QSService::nameForServiceType(type).value_or(""),
                                 .value = type,
                                 .imageName = QSService::iconForServiceType(type),
                                 .detail = nameForUtilityType(QSService::utilityTypeForServiceType(type))});
    types.value = Array{types.options.front().value};
    form->groups.push_back({.title = {}, .note = {}, .controls = {std::move(types)}});
    form->buttons = {{.title = QSLocalizedString("Add"), .code = kSheetConfirmed, .isDefault = true},
                     {.title = QSLocalizedString("Cancel"), .code = kSheetCancelled, .isCancel = true}};
    window->beginSheet(form, [weak = weak_from_this(), form](int code) {
        const auto self = weak.lock();
        if (!self || code != kSheetConfirmed) return;
        for (const Value& type : form->control("types")->value.array())
            self->addService(static_cast<std::int32_t>(type.integerValue()));
    });
}

void QSServicesPane::alert(const std::string& title, const std::string& text) {
    if (const auto window = preferencesWindow()) QSRunAlertSheet(*window, title, "%@", {}, {text});
}

}  // namespace qs
