#include "Notes/NoteLink.h"

#include "Core/QSSession.h"
#include "NoteConverter/QSNoteServiceSlaveProtocol.h"
#include "Notes/NoteServices.h"
#include "Notes/QSNote.h"
#include "Platform.h"
#include "Text/Ascii.h"
#include "Workspace/Workspace.h"

namespace qs {

namespace {

// Empty for none.
std::string schemeOfProgram(const QSNote& note) {
    const auto service = serviceOfNotebook(note.notebook());
    const auto* worker = service ? noteConnectorOf(*service) : nullptr;
    return worker ? worker->noteLinkScheme() : std::string();
}

}  // namespace

Result<void> openNoteAtService(const QSNote& note) {
    const auto url = note.remoteURL();
    const auto workspace = Platform::current().workspace;
    if (!url || !workspace) return {};
    const std::size_t colon = url->find(':');
    const std::string scheme = colon == std::string::npos ? std::string() : asciiLowered(url->substr(0, colon));
    if (scheme == "http" || scheme == "https") return workspace->openURL(*url);
    if (!scheme.empty() && scheme == schemeOfProgram(note)) return workspace->openURLOfProgram(*url, scheme);
    return failure("Notes", 1, QSLocalizedString("Its address is neither a web page's nor its service's own."));
}

}  // namespace qs
