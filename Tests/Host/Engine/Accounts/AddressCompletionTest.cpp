#include "Accounts/AddressCompletion.h"

#include "../Library/LibraryTest.h"
#include "Contacts/ContactBook.h"
#include "Platform.h"

namespace qs {

namespace {

class AddressCompletion : public LibraryTest {
protected:
    void SetUp() override {
        LibraryTest::SetUp();
        contacts_ = ContactBook::inFolder(dataFolder_ / "Contacts", FileSystem::real(), false);
        Platform::install({.contacts = contacts_});
        open();
    }
    void TearDown() override {
        Platform::install({});
        LibraryTest::TearDown();
    }
    void seen(const std::string& address) {
        ASSERT_TRUE(library_->add(box("ada/INBOX"), "From: " + address + "\r\nSubject: x\r\n\r\n", {}, {100}));
    }
    void know(const std::string& name, const std::string& address) { ASSERT_TRUE(contacts_->add(name, address)); }

    std::shared_ptr<ContactBook> contacts_;
};

}  // namespace

TEST_F(AddressCompletion, OffersContactsBeforePeopleSeenInMail) {
    for (int i = 0; i < 3; ++i)
        seen("Annoying Seller <anna@spam.example>");
    seen("Anton B. <anton@x.org>");
    know("Anna Able", "anna@x.org");
    know("Anton Baker", "anton@x.org");
    know("Anwar Cook", "cook@x.org");
    struct Case {
        const char *why, *typed;
        std::vector<std::string> offered;
    };
    for (const Case& c : std::vector<Case>{
             {"those in use first, by the name that the person gave them; each once",
              "an",
              {"Anton Baker <anton@x.org>", "Anna Able <anna@x.org>", "Anwar Cook <cook@x.org>",
               "Annoying Seller <anna@spam.example>"}},
             {"by address", "cook@", {"Anwar Cook <cook@x.org>"}},
             {"people who are no contacts", "sell", {"Annoying Seller <anna@spam.example>"}},
             {"nobody", "zz", {}},
         })
        EXPECT_EQ(completeAddress(*library_, c.typed, 8), c.offered) << c.why;
    EXPECT_EQ(completeAddress(*library_, "an", 2).size(), 2U);
}

TEST_F(AddressCompletion, TakesOfSeveralAddressesThoseThatFit) {
    std::filesystem::create_directories(dataFolder_ / "Contacts");
    const auto card =
        "BEGIN:VCARD\nVERSION:4.0\nFN:Ada Lovelace\nEMAIL:ada@home.example\nEMAIL;PREF=1:work@x.org\nEND:VCARD\n";
    ASSERT_TRUE(FileSystem::real().writeNew(dataFolder_ / "Contacts/ada.vcf", card));
    contacts_->reload();
    using Offered = std::vector<std::string>;
    EXPECT_EQ(completeAddress(*library_, "love", 8),
              (Offered{"Ada Lovelace <work@x.org>", "Ada Lovelace <ada@home.example>"}));
    EXPECT_EQ(completeAddress(*library_, "work@", 8), (Offered{"Ada Lovelace <work@x.org>"}));
}

}  // namespace qs
