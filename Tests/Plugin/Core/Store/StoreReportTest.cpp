// What quillstead-store prints.
#include "StoreReport.h"

#include <sstream>

#include "Database/Database.h"
#include "Foundation/Json.h"
#include "StoreTest.h"

namespace qs {
namespace {

using ::testing::HasSubstr;

class StoreReport : public StoreTest {
protected:
    void SetUp() override {
        open();
        const auto austen = author("Austen");
        const auto emma = book("Emma", austen);
        emma->setValue(Date{12.5}, "bought");
        emma->setValue(Array{"b", "a"}, "tags");
        book("Persuasion");
        save();
        context_.reset();
        reader_ = PersistentStore::openReadOnly(file()).value();
    }
    std::unique_ptr<PersistentStore> reader_;
    std::ostringstream out_;
};

TEST_F(StoreReport, CountsTheRecords) {
    ASSERT_TRUE(writeSummary(*reader_, out_));
    EXPECT_EQ(out_.str(), "version 1\nBook    2\nAuthor  1\nShelf   0\n");
}

TEST_F(StoreReport, PrintsRecordsThatAnyReaderOfJsonTakes) {
    ASSERT_TRUE(writeRecords(*reader_, "", out_));
    const auto json = parseJson(out_.str());
    ASSERT_TRUE(json) << json.error().description;
    const Array& books = (*json)["Book"].array();
    ASSERT_EQ(books.size(), 2u);
    EXPECT_EQ(books[0]["title"].stringValue(), "Emma");
    EXPECT_EQ(books[0]["bought"].doubleValue(), 12.5);
    EXPECT_TRUE(books[0]["tags"] == Value(Array{"a", "b"}));
    EXPECT_EQ(books[0]["author"].integerValue(), (*json)["Author"].array()[0]["_id"].integerValue());
    EXPECT_TRUE(books[1]["author"].isNil());
    EXPECT_TRUE((*json)["Shelf"].array().empty());
    out_.str("");
    ASSERT_TRUE(writeRecords(*reader_, "Author", out_));
    EXPECT_EQ(parseJson(out_.str())->dictionary().size(), 1u);
    EXPECT_FALSE(writeRecords(*reader_, "Film", out_));
}

TEST_F(StoreReport, ListsFaults) {
    EXPECT_EQ(writeFaults(*reader_, out_), 0u);
    EXPECT_EQ(out_.str(), "No faults found.\n");
    Database(file(), {}).run("DELETE FROM Author");
    out_.str("");
    EXPECT_EQ(writeFaults(*reader_, out_), 1u);
    EXPECT_THAT(out_.str(), HasSubstr("Book 1 leads to a record of Author"));
}

}  // namespace
}  // namespace qs
