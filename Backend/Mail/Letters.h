// The letters that the backend writes, and the form in which they leave.
#pragma once

#include <string>

#include "Store/LetterTables.h"

namespace qs {

// `link` leads to a page of this server.
Letter confirmationLetter(const std::string& address, const std::string& link);
// Somebody, perhaps its owner, wanted to sign up with an address that has an account.
Letter existingAccountLetter(const std::string& address, const std::string& resetPage);
Letter resetLetter(const std::string& address, const std::string& link);

// A whole message (RFC 5322) with CR LF line ends.
std::string messageOf(const Letter& letter, const std::string& from, Date now);

}  // namespace qs
