// The object store as the delegate owns it: opened at the first access, saved on demand, its errors shown.
#include "Core/QSObjectStore.h"

#include <algorithm>

#include "Application/MailApp.h"
#include "Core/QSLifecycleHooks.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Core/Store/ManagedObjectContext.h"
#include "Core/Store/PersistentStore.h"
#include "Core/Store/StoreErrors.h"
#include "Foundation/Assertion.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Notes/QSNote.h"
#include "Notes/QSNotebook.h"
#include "Platform.h"
#include "Reminder/QSReminder.h"
#include "SystemFacts/ProcessInfo.h"
#include "Tracking/QSTrackingPixel.h"

namespace qs {

namespace {

constexpr std::size_t kErrorsListedOfMany = 3;

template <class T>
std::pair<const std::string, std::function<ManagedObjectRef()>> objectClass(const char* name) {
    return {name, [] { return std::make_shared<T>(); }};
}

ObjectClasses objectClasses() {
    return {objectClass<QSTrackingPixel>("QSTrackingPixel"),
            objectClass<QSTrackingPixelOpen>("QSTrackingPixelOpen"),
            objectClass<QSNote>("QSNote"),
            objectClass<QSNotebook>("QSNotebook"),
            objectClass<QSReminder>("QSReminder"),
            objectClass<QSReminderList>("QSReminderList")};
}

}  // namespace

std::filesystem::path objectStoreFile() {
    const auto info = Platform::current().processInfo;
    assertThat(info != nullptr, "There is no documents folder");
    return info->documentsFolder() / "QuillsteadData.sqlite";
}

void removeObjectStore() {
    // The database first: without it the side files mean nothing to anybody.
    for (const char* side : {"", "-wal", "-shm"})
        (void)FileSystem::real().remove(objectStoreFile().concat(side));
}

Error withListOfDetails(const Error& error) {
    Array details = error.userInfo.contains(NSDetailedErrorsKey)
                        ? error.userInfo.find(NSDetailedErrorsKey)->second.array()
                        : Array{detailOf(error)};
    std::string text = stringWithFormat(QSLocalizedString("%lu validation errors have occurred"),
                                        {static_cast<std::int64_t>(details.size())});
    if (details.size() <= kErrorsListedOfMany) {
        text += ":\n";
    } else {
        text += QSLocalizedString(".\nThe first 3 are:\n");
        details.resize(kErrorsListedOfMany);
    }
    for (const Value& detail : details)
        text += stringWithFormat("%@\n", {detail[NSLocalizedDescriptionKey]});
    Error result = error;
    result.description = text;
    result.userInfo[std::string(NSLocalizedDescriptionKey)] = text;
    return result;
}

ManagedObjectContext& QSPluginDelegate::managedObjectContext() {
    if (!RunLoop::main().isMainThread()) raiseAssertion("Core Data needs to run on the main thread only!!!");
    if (managedObjectContext_) return *managedObjectContext_;
    auto model = ManagedObjectModel::mergedModelFromBundles({&QSSession::current().bundle()});
    if (!model) raiseAssertion("Error initializing Managed Object Model for Quillstead");
    auto store = PersistentStore::open(objectStoreFile(), std::move(model), FileSystem::real());
    if (!store) {
        const Error& error = store.error();
        // Whoever needs the store next meets the same failure; the person is told of it once.
        const auto application = MailApp::shared();
        if (application && toldStoreError_ != error.description) application->addNotice(error.description);
        toldStoreError_ = error.description;
        raiseAssertion(stringWithFormat("Error initializing persistent store coordinator: %@\n%@",
                                        {error.description, error.userInfo}));
    }
    managedObjectContext_ = std::make_unique<ManagedObjectContext>(std::move(*store), objectClasses());
    managedObjectContext_->setChangeHandler([](std::string_view entityName) {
        QSSession* const session = QSSession::currentIfLoaded();
        if (session && session->lifecycleHooks().recordDidChange) session->lifecycleHooks().recordDidChange(entityName);
    });
    return *managedObjectContext_;
}

void QSPluginDelegate::saveCoreData() {
    if (!FileSystem::real().exists(objectStoreFile())) return;
    ManagedObjectContext& context = managedObjectContext();
    if (!context.commitEditing() || !context.hasChanges()) return;
    const auto saved = context.save();
    if (saved) return;
    const Error& error = saved.error();
    logError("the object store could not be saved; trying again with the next change: " + error.description);
    // While the dialog waits the program goes on, and saves again with every change. One dialog tells them all.
    if (showsSaveError_) return;
    const auto application = MailApp::shared();
    if (!application) return;
    showsSaveError_ = true;
    const std::weak_ptr<bool> alive = alive_;
    const bool isMultiple = error.code == static_cast<int>(StoreErrorCode::MultipleErrors);
    application->presentError(isMultiple ? withListOfDetails(error) : error);
    if (!alive.expired()) showsSaveError_ = false;
}

}  // namespace qs
