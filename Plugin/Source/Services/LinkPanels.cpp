#include "Services/LinkPanels.h"

#include "Core/QSSession.h"
#include "Foundation/Bundle.h"
#include "Foundation/Format.h"
#include "Models/Form.h"
#include "Services/QSService.h"
#include "Services/ServiceTypes.h"

namespace qs {

namespace {

using Kind = FormControl::Kind;

constexpr const char* kLogin = "login";
constexpr const char* kPassword = "password";

struct Field {
    Kind kind;
    const char *key, *label, *placeholder;
};

std::vector<Field> fieldsOf(QSLinkKind kind) {
    const Field login{Kind::TextField, kLogin, "Login", ""}, password{Kind::Secret, kPassword, "Password", ""};
    switch (kind) {
    case QSLinkKind::LoginPanel: return {login, password};
    case QSLinkKind::OwnCloudPanel:
        return {{Kind::TextField, "QSOwnCloudURL", "Server", "https://cloud.example.org"},
                {Kind::TextField, "QSOwnCloudDirectoryName", "Directory", "Quillstead"},
                login,
                password};
    case QSLinkKind::FTPPanel:
        return {{Kind::TextField, "QSGenericServer", "Server", "sftp://example.org/public"},
                {Kind::TextField, "QSGenericPublicURL", "Public address", "https://example.org"},
                {Kind::TextField, "QSGenericPrivateKey", "Private key file", "~/.ssh/id_ed25519"},
                login,
                password};
    case QSLinkKind::EvernotePanel: return {{Kind::PopUp, "QSEvernoteHost", "Region", ""}};
    case QSLinkKind::None:
    case QSLinkKind::Slave:
    case QSLinkKind::AtOnce: break;
    }
    return {};
}

FormControl controlFor(const Field& field, const QSService& service) {
    FormControl control{.kind = field.kind, .id = field.key, .label = QSLocalizedString(field.label)};
    control.placeholder = field.placeholder;
    const std::string key = field.key;
    if (key == kLogin)
        control.value = service.login().value_or("");
    else if (key == kPassword)
        control.value = service.password().value_or("");
    else
        control.value = Value(service.credentials())[key];
    if (field.kind != Kind::PopUp) return control;
    control.value = control.value.integerValue();
    control.options = {{.title = QSLocalizedString("International"), .value = 0},
                       {.title = QSLocalizedString("China"), .value = 1}};
    return control;
}

}  // namespace

std::shared_ptr<FormModel> linkPanelFor(const QSService& service) {
    const auto fields = fieldsOf(factsOfServiceType(service.serviceType()).link);
    if (fields.empty()) return nullptr;
    auto form = std::make_shared<FormModel>();
    form->identifier = "link-" + service.uniqueIdentifier().value_or("");
    form->title = stringWithFormat(QSLocalizedString("Link %@"), {service.name()});
    FormGroup group;
    for (const Field& field : fields)
        group.controls.push_back(controlFor(field, service));
    form->groups.push_back(std::move(group));
    return form;
}

bool takeFromLinkPanel(FormModel& form, QSService& service) {
    const FormControl* login = form.control(kLogin);
    if (login && login->value.stringValue().empty()) return false;
    for (const FormGroup& group : form.groups)
        for (const FormControl& control : group.controls) {
            if (control.id == kLogin)
                service.setLogin(control.value.stringValue());
            else if (control.id == kPassword)
                service.setPassword(control.value.stringValue());
            else if (control.value.isNil())
                service.credentials().erase(control.id);
            else
                service.credentials()[control.id] = control.value;
        }
    return true;
}

}  // namespace qs
