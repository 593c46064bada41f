// mailto: addresses (RFC 6068): recipients, subject and text of a message to be written. Whatever else such an address
// asks for, attachments above all, is left out.
#pragma once

#include <optional>
#include <string_view>

namespace qs {

struct ComposeRequest;

// Nothing when it is no mailto: address or longer than any person would make one.
std::optional<ComposeRequest> parseMailtoAddress(std::string_view url);

}  // namespace qs
