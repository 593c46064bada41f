// What a newsletter's "List-Unsubscribe" says (RFC 2369, and RFC 8058 for the request in one step): where to ask, and
// with what. Pure; everything comes from a stranger's mail.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Value.h"

namespace qs {

struct UnsubscribeAddresses {
    std::string mail, web;  // empty: none of that kind
};

// The pieces of all fields between their commas.
std::vector<std::string> piecesAtCommas(const std::vector<std::string>& fields);
// Of several entries of a kind the last one counts; what is neither "mailto:" nor "http" does not.
UnsubscribeAddresses unsubscribeAddressesIn(const std::vector<std::string>& entries);
// Whether these fields of "List-Unsubscribe-Post" ask for the request in one step.
bool declaresOneClick(const std::vector<std::string>& fields);

struct UnsubscribeMail {
    std::optional<std::string> to, subject;  // `to` bare
    std::string body;
};
// Subject and body stay as they stand in the address, escapes included.
UnsubscribeMail unsubscribeMailFrom(std::string_view mailto);

struct UnsubscribeForm {
    std::string url;        // without its query
    std::string wholeUrl;   // with it
    Dictionary parameters;  // the query's; of several of one name the last
    std::string place;      // "news.example", with the port where there is one: fit to be shown and logged
    bool isSecure = false;
};
// Nothing for what is no address of the web, or holds a name and a password.
std::optional<UnsubscribeForm> unsubscribeFormFrom(std::string_view web);

}  // namespace qs
