// Finding objects in a context: conditions, order and limits, with what was not saved yet among the rest.
#include "StoreTest.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ContextFetch = StoreTest;

// The same question is answered by the database for what is saved and by the objects for what is not.
TEST_F(ContextFetch, ConditionsMeanTheSameForSavedAndUnsavedObjects) {
    struct Case {
        const char* why;
        Condition condition;
        std::vector<std::string> expected;
    };
    std::vector<std::string> many;
    for (int i = 0; i < 40'000; ++i)
        many.push_back("title " + std::to_string(i));
    many.emplace_back("Emma");
    const std::vector<Case> cases{
        {"all", {}, {"Emma", "Lady Susan", "Persuasion", "emma"}},
        {"texts exactly", Book::kTitle.is("Emma"), {"Emma"}},
        {"no value is no number", Book::kPages.is(0), {"emma"}},
        {"without a value", Book::kPages.isNil(), {"Lady Susan"}},
        {"the opposite takes in what has no value", !Book::kPages.is(0), {"Emma", "Lady Susan", "Persuasion"}},
        {"one of", Book::kTitle.isOneOf({"Persuasion", "emma", "Other"}), {"Persuasion", "emma"}},
        {"one of none", Book::kTitle.isOneOf({}), {}},
        {"one of very many", Book::kTitle.isOneOf(many), {"Emma"}},
        {"none of", !Book::kPages.isOneOf({0, 480}), {"Lady Susan", "Persuasion"}},
        {"below", Book::kPages.isBelow(300), {"Persuasion", "emma"}},
        {"not below", !Book::kPages.isBelow(300), {"Emma", "Lady Susan"}},
        {"above", Book::kBought.isAbove(Date{100}), {"Persuasion"}},
        {"a default counts", Book::kIsLent.is(false), {"Emma", "Lady Susan", "emma"}},
        {"both", Book::kIsLent.is(false) && Book::kPages.isAbove(1), {"Emma"}},
        {"either", Book::kIsLent.is(true) || Book::kTitle.is("Emma"), {"Emma", "Persuasion"}},
        {"neither", !(Book::kIsLent.is(true) || Book::kTitle.is("Emma")), {"Lady Susan", "emma"}},
    };
    open();
    author("None");
    const auto austen = author("Austen");
    auto emma = book("Emma", austen);
    emma->setValue(480, "pages");
    emma->setValue(Date{100}, "bought");
    book("Lady Susan", austen);
    auto persuasion = book("Persuasion");
    persuasion->setValue(250, "pages");
    persuasion->setValue(true, "isLent");
    persuasion->setValue(Date{100.5}, "bought");
    book("emma", author("Other"))->setValue(0, "pages");
    const auto authors = [&](const Condition& condition) {
        std::vector<std::string> names;
        for (const auto& object : fetch("Author", condition))
            names.push_back(object->valueForKey("name").stringValue());
        return names;
    };
    for (const char* when : {"unsaved", "saved", "read again"}) {
        for (const Case& c : cases) {
            EXPECT_EQ(titles(c.condition), c.expected) << when << ": " << c.why;
            const auto count = context_->countForFetchRequest({.entityName = "Book", .predicate = c.condition});
            EXPECT_EQ(count.value(), c.expected.size()) << when << ": " << c.why;
        }
        EXPECT_THAT(authors(Author::kBooks.countIs(0)), ElementsAre("None")) << when;
        EXPECT_THAT(authors(!Author::kBooks.countIs(0)), ElementsAre("Austen", "Other")) << when;
        EXPECT_THAT(authors(Author::kBooks.countIs(2)), ElementsAre("Austen")) << when;
        save();
        if (when == std::string_view("saved")) reopen();
    }
}

TEST_F(ContextFetch, UnsavedChangesDecideWhatAFetchFinds) {
    open();
    const auto austen = author("Austen"), nobody = author("Nobody");
    book("Emma", austen);
    book("Sanditon", austen);
    book("Persuasion", austen);
    save();
    const auto emma = fetch("Book", Book::kTitle.is("Emma")).front();
    emma->setValue("Emma, again", "title");
    EXPECT_THAT(titles(Book::kTitle.is("Emma")), IsEmpty());
    EXPECT_THAT(titles(Book::kTitle.is("Emma, again")), ElementsAre("Emma, again"));
    context_->deleteObject(*fetch("Book", Book::kTitle.is("Sanditon")).front());
    EXPECT_THAT(titles(), ElementsAre("Emma, again", "Persuasion"));
    EXPECT_THAT(titles(austen, "books"), ElementsAre("Emma, again", "Persuasion"));
    emma->setRelatedObject(nobody, "author");
    EXPECT_THAT(titles(austen, "books"), ElementsAre("Persuasion"));
    EXPECT_THAT(titles(nobody, "books"), ElementsAre("Emma, again"));
    EXPECT_THAT(fetch("Author", Author::kBooks.countIs(1)), ElementsAre(austen, nobody));
    save();
    EXPECT_THAT(fetch("Author", Author::kBooks.countIs(1)), ElementsAre(austen, nobody));
    // An author whom nobody holds changes his number of books, too.
    const auto persuasion = fetch("Book", Book::kTitle.is("Persuasion")).front();
    reopen();
    fetch("Book", Book::kTitle.is("Persuasion")).front()->setRelatedObject(nullptr, "author");
    EXPECT_EQ(fetch("Author", Author::kBooks.countIs(0)).size(), 1u);
}

TEST_F(ContextFetch, SortsAndLimitsWithUnsavedObjectsAmongTheRest) {
    open();
    for (const auto& [title, pages] : {std::pair{"C", 1}, {"A", 2}, {"B", 2}, {"D", 1}})
        book(title)->setValue(pages, "pages");
    save();
    book("E");  // without pages: before all others
    const auto sorted = [&](std::vector<SortDescriptor> descriptors, std::size_t limit) {
        std::vector<std::string> found;
        const auto objects = context_->fetch<Book>({}, std::move(descriptors), limit);
        for (const auto& object : *objects)
            found.push_back(object->valueForKey("title").stringValue());
        return found;
    };
    EXPECT_THAT(sorted({{"pages"}, {"title", false}}, 0), ElementsAre("E", "D", "C", "B", "A"));
    EXPECT_THAT(sorted({{"pages", false}}, 3), ElementsAre("A", "B", "C")) << "equals in the order of their making";
    EXPECT_THAT(sorted({}, 2), ElementsAre("C", "A"));
    const auto reversed = [](const Value& a, const Value& b) { return compareValues(b, a); };
    EXPECT_THAT(sorted({{"title", true, reversed}}, 1), ElementsAre("E"));
    context_->deleteObject(*fetch("Book").front());
    EXPECT_THAT(sorted({}, 2), ElementsAre("A", "B")) << "what was deleted takes no place";
}
}  // namespace
}  // namespace qs
