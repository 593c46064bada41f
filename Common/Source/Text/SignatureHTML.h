// What of a signature's document goes into the body of a mail.
#pragma once

#include <string>
#include <string_view>

namespace qs {

// The body's inner HTML of a full document. Only tags in lower case are known, and "<head" also stands for the start of
// longer names. A fragment comes back as it is, as does a part that lacks its end.
std::string signatureHTMLString(std::string_view html);

}  // namespace qs
