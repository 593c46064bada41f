// The fields of an HTML form or a query (https://url.spec.whatwg.org/#urlencoded-parsing), and of Basic authorisation.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace qs {

using FormFields = std::map<std::string, std::string, std::less<>>;

// Of several of one name the last. Bytes that are no UTF-8 become U+FFFD. At most 100 fields; the others are left out.
FormFields formFields(std::string_view encoded);
std::string field(const FormFields& fields, std::string_view name);  // "" for none

struct BasicCredentials {
    std::string user, password;
};
// From the value of the header "Authorization" (RFC 7617); nothing for another scheme or a broken one.
std::optional<BasicCredentials> basicCredentials(std::string_view header);

}  // namespace qs
