// Names with a meaning of their own: the elements that ENML adds to XHTML, and classes and attributes in HTML.
#pragma once

#include <string_view>

namespace qs {

inline constexpr std::string_view ENMLTagNote = "en-note";
inline constexpr std::string_view ENMLTagMedia = "en-media";
inline constexpr std::string_view ENMLTagCrypt = "en-crypt";
inline constexpr std::string_view ENMLTagTodo = "en-todo";

// An element of this class is left out of the note, with all that it holds.
inline constexpr std::string_view ENHTMLClassIgnore = "en-ignore";
inline constexpr std::string_view ENHTMLClassAttachment = "en-attachment";
inline constexpr std::string_view ENHTMLAttributeMime = "x-evernote-mime";

inline constexpr std::string_view ENMIMETypeOctetStream = "application/octet-stream";

}  // namespace qs
