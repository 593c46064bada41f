// Services as they are linked, used and signed out of: their states, their workers, and the way back from the browser.
#include "Foundation/Assertion.h"
#include "Services/NUKeychain.h"
#include "Services/ServiceTypes.h"
#include "ServicesFixture.h"
#include "Uploader/QSUploader.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr int kDropbox = 0, kDroplr = 3, kBox = 6, kFlickr = 13, kReminders = 17;

class ServiceLinksTest : public ServicesTest {};

TEST_F(ServiceLinksTest, StatesChangeWithTheirNoticesAndTheKeychainOnlyWhenSomethingDoes) {
    start();
    const auto service = manager().addServiceOfType(kDroplr);
    service->setLogin("ada");
    service->setPassword("swordfish");
    std::vector<std::string> told;
    std::vector<ObservationRef> observers;
    for (const char* key : {"linked", "linking", "linkStateColor"})
        observers.push_back(service->addObserver(key, [&told, key, &service](bool isPrior) {
            told.push_back(std::string(isPrior ? "will " : "did ") + key + (service->linked() ? " L" : "") +
                           (service->linking() ? " l" : ""));
        }));
    const auto takeTold = [&] { return std::exchange(told, {}); };
    EXPECT_EQ(service->linkStateColor(), Color::colorWithRed(0.88, 0.88, 0.88));
    service->setLinking(true);
    EXPECT_THAT(takeTold(),
                ElementsAre("will linking", "will linkStateColor", "did linking l", "did linkStateColor l"));
    EXPECT_EQ(service->linkStateColor(), Color::colorWithRed(0.99, 0.75, 0.25));
    const int before = keychain_->uses;
    service->markAsLinked(false);
    EXPECT_THAT(takeTold(),
                ElementsAre("will linking l", "will linkStateColor l", "did linking", "did linkStateColor"));
    EXPECT_EQ(keychain_->uses, before) << "nothing has changed but the linking";
    service->markAsLinked(true);
    EXPECT_THAT(takeTold(), ElementsAre("will linked", "will linkStateColor", "did linked L", "did linkStateColor L"));
    EXPECT_GT(keychain_->uses, before);
    EXPECT_EQ(service->linkStateColor(), Color::colorWithRed(0.2, 0.78, 0.29));
    service->setLinking(true);
    EXPECT_EQ(service->linkStateColor(), Color::colorWithRed(0.99, 0.75, 0.25)) << "linking wins";

    int listChanges = 0;
    const auto list = manager().addObserver("services", [&](bool isPrior) { listChanges += isPrior ? 10 : 1; });
    manager().removeService(manager().addServiceOfType(kBox));
    EXPECT_EQ(listChanges, 22);
}

TEST_F(ServiceLinksTest, AWorkerIsMadeOnceByTheFactoryOfItsUseAndOthersAreFaults) {
    start();
    const auto service = manager().addServiceOfType(kDroplr);
    EXPECT_THROW(service->slave(), AssertionFailure);
    EXPECT_THAT(
        log_.messages(LogLevel::Error).back(),
        HasSubstr("Could not find or create a slave for service 'Droplr (" + *service->uniqueIdentifier() + ")'!"));
    EXPECT_THROW(QSService::initWithServiceType(kPlaceholderServiceType)->slave(), AssertionFailure);
    useNotingSlaves(kDroplr);
    EXPECT_EQ(&service->slave(), &service->slave());

    EXPECT_EQ(QSUploader::classForServiceType(kDropbox)->name, "QSDropboxUploader");
    for (const int strange : {1, 10, kReminders, 24, 99}) {
        EXPECT_THROW(QSUploader::classForServiceType(strange), AssertionFailure) << strange;
        EXPECT_THAT(log_.messages(LogLevel::Error).back(),
                    HasSubstr("Invalid class type requested: " + std::to_string(strange)));
    }
}

TEST_F(ServiceLinksTest, ActivationSyncsLinkedWorkersInOrder) {
    start();
    useNotingSlaves(kDroplr);
    useNotingSlaves(kFlickr);
    for (const char* login : {"one", "two", "three"}) {
        const auto service = manager().addServiceOfType(kDroplr);
        service->setLogin(login);
        if (login != std::string("two")) service->markAsLinked(true);
    }
    host_->advance(5);
    notes_.clear();
    delegate().applicationDidBecomeActive();
    host_->advance(2.9);
    EXPECT_THAT(notes_, IsEmpty());
    host_->advance(0.2);
    EXPECT_THAT(notes_, ElementsAre("sync ?", "sync one", "sync three"));
}

TEST_F(ServiceLinksTest, ARedirectCountsOnceWithinAQuarterOfAnHourForWhoWaits) {
    start();
    useNotingSlaves(kBox);
    const auto service = manager().addServiceOfType(kBox);
    const auto open = [&](const char* url) {
        host_->application().openAddress(url);
        host_->settle();
        return std::exchange(notes_, {});
    };
    EXPECT_THAT(open("quillstead://box-redirect?code=early"), IsEmpty());
    service->setLinking(true);
    EXPECT_THAT(open("quillstead://box-redirect?error=denied"), IsEmpty());
    EXPECT_TRUE(service->linking());
    host_->advance(15 * 60 - 1);
    EXPECT_THAT(open("quillstead://box-redirect?code=good"), ElementsAre("code good ?"));
    EXPECT_THAT(open("quillstead://box-redirect?code=again"), IsEmpty());
    service->setLinking(true);
    host_->advance(15 * 60 + 1);
    EXPECT_THAT(open("quillstead://box-redirect?code=late"), IsEmpty());
    service->markAsLinked(true);
    service->setLinking(true);
    EXPECT_THAT(open("quillstead://box-redirect?code=linked"), IsEmpty());
}

TEST_F(ServiceLinksTest, RemovingThePlugInSignsOutEverywhereAndLeavesNoList) {
    start();
    useNotingSlaves(kDroplr);
    const auto service = manager().addServiceOfType(kDroplr);
    service->setLogin("ada");
    service->setPassword("swordfish");
    service->markAsLinked(true);
    hooks().unlinkAllServices();
    defaults().removeObjectForKey("QSServicesList");
    host_->settle();
    hooks().saveServices();
    EXPECT_THAT(notes_, ElementsAre("deauthenticate ada"));
    EXPECT_THAT(manager().linkedServices(), IsEmpty());
    EXPECT_FALSE(NUKeychain::checkForExistanceOfKeychainItem(service->keychainIdentifier(), "ada"));
    EXPECT_TRUE(defaults().objectForKey("QSServicesList").isNil());
}

}  // namespace
}  // namespace qs
