#include "Contacts/ContactBook.h"

#include <gmock/gmock.h>

#include <fstream>

#include "Foundation/FileSystem.h"
#include "Support/TemporaryFolder.h"
#include "Text/Base64.h"

namespace qs {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ContactBookTest : public ::testing::Test {
protected:
    void write(const std::string& file, const std::string& lines) {
        std::filesystem::create_directories(folder_ / "Contacts");
        std::ofstream(folder_ / "Contacts" / file) << "BEGIN:VCARD\nVERSION:3.0\n" << lines << "END:VCARD\n";
        if (book_) book_->reload();
    }
    ContactBook& book() {
        if (!book_) book_ = ContactBook::inFolder(folder_ / "Contacts", FileSystem::real(), false);
        return *book_;
    }
    static std::vector<std::string> names(const std::vector<Contact>& contacts) {
        std::vector<std::string> names;
        for (const Contact& each : contacts)
            names.push_back(each.displayName);
        return names;
    }

    TemporaryFolder folder_;
    std::shared_ptr<ContactBook> book_;
};

}  // namespace

TEST_F(ContactBookTest, FindsPeopleByWhatIsTyped) {
    write("ada.vcf", "FN:Ada Lovelace\nEMAIL:ada@engines.example\n");
    write("bens.VCF", "FN:ben nevis\nEMAIL:ben@x.org\nEND:VCARD\nBEGIN:VCARD\nFN:Ärger Amt\nEMAIL:amt@x.org\n");
    write("acme.vcf", "ORG:Acme Engines\nEMAIL:info@acme.example\n");
    write("mute.vcf", "FN:Adalbert Mute\n");
    write("notes.txt", "FN:Ada Text\nEMAIL:no@x.org\n");
    struct Case {
        const char *why, *typed;
        std::vector<std::string> found;
    };
    for (const Case& c : std::vector<Case>{
             {"a first name; who has no address is left out", "ada", {"Ada Lovelace"}},
             {"a last name, in any case", "NEV", {"ben nevis"}},
             {"an address", "info@", {"Acme Engines"}},
             {"a second word of a firm", "engines", {"Acme Engines"}},
             {"two words", "ada l", {"Ada Lovelace"}},
             {"beyond ASCII", "äRG", {"Ärger Amt"}},
             {"within a word", "velace", {}},
             {"nothing", " ", {}},
             {"several, by name", "a", {"Acme Engines", "Ada Lovelace", "Ärger Amt"}},
         })
        EXPECT_EQ(names(book().beginningWith(c.typed, 10)), c.found) << c.why;
    EXPECT_THAT(names(book().beginningWith("a", 1)), ElementsAre("Acme Engines"));
    EXPECT_EQ(book().displayNameFor("ADA@engines.example"), "Ada Lovelace");
    EXPECT_EQ(book().displayNameFor("a@engines.example"), "");
}

TEST_F(ContactBookTest, SeesWhatOtherProgramsChange) {
    EXPECT_THAT(book().all(), IsEmpty()) << "there is no folder yet";
    write("a.vcf", "FN:Ada\nEMAIL:a@x.org\n");
    EXPECT_THAT(names(book().all()), ElementsAre("Ada"));
    write("b.vcf", "FN:Ben\nEMAIL:b@x.org\n");
    write("a.vcf", "FN:Ada Lovelace\nEMAIL:a@x.org\n");
    EXPECT_THAT(names(book().all()), ElementsAre("Ada Lovelace", "Ben"));
    std::filesystem::remove(folder_ / "Contacts/a.vcf");
    book().reload();
    EXPECT_THAT(names(book().all()), ElementsAre("Ben"));
}

TEST_F(ContactBookTest, AddsAPersonOnce) {
    const auto added = book().add("Ada Lovelace", "ada@x.org");
    ASSERT_TRUE(added) << added.error().description;
    EXPECT_THAT(names(book().withMailAddress("Ada@x.org")), ElementsAre("Ada Lovelace"));
    const auto again = book().add("Another Name", "ADA@x.org");
    ASSERT_TRUE(again);
    EXPECT_EQ(again->identifier, added->identifier);
    EXPECT_FALSE(book().add("Nobody", "no address"));
    book_.reset();
    EXPECT_THAT(names(book().all()), ElementsAre("Ada Lovelace")) << "it is on the disk";
}

TEST_F(ContactBookTest, ReadsPicturesOfCardsWithAndWithoutIdentifiers) {
    const std::string png = "\x89PNG\r\n\x1A\n1";
    const auto photo = [](const std::string& bytes) { return "PHOTO;ENCODING=b:" + base64EncodedString(bytes) + "\n"; };
    write("two.vcf", "FN:A\nEMAIL:a@x.org\n" + photo(png) + "END:VCARD\nBEGIN:VCARD\nUID:b\nFN:B\nEMAIL:b@x.org\n" +
                         photo(png + "b"));
    write("c.vcf", "FN:C\nUID:c\nEMAIL:c@x.org\n");
    EXPECT_EQ(book().picture(book().withMailAddress("a@x.org").at(0).identifier)->bytes, png);
    const auto other = book().picture("b");
    ASSERT_TRUE(other);
    EXPECT_EQ(other->bytes, png + "b");
    EXPECT_EQ(other->type, "image/png");
    EXPECT_FALSE(book().picture("c"));
    EXPECT_FALSE(book().picture("nobody"));
}

}  // namespace qs
