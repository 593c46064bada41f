// What messages of the library answer about their content (Mail/MessageBody.h).
#pragma once

namespace qs {

class ClassRegistry;

// Adds it to MCMessage, and defines MFMimeBody, MFMimePart and MCAttachment.
void defineBodyClasses(ClassRegistry& registry);

}  // namespace qs
