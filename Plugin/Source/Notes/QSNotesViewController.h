// The sheet in which a note is looked over before it leaves: title, notebook, tags, attachments, reminder, text. What
// is entered goes into the note at once; who shows the sheet says what its end means. Main thread.
#pragma once

#include <functional>
#include <memory>

namespace qs {

class QSNote;
class Window;

class QSNotesViewController {
public:
    // The handler gets 0 for save and 1 for cancel, once. The note must have a notebook of a notes service.
    static void showNoteDialogForWindow(const std::shared_ptr<Window>& window, const std::shared_ptr<QSNote>& forNote,
                                        std::function<void(int code)> completionHandler);
};

}  // namespace qs
