// What the plug-in adds to the host's viewer class.
#pragma once

#include <memory>

#include "Viewer/MessageViewer.h"

namespace qs {

class PatchClass;

namespace message_viewer_quillstead {
// Class method: a new viewer, to act on that message; null when the host can make none.
inline const Operation<std::shared_ptr<MessageViewer>(MessageRef)> viewerForMessage{"viewerForMessage:"};
// The menu of notes, made at the first call, and what brings it up to date.
inline const Operation<std::shared_ptr<Menu>()> notesMenu{"notesMenu"};
inline const Operation<void(const std::shared_ptr<Menu>& menu)> setNotesMenu{"setNotesMenu:"};
inline const Operation<void(Menu& menu)> menuNeedsUpdate{"menuNeedsUpdate:"};
}  // namespace message_viewer_quillstead

// The messages that a reply would act on: those that the plug-in's own actions mean. The object must be a viewer.
MessageList targetedMessages(HostObject& viewer);

// The viewer's toolbar (MessageViewer_QuillsteadToolbar.cpp): methods of the patch class, and their exchange.
void addViewerToolbarMethods(PatchClass& patch);
void exchangeViewerToolbarMethods(PatchClass& patch);

// Notes of the selected messages (MessageViewer_QuillsteadNotes.cpp).
void addViewerNoteMethods(PatchClass& patch);

// The frontmost viewer, else a new one for the message; null for neither. Main thread.
std::shared_ptr<MessageViewer> frontmostViewerOrOneFor(const MessageRef& message);

}  // namespace qs
