#include "Accounts/AddressCompletion.h"

#include <algorithm>
#include <set>

#include "Contacts/ContactBook.h"
#include "MailLibrary.h"
#include "Mime/Addresses.h"
#include "Platform.h"
#include "Text/CaseFolding.h"

namespace qs {

namespace {

constexpr int kSeenLookedAt = 60;  // addresses of mail that tell which contacts are written to
constexpr std::size_t kMostContacts = 60;

struct Candidate {
    std::string display, key;  // the address in folded case
    std::size_t rank = 0;      // among the addresses of mail
};

// A contact's addresses that the prefix leads to: all of them when it is the name that matches.
void addContact(std::vector<Candidate>& into, const Contact& contact, const std::string& prefix) {
    const auto begins = [&](const auto& address) { return foldedCase(address.value).starts_with(prefix); };
    const bool isByAddress = std::ranges::any_of(contact.mailAddresses, begins);
    for (const auto& address : contact.mailAddresses)
        if (!isByAddress || begins(address))
            into.push_back(
                {MailAddress{contact.displayName == address.value ? "" : contact.displayName, address.value}.display(),
                 foldedCase(address.value)});
}

}  // namespace

std::vector<std::string> completeAddress(MailLibrary& library, std::string_view prefix, std::size_t limit) {
    std::vector<Candidate> seen, candidates;
    for (std::string& display : library.completeAddress(prefix, kSeenLookedAt)) {
        const auto parsed = parseAddresses(display);
        std::string key = parsed.empty() ? display : foldedCase(parsed.front().address);
        seen.push_back({std::move(display), std::move(key)});
    }
    if (const auto& contacts = Platform::current().contacts)
        for (const Contact& contact : contacts->beginningWith(prefix, kMostContacts))
            addContact(candidates, contact, foldedCase(prefix));
    for (Candidate& each : candidates)
        each.rank = static_cast<std::size_t>(std::ranges::find(seen, each.key, &Candidate::key) - seen.begin());
    std::ranges::stable_sort(candidates, {}, &Candidate::rank);
    candidates.insert(candidates.end(), seen.begin(), seen.end());

    std::vector<std::string> found;
    std::set<std::string> told;
    for (Candidate& each : candidates)
        if (found.size() < limit && told.insert(each.key).second) found.push_back(std::move(each.display));
    return found;
}

}  // namespace qs
