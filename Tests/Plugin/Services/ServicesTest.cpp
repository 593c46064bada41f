// The registry of outside services: kinds, archive, passwords, and what is set for mail accounts.
#include "Foundation/PropertyList.h"
#include "Services/NUKeychain.h"
#include "Services/ServiceTypes.h"
#include "ServicesFixture.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr int kDroplr = 3, kBox = 6, kFlickr = 13, kTodoist = 21;

class SavedServicesTest : public ServicesTest {
protected:
    Array stored() {
        return parsePropertyList(defaults().objectForKey("QSServicesList").dataValue().bytes).value().array();
    }
    void store(const Array& records) {
        defaults().setObject(Data{xmlPropertyList(records)}, "QSServicesList");
        ASSERT_TRUE(defaults().synchronize());
    }
    std::vector<int> types() {
        std::vector<int> found;
        for (const auto& service : manager().services())
            found.push_back(service->serviceType());
        return found;
    }
};

TEST_F(SavedServicesTest, EachKindIsWhatTheTableSays) {
    start();
    struct Case {
        int type;
        const char *name, *identifier;  // null: none
        int utility;
        bool deletable, multiple;
    };
    for (const Case& c : {Case{-1, nullptr, nullptr, -1, true, true},
                          {0, "Dropbox", "Dropbox", 0, true, false},
                          {1, nullptr, nullptr, -1, true, true},
                          {2, "CloudApp", "CloudApp", 0, true, true},
                          {3, "Droplr", "Droplr", 0, true, true},
                          {4, "Dropmark", "Dropmark", 0, true, true},
                          {5, "MediaFire", "MediaFire", 0, true, true},
                          {6, "Box", "Box", 0, true, true},
                          {7, "Google Drive", "GoogleDrive", 0, true, true},
                          {8, "ownCloud", "OwnCloud", 0, true, true},
                          {9, "FTP/SFTP/WebDAV", "FTP", 0, true, true},
                          {10, "Evernote", "Evernote", 1, true, false},
                          {11, "Gravatar", "Gravatar", 2, false, false},
                          {12, nullptr, nullptr, -1, true, true},
                          {13, "Flickr", "Flickr", 2, false, false},
                          {14, "Google+", "Google+", 2, false, true},
                          {15, "Websites", "Websites", 2, false, false},
                          {16, "Contacts", "Contacts", 2, false, false},
                          {17, "Reminders", "Reminders", 3, false, false},
                          {18, "OneNote", "OneNote", 1, true, true},
                          {19, "OneDrive", "OneDrive", 0, true, true},
                          {20, "Wunderlist", "Wunderlist", 3, true, true},
                          {21, "Todoist", "Todoist", 3, true, true},
                          {22, "Asana", "Asana", 3, true, true},
                          {23, nullptr, nullptr, -1, true, true},
                          {24, "Quillstead", "Quillstead", 2, false, true},
                          {25, nullptr, nullptr, -1, true, true}}) {
        EXPECT_EQ(QSService::nameForServiceType(c.type).value_or("-"), c.name ? c.name : "-") << c.type;
        EXPECT_EQ(QSService::identifierForServiceType(c.type).value_or("-"), c.identifier ? c.identifier : "-")
            << c.type;
        EXPECT_EQ(QSService::utilityTypeForServiceType(c.type), static_cast<std::uint64_t>(c.utility)) << c.type;
        EXPECT_EQ(QSService::isDeletableServiceType(c.type), c.deletable) << c.type;
        EXPECT_EQ(QSService::allowsMultipleOfServiceType(c.type), c.multiple) << c.type;
        const std::string icon = !c.identifier  ? ""
                                 : c.type == 24 ? "plugin:Quillstead"
                                                : "plugin:" + std::string(c.identifier) + "_Icon";
        EXPECT_EQ(QSService::iconForServiceType(c.type), icon) << c.type;
        if (c.type == 24 || !c.identifier) continue;
        EXPECT_FALSE(QSSession::current().bundle().pathForResource(icon.substr(7), "svg").empty()) << icon;
    }
}

TEST_F(SavedServicesTest, TheBuiltInOnesAreThereAndLinkedFromTheFirstStart) {
    start();
    EXPECT_THAT(types(), ElementsAre(11, 13, 14, 15, 16, 17));
    EXPECT_THAT(manager().linkedServices(), SizeIs(6));
    EXPECT_THAT(stored(), SizeIs(6)) << "the list is written before anybody sees it";
    std::vector<std::string> shown;
    for (const auto& service : manager().sortedServices())
        shown.push_back(service->name());
    EXPECT_THAT(shown, ElementsAre("Reminders", "Contacts", "Flickr", "Google+", "Gravatar", "Websites"));

    Array records = stored();
    std::erase_if(records, [](const Value& record) { return record["serviceType"].integerValue() == kFlickr; });
    records.insert(records.begin(), Dictionary{{"serviceType", kFlickr + 8}, {"uniqueIdentifier", "T"}});
    store(records);
    restart();
    EXPECT_THAT(types(), ElementsAre(kTodoist, 11, 14, 15, 16, 17, kFlickr));
    EXPECT_TRUE(manager().services().back()->linked());
    EXPECT_FALSE(manager().services().front()->linked());
}

TEST_F(SavedServicesTest, ARecordComesBackWithItsPasswordFromTheKeychainAndNowhereElse) {
    start();
    const auto droplr = manager().addServiceOfType(kDroplr);
    const std::string identifier = droplr->uniqueIdentifier().value();
    EXPECT_EQ(identifier.size(), 36u);
    EXPECT_EQ(identifier.find_first_not_of("0123456789ABCDEF-"), std::string::npos);
    droplr->setLogin("ada@example.org");
    droplr->setPassword("swordfish");
    droplr->credentials()["QSDropmarkToken"] = "t";
    droplr->setLinking(true);
    droplr->markAsLinked(true);
    EXPECT_EQ(droplr->keychainIdentifier(), "Quillstead - Droplr (" + identifier + ")");
    EXPECT_EQ(NUKeychain::passwordFromKeychainItem(droplr->keychainIdentifier(), "ada@example.org"), "swordfish");
    host_->settle();
    EXPECT_EQ(stored().back()["linked"], Value(true)) << "saved without waiting for the end of the program";

    MailBundleUnload();
    host_->restart();
    installKeychain();
    keychain_->isLocked = true;
    load();
    const auto again = manager().serviceWithIdentifier(identifier);
    ASSERT_TRUE(again);
    EXPECT_EQ(again->encoded(), Value(Dictionary{{"serviceType", kDroplr},
                                                 {"uniqueIdentifier", identifier},
                                                 {"credentials", Dictionary{{"QSDropmarkToken", "t"}}},
                                                 {"login", "ada@example.org"},
                                                 {"linked", true}}));
    EXPECT_FALSE(again->linking());
    EXPECT_EQ(again->password(), std::nullopt);
    keychain_->isLocked = false;
    EXPECT_EQ(again->password(), "swordfish") << "a keychain that was locked at the start is asked again";
    EXPECT_EQ(defaults().objectForKey("QSServicesList").dataValue().bytes.find("swordfish"), std::string::npos);

    again->markAsLinked(false);
    EXPECT_FALSE(NUKeychain::checkForExistanceOfKeychainItem(again->keychainIdentifier(), "ada@example.org"));
    EXPECT_EQ(again->login(), "ada@example.org");
}

TEST_F(SavedServicesTest, OddRecordsAreMendedOrLeftOutAndNoneIsLostSilently) {
    start();
    store({Dictionary{{"serviceType", kBox}, {"uniqueIdentifier", ""}, {"login", "empty"}},
           Dictionary{{"serviceType", kBox}, {"login", "null"}},
           Dictionary{{"serviceType", std::int64_t{1} << 40}, {"uniqueIdentifier", "N"}},
           Dictionary{{"serviceType", kBox}, {"uniqueIdentifier", "B"}, {"login", "good"}}});
    restart();
    const auto boxes = manager().servicesOfServiceType(kBox, false);
    ASSERT_THAT(boxes, SizeIs(2));
    EXPECT_EQ(boxes[0]->login(), "empty");
    EXPECT_EQ(boxes[0]->uniqueIdentifier().value().size(), 36u);
    EXPECT_EQ(boxes[1]->uniqueIdentifier(), "B");
    std::string errors;
    for (const auto& each : log_.messages(LogLevel::Error))
        errors += each + "\n";
    EXPECT_THAT(errors, HasSubstr("Could not load unique identifier for this service. Creating new identifier now!"));
    EXPECT_THAT(errors, HasSubstr("Removing service 'Box (null) ((null))' without valid identifier!"));
    EXPECT_THAT(errors, HasSubstr("Something is wrong with our service identifier: 1099511627776!"));
    EXPECT_FALSE(defaults().objectForKey("QSDamagedServicesList").isNil());
}

TEST_F(SavedServicesTest, ADamagedListIsKeptAsideAndTheBuiltInOnesStand) {
    start();
    for (const Value& damaged :
         {Value(Data{"<plist><arr"}), Value("no data"), Value(Data{xmlPropertyList(Dictionary{})})}) {
        defaults().setObject(damaged, "QSServicesList");
        ASSERT_TRUE(defaults().synchronize());
        restart();
        EXPECT_THAT(types(), ElementsAre(11, 13, 14, 15, 16, 17));
        EXPECT_EQ(defaults().objectForKey("QSDamagedServicesList"), damaged);
    }
}

TEST_F(SavedServicesTest, SeveralAccountsOfAKindShowWhoseTheyAre) {
    start();
    const auto first = manager().addServiceOfType(kBox);
    EXPECT_EQ(first->name(), "Box");
    const auto second = manager().addServiceOfType(kBox);
    first->setLogin("ada@example.org");
    EXPECT_EQ(first->name(), "Box (ada@example.org)");
    EXPECT_EQ(second->name(), "Box (Unknown)");
    EXPECT_EQ(second->description(), "Box (Unknown) (" + *second->uniqueIdentifier() + ")");
    first->markAsLinked(true);
    EXPECT_THAT(manager().servicesOfUtilityType(kUploadUtility, true), ElementsAre(first));
    EXPECT_THAT(manager().servicesOfUtilityType(kUploadUtility, false), ElementsAre(first, second));
    EXPECT_EQ(manager().serviceWithIdentifier(*second->uniqueIdentifier()), second);
    EXPECT_EQ(manager().serviceWithIdentifier(""), nullptr);
}

TEST_F(SavedServicesTest, MailAccountsHaveTheirSettingsAndBlindCopies) {
    start();
    EXPECT_THAT(manager().automaticBCCForAllDeliveryAccounts(), IsEmpty());
    manager().setAutomaticBCC(Array{"archive@example.org", "boss@example.org"}, "ada");
    manager().setAutomaticBCC(Array{"archive@example.org"}, "ben");
    EXPECT_EQ(defaults().objectForKey("QSQuillstead_BCC_ben"), Value(Array{"archive@example.org"}));
    EXPECT_THAT(manager().automaticBCCForAllDeliveryAccounts(),
                ElementsAre("archive@example.org", "boss@example.org", "archive@example.org"));
    const auto& settings = manager().mailAccountSettings();
    ASSERT_THAT(settings, SizeIs(2));
    EXPECT_EQ(settings[0].name, "ada@example.org");
    EXPECT_EQ(settings[0].identifier, "ada");
    EXPECT_EQ(settings[0].deliveryIdentifier, "ada");
    EXPECT_EQ(settings[0].icon, "plugin:squareAccountIcon");
    EXPECT_EQ(settings[0].automaticBCC, std::nullopt) << "built once and kept";
    for (const auto& none : {std::optional<Array>(Array{}), std::optional<Array>()}) {
        manager().setAutomaticBCC(Array{"x@example.org"}, "ada");
        manager().setAutomaticBCC(none, "ada");
        EXPECT_TRUE(defaults().objectForKey("QSQuillstead_BCC_ada").isNil());
    }
    int changes = 0;
    const auto observer = manager().addObserver("mailAccountSettings", [&](bool) { ++changes; });
    manager().changedMailAccountSettings();
    EXPECT_EQ(changes, 2);
}

}  // namespace
}  // namespace qs
