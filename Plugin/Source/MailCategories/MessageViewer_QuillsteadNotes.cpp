// The viewer's notes: the menu, and what makes notes of the selected messages. Main thread.
#include <algorithm>

#include "Application/MailApp.h"
#include "Core/PatchClass.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSQuillsteadPreferenceModule.h"
#include "Core/QSRunAlertPanel.h"
#include "Core/QSSession.h"
#include "Core/QSShortcut.h"
#include "Core/Store/ManagedObjectContext.h"
#include "Foundation/Log.h"
#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "Mail/MessageBody.h"
#include "Mail/MessageHeaders.h"
#include "MailCategories/MessageViewer_Quillstead.h"
#include "Models/Alert.h"
#include "Models/Menu.h"
#include "Notes/NoteContent.h"
#include "Notes/NoteFiles.h"
#include "Notes/NoteLink.h"
#include "Notes/QSNote.h"
#include "Notes/QSNotebook.h"
#include "Notes/QSNotesManager.h"
#include "Notes/QSNotesViewController.h"
#include "Settings/UserDefaults.h"
#include "Text/Uuid.h"
#include "Viewer/ViewingPane.h"
#include "Viewer/WebDocument.h"

namespace qs {

namespace {

using Action = Operation<void(HostObject* sender)>;
using Note = std::shared_ptr<QSNote>;

constexpr const char* kMenuTitle = "NotesMenu";
constexpr std::size_t kOwnItems = 3;
constexpr const char* kNoteClass = "QSNoteObject";

constexpr const char* kNoContent = "Could not extract the contents of the selected message.";
constexpr const char* kNoNote = "Could not create internal note.";

const Operation<void(int tag)> createNoteWithActionTag{"createNoteWithActionTag:"};

// A note as an item of a menu stands for it.
class NoteObject : public HostObject {
public:
    explicit NoteObject(Note theNote) : HostObject(kNoteClass), note(std::move(theNote)) {}
    const Note note;
};

QSNotesManager& notes() { return QSNotesManager::sharedManager(); }

std::string accountOf(const Message& message) {
    const auto mailbox = message.mailbox();
    const auto account = mailbox ? mailbox->account() : nullptr;
    return account ? account->identifier() : std::string();
}

void tellFailure(const char* text) {
    QSRunAlertPanel(QSLocalizedString("Failed to create note"), "%@", {}, {QSLocalizedString(text)});
}

// Durable before it goes out.
void send(const Note& note) {
    note->setDraft(false);
    auto& plugin = QSPluginDelegate::sharedDelegate();
    plugin.saveCoreData();
    plugin.refreshMessageList();
    notes().syncWithServices();
}

std::shared_ptr<WebDocumentView> documentViewOf(HostObject& viewer) {
    const auto pane = message_viewer::viewingPaneViewController(viewer);
    const auto conversation = pane ? pane->conversationViewController() : nullptr;
    const auto actions = conversation ? conversation->actionViewController() : nullptr;
    return actions ? actions->webDocumentView() : nullptr;
}

// Its files last, and only when the store has let go of it: a note may come back, but not without them.
void dropNote(const Note& note) {
    const auto files = note->attachments();
    auto& plugin = QSPluginDelegate::sharedDelegate();
    notes().deleteNote(note);
    plugin.saveCoreData();
    if (!plugin.managedObjectContext().hasChanges()) removeNoteFiles(files);
}

void showSheet(HostObject& viewer, const Note& note, const std::string& account) {
    QSNotesViewController::showNoteDialogForWindow(dynamic_cast<MessageViewer&>(viewer).window(), note,
                                                   [note, account](int code) {
                                                       if (!QSSession::currentIfLoaded() || note->isDeleted()) return;
                                                       if (code == 1) {
                                                           dropNote(note);
                                                       } else if (code == 0) {
                                                           notes().setLastUsedNotebook(note->notebook(), account);
                                                           send(note);
                                                       }
                                                   });
}

void createOne(HostObject& viewer, const MessageRef& message, int tag) {
    const std::string messageID = message->messageID(), account = accountOf(*message);
    if (messageID.empty()) return tellFailure("Selected message does not have a valid message identifier.");
    const auto lastUsed = notes().lastUsedNotebookForAccountIdentifier(account);
    const auto byDefault = notes().defaultNotebookForAccountIdentifier(account);
    const auto view = documentViewOf(viewer);
    const auto whole = view ? view->webDocument() : nullptr;
    if (!whole) {
        logError("Could not find a valid web document for this email. Stopping here...");
        return tellFailure(kNoContent);
    }
    std::string html;
    view->generateSelectionWebDocument([&](const std::shared_ptr<WebDocument>& selection) {
        html = htmlForDocument(selection ? *selection : *whole);
    });
    if (html.empty()) {
        logError("Could not extract the contents of this email. Stopping here...");
        return tellFailure(kNoContent);
    }
    const Note note = notes().addNoteWithIdentifier(newUUIDString(), lastUsed);
    if (!note) return tellFailure(kNoNote);
    fillNote(*note, *message, std::move(html), messageID, whole->attachments);
    if (tag != kTagCreateQuickNote) return showSheet(viewer, note, account);
    note->setNotebook(byDefault);
    note->setAddAttachments(true);
    send(note);
}

// False when no more are to be made.
bool createOneOfSeveral(const MessageRef& message) {
    const std::string messageID = message->messageID();
    const auto body = messageID.empty() ? nullptr : bodyOfMessage(*message);
    const auto content = body ? contentOfBody(*body) : std::nullopt;
    if (!content) return true;
    if (content->empty()) {
        tellFailure(kNoContent);
        return false;
    }
    const auto notebook = notes().defaultNotebookForAccountIdentifier(accountOf(*message));
    const Note note = notes().addNoteWithIdentifier(newUUIDString(), notebook);
    if (!note) {
        tellFailure(kNoNote);
        return false;
    }
    fillNote(*note, *message, *content, messageID, body->attachments());
    note->setAddAttachments(true);
    send(note);
    return true;
}

void createNotes(HostObject& viewer, int tag) {
    const MessageList messages = targetedMessages(viewer);
    if (messages.size() == 1) return createOne(viewer, messages.front(), tag);
    for (const MessageRef& message : messages)
        if (!createOneOfSeveral(message)) return;
}

void offerServices() {
    const int answer = QSRunAlertPanel(
        QSLocalizedString("No notes service available"),
        QSLocalizedString("Before you can create notes from your emails, you need to link Quillstead to a notes "
                          "service. Do you want to do this now?"),
        {QSLocalizedString("Yes"), QSLocalizedString("Not now")});
    const auto app = MailApp::shared();
    if (answer != kAlertFirstButtonReturn || !app || !QSSession::currentIfLoaded()) return;
    app->sendAction("showQuillsteadPreferences:", nullptr, nullptr);
    QSQuillsteadPreferenceModule::sharedInstance()->showServices();
}

void createNoteOrOffer(HostObject& viewer, int tag) {
    if (!QSNotesManager::hasNotesService()) return offerServices();
    createNoteWithActionTag(viewer, tag);
}

void openNote(HostObject&, HostObject* sender) {
    const auto* item = dynamic_cast<MenuItem*>(sender);
    const auto object = item ? std::dynamic_pointer_cast<NoteObject>(item->representedObject()) : nullptr;
    if (!object) return;
    if (const auto opened = openNoteAtService(*object->note); !opened) {
        logError("A note can't be opened: " + opened.error().description);
        beep();
    }
}

std::shared_ptr<MenuItem> itemFor(const Note& note, HostObject& viewer) {
    auto item = std::make_shared<MenuItem>(note->title().value_or(""), "openNote:");
    item->setTarget(viewer.weak_from_this());
    item->setRepresentedObject(std::make_shared<NoteObject>(note));
    item->setIndentationLevel(1);
    item->setEnabled(note->remoteURL().has_value());
    const auto notebook = note->notebook();
    const std::string icon = notebook ? notebook->icon() : std::string();
    item->setImageName(icon.empty() ? "plugin:MessageListNoteTemplate" : icon);
    return item;
}

void addAssociatedNotes(Menu& menu, HostObject& viewer) {
    if (!QSNotesManager::hasNotesService()) return;
    std::vector<Note> found;
    for (const MessageRef& message : targetedMessages(viewer))
        if (const std::string id = message->messageID(); !id.empty())
            std::ranges::copy(notes().notesForMessageID(id), std::back_inserter(found));
    if (found.empty()) return;
    menu.addItem(MenuItem::separatorItem());
    auto heading = std::make_shared<MenuItem>(QSLocalizedString("Associated Notes"), "");
    heading->setHeading(true);
    heading->setEnabled(false);
    menu.addItem(std::move(heading));
    for (const Note& note : found)
        menu.addItem(itemFor(note, viewer));
}

void setShortcut(MenuItem& item, std::string_view key) {
    const Value stored = QSPluginDelegate::quillsteadDefaults().objectForKey(key);
    item.setKeyEquivalent(keyEquivalentFromShortcut(stored));
    item.setKeyEquivalentModifierMask(modifierMaskFromShortcut(stored));
}

void menuNeedsUpdate(HostObject& viewer, Menu& menu) {
    if (menu.title() != kMenuTitle || menu.numberOfItems() < kOwnItems) return;
    while (menu.numberOfItems() > kOwnItems)
        menu.removeItem(menu.itemAtIndex(menu.numberOfItems() - 1));
    setShortcut(*menu.itemAtIndex(1), "QSCreateQuickNoteShortcut");
    setShortcut(*menu.itemAtIndex(2), "QSCreateNoteShortcut");
    const std::size_t targeted = targetedMessages(viewer).size();
    menu.itemWithTag(kTagCreateNote)->setEnabled(targeted == 1);
    menu.itemWithTag(kTagCreateQuickNote)->setEnabled(targeted > 0);
    addAssociatedNotes(menu, viewer);
}

std::shared_ptr<Menu> makeNotesMenu(HostObject& viewer) {
    auto menu = std::make_shared<Menu>(kMenuTitle);
    auto heading = std::make_shared<MenuItem>(QSLocalizedString("Notes"), "");
    heading->setHeading(true);
    menu->addItem(std::move(heading));
    menu->addItemWithTitle(QSLocalizedString("Create quick note"), "createQuickNote:", "")->setTag(kTagCreateQuickNote);
    menu->addItemWithTitle(QSLocalizedString("Create note"), "createNoteWithDialog:", "")->setTag(kTagCreateNote);
    menu->setUpdateHandler([weak = viewer.weak_from_this()](Menu& shown) {
        const auto self = weak.lock();
        if (self && QSSession::currentIfLoaded()) message_viewer_quillstead::menuNeedsUpdate(*self, shown);
    });
    return menu;
}

}  // namespace

void addViewerNoteMethods(PatchClass& patch) {
    using namespace message_viewer_quillstead;
    ClassRegistry::current().define(kNoteClass);
    patch.add(Action("createQuickNote:"),
              [](HostObject& self, HostObject*) { createNoteOrOffer(self, kTagCreateQuickNote); });
    patch.add(Action("createNoteWithDialog:"),
              [](HostObject& self, HostObject*) { createNoteOrOffer(self, kTagCreateNote); });
    patch.add(createNoteWithActionTag, createNotes);
    patch.add(Action("openNote:"), openNote);
    patch.add(message_viewer_quillstead::menuNeedsUpdate, qs::menuNeedsUpdate);
    patch.add(notesMenu, [](HostObject& self) {
        auto menu = self.associated<std::shared_ptr<Menu>>(notesMenu.selector().name());
        if (menu) return menu;
        menu = makeNotesMenu(self);
        message_viewer_quillstead::setNotesMenu(self, menu);
        return menu;
    });
    patch.add(setNotesMenu, [](HostObject& self, const std::shared_ptr<Menu>& menu) {
        self.setAssociatedObject(notesMenu.selector().name(), menu);
    });
}

}  // namespace qs
