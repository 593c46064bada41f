#include "MailEngine.h"

#include "AccountBook.h"
#include "Accounts/AccountChanges.h"
#include "Accounts/AccountTokens.h"
#include "Accounts/RecordDeliveryAccount.h"
#include "Application/HostInstances.h"
#include "DeliveryService.h"
#include "Foundation/FileSystem.h"
#include "Library/LibraryObjects.h"
#include "MailLibrary.h"
#include "MailReading.h"
#include "MailSync.h"

namespace qs {

MailEngine::MailEngine() : tokens_(std::make_unique<AccountTokens>()) {}

Result<std::unique_ptr<MailEngine>> MailEngine::open(const EngineOptions& options) {
    FileSystem& files = options.files ? *options.files : FileSystem::real();
    if (auto made = files.makeFolder(options.dataFolder); !made) return failed(made);
    std::unique_ptr<MailEngine> engine(new MailEngine);
    auto accounts = AccountBook::open(options.dataFolder / "Accounts.plist", files);
    if (!accounts) return failed(accounts);
    engine->accounts_ = std::move(*accounts);

    engine->dataFolder_ = options.dataFolder;
    engine->files_ = &files;
    auto library = MailLibrary::open(options.dataFolder, engine->accounts_, files);
    if (!library) return failed(library);
    engine->library_ = std::move(*library);
    engine->deliveries_ = DeliveryService::make(options.dataFolder, *engine->library_, *engine->accounts_, files);
    engine->sync_ =
        MailSync::make({options.dataFolder, options.network, options.watchesInboxes, options.imapPieceBytes},
                       *engine->library_, *engine->accounts_, files);
    if (options.watchFolders) engine->library_->watchFolders();
    MailReading::of(*engine->library_).readIn();

    HostInstances& instances = HostInstances::current();
    instances.library = engine->library_;
    instances.libraryStore = engine->library_->store();
    instances.mailAccounts = [weak = std::weak_ptr(engine->library_)] {
        const auto held = weak.lock();
        return held ? held->mailAccounts() : std::vector<std::shared_ptr<MailAccount>>();
    };
    ClassRegistry::current().define("MFDeliveryAccount");
    instances.deliveryAccount =
        [book = engine->accounts_](const MailAccount& account) -> std::shared_ptr<DeliveryAccount> {
        const AccountRecord* record = book->find(account.identifier());
        return record ? std::make_shared<RecordDeliveryAccount>(*record) : nullptr;
    };
    finishRemovals(*engine);
    return engine;
}

MailEngine::~MailEngine() {
    if (library_) MailReading::of(*library_).stopReading();  // others may be waiting for it
    tokens_.reset();                                         // first: a delivery may be waiting for one
    if (deliveries_) deliveries_->stop();
    deliveries_.reset();
    if (sync_) sync_->stop();
    sync_.reset();
    // Nothing was filled in by an engine that did not open.
    HostInstances& instances = HostInstances::current();
    if (library_ && instances.library == library_) {
        instances.library.reset();
        instances.libraryStore.reset();
        instances.mailAccounts = nullptr;
        instances.deliveryAccount = nullptr;
    }
}

std::vector<std::string> MailEngine::takeNotices() {
    std::vector<std::string> notices = library_->takeNotices();
    for (std::string& notice : sync_->takeNotices())
        notices.push_back(std::move(notice));
    return notices;
}

}  // namespace qs
