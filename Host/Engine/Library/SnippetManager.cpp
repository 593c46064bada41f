#include "Library/SnippetManager.h"

#include "Library/LibraryCore.h"
#include "Mail/SnippetManager.h"

namespace qs {

namespace {

std::map<MessageRef, std::string> snippetsOf(const MessageList& messages) {
    if (const auto library = std::dynamic_pointer_cast<LibraryCore>(Library::shared())) library->readDetails(messages);
    std::map<MessageRef, std::string> snippets;
    for (const MessageRef& message : messages) {
        if (!message) continue;
        if (std::string text = message->snippet(); !text.empty()) snippets.emplace(message, std::move(text));
    }
    return snippets;
}

}  // namespace

void defineSnippetManager(ClassRegistry& registry) {
    Class& cls = registry.define("MFSnippetManager");
    cls.addClassMethod(snippet_manager::sharedInstance, [](Class& self) {
        return std::make_shared<HostObject>(self.name());  // it keeps nothing
    });
    cls.add(snippet_manager::fetchSnippetsForMessages,
            [](HostObject&, const MessageList& messages) { return snippetsOf(messages); });
}

}  // namespace qs
