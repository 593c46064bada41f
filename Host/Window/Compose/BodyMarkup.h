// The body of a message that is being written, on its way between message, window and page. Whatever comes in passes
// the sanitizer. In the window's document a picture of the message is <img src="cid:ID">, ID being an attachment of the
// window; in the page it is <img data-cid="ID" src="data:...">.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace qs {

class AttachmentFolder;

// The attachment that a content id of the markup stands for; empty for none, and the picture goes.
using PictureByContentID = std::function<std::string(std::string_view contentID)>;

// Foreign markup as the inside of a body for the window's document.
std::string cleanBody(std::string_view html, const PictureByContentID& picture);
// The page's markup likewise. A picture that came as data: becomes an attachment of the folder.
std::string bodyFromPage(std::string_view html, AttachmentFolder& attachments);
// The document's body for the page. Pictures beyond some megabytes come without src, so that the page stays quick.
std::string bodyForPage(std::string_view body, const AttachmentFolder& attachments);
// Whether the body shows this attachment.
bool bodyShows(std::string_view body, std::string_view identifier);
// Text with line ends as markup in the paragraphs that the editor uses.
std::string htmlFromText(std::string_view text);

}  // namespace qs
