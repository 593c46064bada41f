// The text of a message as a document, for who shows it and for plug-ins that take it or a part of it. Main thread.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace qs {

class MailLibrary;
class Message;
class WebDocument;

// With the HTML as plug-ins want it displayed; not made safe.
std::shared_ptr<WebDocument> displayedDocument(std::string html);
// The whole message, made safe, its own pictures in it unless they are large, with its attachments. Null when it can't
// be read.
std::shared_ptr<WebDocument> documentOfMessage(MailLibrary& library, Message& message);
// The same of a part of it, as markup from the page.
std::shared_ptr<WebDocument> documentOfSelection(Message& message, std::string_view html);

}  // namespace qs
