// A person, or a firm, as an address book knows them. Plain data.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qs {

struct Contact {
    // With the words that say which one it is, in lower case: "work", "home", "cell", "fax", "iphone", "pref", ...
    struct Labelled {
        std::string value;
        std::vector<std::string> labels;
        bool is(std::string_view label) const;
    };
    struct PostalAddress {
        std::string street, city, region, postalCode, country;
        std::vector<std::string> labels;
        std::string text() const;  // as on an envelope: lines parted by "\n"
    };

    std::string identifier;   // stays the same; of its file if the card has none
    std::string displayName;  // never empty for a card that says anything: made up of what there is
    std::string givenName, familyName, nickname, organization, jobTitle;
    std::vector<Labelled> mailAddresses, phones;  // the preferred one first
    std::vector<PostalAddress> postalAddresses;
    bool hasPicture = false;  // ContactBook::picture() reads it

    bool hasMailAddress(std::string_view address) const;  // without regard to case
};

}  // namespace qs
