// Reads any bytes as a file of contacts. Whatever it is becomes few enough contacts, each with a name, in valid UTF-8;
// and whatever a name is, a card that is made of it reads back.
#include <cstdlib>
#include <string>

#include "Contacts/VCard.h"
#include "Text/Utf8.h"

namespace {

void demand(bool isTrue) {
    if (!isTrue) std::abort();
}

void checkText(const std::string& text) { demand(qs::isValidUtf8(text)); }

void check(const qs::Contact& contact) {
    demand(!contact.displayName.empty());
    for (const auto* text : {&contact.identifier, &contact.displayName, &contact.givenName, &contact.familyName,
                             &contact.nickname, &contact.organization, &contact.jobTitle})
        checkText(*text);
    for (const auto* list : {&contact.mailAddresses, &contact.phones}) {
        demand(list->size() <= 200);
        for (const auto& each : *list) {
            demand(!each.value.empty());
            checkText(each.value);
            for (const std::string& label : each.labels)
                checkText(label);
        }
    }
    for (const auto& address : contact.postalAddresses)
        checkText(address.text());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    const std::string_view file{reinterpret_cast<const char*>(bytes), size};
    const auto plain = qs::readVCards(file, false), whole = qs::readVCards(file, true);
    demand(plain.size() == whole.size() && plain.size() <= qs::kMostCards);
    for (std::size_t i = 0; i < plain.size(); ++i) {
        check(plain[i].contact);
        demand(plain[i].picture.empty() && whole[i].picture.empty() == whole[i].pictureType.empty());
        demand(plain[i].contact.displayName == whole[i].contact.displayName);
    }
    const auto written = qs::readVCards(qs::newVCard("1", file, "ada@example.org"), false);
    demand(written.size() == 1 && written.front().contact.hasMailAddress("ada@example.org"));
    return 0;
}
