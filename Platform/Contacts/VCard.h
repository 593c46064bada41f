// Address cards as programs exchange them: vCard 3.0 and 4.0 (RFC 2426, RFC 6350), and what of 2.1 is still met.
//
// Read leniently: whatever the bytes are, what can be understood is taken and the rest passed over. Nothing that a card
// only names is fetched. Thread-safe.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Contacts/Contact.h"

namespace qs {

struct VCard {
    Contact contact;
    std::string picture, pictureType;  // bytes of PHOTO and "image/png" or the like; empty for none, or for a mere link
};

inline constexpr std::size_t kMostCards = 50'000;  // of one file; the rest is left out

// All cards of a file, in their order; those that say nothing are left out. `withPictures`: else only hasPicture is
// set.
std::vector<VCard> readVCards(std::string_view bytes, bool withPictures);
// As vCard 3.0, which every program takes: name, address and identifier.
std::string newVCard(std::string_view identifier, std::string_view name, std::string_view mailAddress);

}  // namespace qs
