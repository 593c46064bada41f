#include "PersonMenu.h"

#include "ComposeWindow.h"
#include "Contacts/ContactBook.h"
#include "MailApplication.h"
#include "Mime/Addresses.h"
#include "Models/Alert.h"
#include "Models/View.h"
#include "Platform.h"
#include "Responders.h"

namespace qs {
namespace {

class MailPerson : public HostObject {
public:
    MailPerson(MailApplication& application, MailAddress address)
        : HostObject("MailPerson"), application_(application), address_(std::move(address)) {}

    void write() {
        ComposeRequest request;
        request.to = {address_.display()};
        application_.compose(request);
    }

    void addToContacts() {
        const auto& contacts = Platform::current().contacts;
        if (!contacts) return;
        const auto added = contacts->add(address_.name, address_.address);
        if (!added) return application_.presentError(added.error());
        application_.addNotice(added->displayName + " is in your contacts now.");
    }

private:
    MailApplication& application_;  // menus do not outlive it
    MailAddress address_;
};

}  // namespace

std::shared_ptr<Menu> makePersonMenu(MailApplication& application, std::string_view person) {
    auto menu = std::make_shared<Menu>("");
    const auto addresses = parseAddresses(std::string(person));
    if (addresses.empty() || addresses.front().address.empty()) return menu;
    const MailAddress& address = addresses.front();
    const auto target = std::make_shared<MailPerson>(application, address);
    const auto add = [&](const std::string& title, const char* action) {
        const auto item = menu->addItemWithTitle(title, action, "");
        item->setTarget(target);
        item->setRepresentedObject(target);
    };
    const auto& contacts = Platform::current().contacts;
    add("Write to " + address.address, "writeToPerson:");
    if (!contacts) return menu;
    const std::string known = contacts->displayNameFor(address.address);
    if (known.empty())
        add("Add to Contacts", "addPersonToContacts:");
    else
        menu->addItemWithTitle("In Your Contacts as " + known, "", "");  // told, as it has no action
    return menu;
}

void definePersonClass() {
    const auto person = [](HostObject& self) -> MailPerson& { return dynamic_cast<MailPerson&>(self); };
    Class& cls = ClassRegistry::current().define("MailPerson");
    cls.add(Action("writeToPerson:"), [person](HostObject& self, HostObject*) { person(self).write(); });
    cls.add(Action("addPersonToContacts:"), [person](HostObject& self, HostObject*) { person(self).addToContacts(); });
}

}  // namespace qs
