// Which addresses may stand in displayed mail, and in what form.
#pragma once

#include <string>
#include <string_view>

namespace qs {

// For a link: http, https and mailto, or "#place" within the mail, without blanks and control characters. Empty for
// every other address.
std::string safeLinkAddress(std::string_view address);
// For a picture: "data:image/...;base64," of a bitmap format. Empty for every other address.
std::string safePictureData(std::string_view address);
// For a picture on the web: http or https, as browsers read it, without a fragment. Empty for every other address.
std::string safeRemotePicture(std::string_view address);
// The content id of "cid:..."; empty for another address.
std::string contentIDOf(std::string_view address);
// Whether a browser would load something from elsewhere for it.
bool isRemoteAddress(std::string_view address);

}  // namespace qs
