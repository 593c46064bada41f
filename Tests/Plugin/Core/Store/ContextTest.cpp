// Objects and their context: making, linking, deleting, and what a save keeps.
#include <cmath>
#include <thread>

#include "Core/Store/StoreErrors.h"
#include "Database/Database.h"
#include "Foundation/Assertion.h"
#include "StoreTest.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Context = StoreTest;
TEST_F(Context, WhatWasSavedIsThereAgainAndWhatWasNotIsNot) {
    open();
    book("Emma");
    book("Persuasion");
    EXPECT_THAT(titles(), ElementsAre("Emma", "Persuasion")) << "unsaved objects are found, too";
    EXPECT_TRUE(context_->hasChanges());
    save();
    EXPECT_FALSE(context_->hasChanges());
    book("Sanditon");
    fetch("Book", Book::kTitle.is("Emma")).front()->setValue(480, "pages");
    reopen();
    EXPECT_THAT(titles(), ElementsAre("Emma", "Persuasion"));
    EXPECT_THAT(titles(Book::kPages.is(480)), IsEmpty());
}

TEST_F(Context, EveryValueComesBackAsItWas) {
    std::string everyByte;
    for (int i = 0; i < 256; ++i)
        everyByte += static_cast<char>(i);
    const std::string long1 = std::string(3 << 20, 'x') + "end";
    struct Case {
        const char* attribute;
        Value value;
        Value stored;
    };
    const std::vector<Case> cases{
        {"title", "", ""},
        {"title", everyByte, everyByte},
        {"title", long1, long1},
        {"title", "日本 \u00A0 💼", "日本 \u00A0 💼"},
        {"pages", std::int64_t{INT64_MIN}, std::int64_t{INT64_MIN}},
        {"pages", nullptr, nullptr},
        {"weight", 0.1, 0.1},
        {"weight", 3, 3.0},
        {"weight", std::nan(""), nullptr},
        {"isLent", true, true},
        {"bought", Date{1'700'000'000.123456}, Date{1'700'000'000.123456}},
        {"bought", Date{-1e10}, Date{-1e10}},
        {"chapters", Array{"b", "a", "b"}, Array{"b", "a", "b"}},
        {"chapters", Array{}, Array{}},
        {"chapters", Array{everyByte}, Array{everyByte}},
        {"tags", Array{"b", "a", "b"}, Array{"a", "b"}},
        {"notes", Dictionary{{"k\n\"", long1}, {"", everyByte}}, Dictionary{{"k\n\"", long1}, {"", everyByte}}},
        {"notes", nullptr, nullptr},
    };
    open();
    for (const Case& c : cases) {
        auto object = book("any");
        object->setValue(c.value, c.attribute);
        EXPECT_TRUE(object->valueForKey(c.attribute) == c.stored) << c.attribute;
    }
    save();
    reopen();
    const auto objects = fetch("Book");
    ASSERT_EQ(objects.size(), cases.size());
    for (std::size_t i = 0; i < cases.size(); ++i)
        EXPECT_TRUE(objects[i]->valueForKey(cases[i].attribute) == cases[i].stored) << cases[i].attribute << " " << i;
}

TEST_F(Context, AValueOfAnotherTypeOrAnUnknownPropertyIsAProgrammingFault) {
    open();
    const auto object = book("Emma");
    EXPECT_THROW(object->setValue("many", "pages"), AssertionFailure);
    EXPECT_THROW(object->setValue(Array{1}, "tags"), AssertionFailure);
    EXPECT_THROW(object->setValue("x", "colour"), AssertionFailure);
    EXPECT_THROW(object->setRelatedObject(book("Persuasion"), "author"), AssertionFailure);
    EXPECT_THROW(context_->insertNewObjectForEntityForName("Film"), AssertionFailure);
    EXPECT_THROW(fetch("Book", Attribute<std::string>("colour").is("red")), AssertionFailure);
}

TEST_F(Context, ThereIsOneObjectForARow) {
    open();
    const auto emma = book("Emma", author("Austen"));
    EXPECT_EQ(fetch("Book").front(), emma);
    save();
    EXPECT_EQ(fetch("Book", Book::kTitle.is("Emma")).front(), emma);
    EXPECT_EQ(emma->relatedObject("author"), fetch("Author").front());
    reopen();
    const auto read = std::dynamic_pointer_cast<Book>(fetch("Book").front());
    ASSERT_NE(read, nullptr) << "objects are of the class that the model names";
    EXPECT_EQ(fetch("Author").front()->relatedObjects("books").front(), read);
    EXPECT_EQ(read->awoken, "fetch") << "once, however often it is found";
}

TEST_F(Context, DeletingFollowsTheRuleOfTheRelationship) {
    for (const bool isSaved : {false, true}) {
        for (const char* entity : {"Author", "Shelf"})
            for (const auto& object : context_ ? fetch(entity) : std::vector<ManagedObjectRef>())
                context_->deleteObject(*object);
        if (!context_) open();
        for (const auto& object : fetch("Book"))
            context_->deleteObject(*object);
        save();
        const auto austen = author("Austen"), bronte = author("Brontë");
        const auto shelf = context_->insertNewObjectForEntityForName("Shelf");
        for (const auto& [title, writer] : {std::pair{"Emma", austen}, {"Persuasion", austen}, {"Villette", bronte}})
            book(title, writer)->setRelatedObject(shelf, "shelf");
        if (isSaved) {
            save();
            reopen();
        }
        context_->deleteObject(*fetch("Author").front());
        EXPECT_THAT(titles(), ElementsAre("Villette")) << "an author's books go with him";
        context_->deleteObject(*fetch("Shelf").front());
        EXPECT_THAT(titles(), ElementsAre("Villette")) << "the books of a shelf stay";
        EXPECT_EQ(fetch("Book").front()->relatedObject("shelf"), nullptr);
        save();
        reopen();
        EXPECT_THAT(titles(), ElementsAre("Villette"));
        EXPECT_THAT(fetch("Shelf"), IsEmpty());
        EXPECT_EQ(fetch("Author").size(), 1u);
    }
}

TEST_F(Context, ADeletedObjectCanBeUsedWithoutEffect) {
    open();
    const auto kept = book("Kept"), emma = book("Emma");
    save();
    context_->deleteObject(*emma);
    context_->deleteObject(*emma);
    emma->setValue("late answer of a server", "title");
    EXPECT_TRUE(emma->isDeleted());
    kept->setRelatedObject(nullptr, "author");
    save();
    EXPECT_EQ(emma->managedObjectContext(), nullptr);
    EXPECT_EQ(emma->valueForKey("title").stringValue(), "late answer of a server");
    emma->setValue("later still", "title");
    EXPECT_FALSE(context_->hasChanges());
    const auto brief = book("Brief");
    context_->deleteObject(*brief);
    EXPECT_FALSE(context_->hasChanges()) << "made and deleted: nothing to save";
    EXPECT_THAT(titles(), ElementsAre("Kept"));
    context_.reset();
    kept->setValue("without a context", "title");
    EXPECT_EQ(kept->valueForKey("title").stringValue(), "without a context");
}

TEST_F(Context, FlagsLiveInMemoryAsLongAsTheContext) {
    open();
    {
        auto emma = context_->insertNew<Book>();
        EXPECT_EQ(emma->awoken, "insert");
        emma->setValue("Emma", "title");
        book("Persuasion");
        save();
        emma->setIsOnLoanDesk(true);
    }
    EXPECT_FALSE(context_->hasChanges());
    const auto isOnDesk = [&](const char* title) {
        return std::dynamic_pointer_cast<Book>(fetch("Book", Book::kTitle.is(title)).front())->isOnLoanDesk();
    };
    EXPECT_TRUE(isOnDesk("Emma")) << "though nobody held the object";
    EXPECT_FALSE(isOnDesk("Persuasion"));
    reopen();
    EXPECT_FALSE(isOnDesk("Emma"));
}

TEST_F(Context, NobodyButTheMainThreadTouchesAnObject) {
    open();
    auto emma = book("Emma", author("Austen"));
    save();
    const std::vector<std::pair<const char*, std::function<void()>>> touches{
        {"read", [&] { (void)emma->valueForKey("title"); }},
        {"write", [&] { emma->setValue("x", "title"); }},
        {"link", [&] { (void)emma->relatedObject("author"); }},
        {"fetch", [&] { (void)fetch("Book"); }},
        {"count", [&] { (void)context_->countForFetchRequest({.entityName = "Book"}); }},
        {"insert", [&] { book("Other"); }},
        {"delete", [&] { context_->deleteObject(*emma); }},
        {"save", [&] { (void)context_->save(); }},
        {"flag", [&] { std::dynamic_pointer_cast<Book>(emma)->setIsOnLoanDesk(true); }},
        {"changes", [&] { (void)context_->hasChanges(); }}};
    for (const auto& [what, touch] : touches) {
        std::string failure;
        std::thread([&, &run = touch] {
            try {
                run();
            } catch (const AssertionFailure& assertion) {
                failure = assertion.what();
            }
        }).join();
        EXPECT_EQ(failure, "Core Data needs to run on the main thread only!!!") << what;
    }
    std::thread([dropped = std::move(emma)]() mutable { dropped.reset(); }).join();
    EXPECT_THAT(titles(), ElementsAre("Emma"));
}

TEST_F(Context, FaultyObjectsAreNotSavedAndNothingElseIs) {
    open();
    auto nameless = context_->insertNewObjectForEntityForName("Book");
    book("Emma");
    auto saved = context_->save();
    ASSERT_FALSE(saved);
    EXPECT_EQ(saved.error().domain, NSCocoaErrorDomain);
    EXPECT_EQ(saved.error().code, 1570);
    EXPECT_EQ(saved.error().description, "title is a required value (Book).");
    context_->insertNewObjectForEntityForName("Author");
    saved = context_->save();
    ASSERT_FALSE(saved);
    EXPECT_EQ(saved.error().code, 1560);
    const Array& details = saved.error().userInfo["NSDetailedErrors"].array();
    ASSERT_EQ(details.size(), 2u);
    EXPECT_EQ(details[0]["code"].integerValue(), 1570);
    EXPECT_EQ(details[1][NSLocalizedDescriptionKey].stringValue(), "name is a required value (Author).");
    // The changes stay, and are saved when the fault is mended.
    EXPECT_THAT(titles(), ElementsAre("", "Emma"));
    nameless->setValue("Sanditon", "title");
    context_->deleteObject(*fetch("Author").front());
    save();
    nameless->setValue(nullptr, "title");
    ASSERT_FALSE(context_->save());
    reopen();
    EXPECT_THAT(titles(), ElementsAre("Sanditon", "Emma"));
}

TEST_F(Context, WhatAnotherProgramHasChangedMeanwhileIsNotOverwritten) {
    open();
    const auto emma = book("Emma"), persuasion = book("Persuasion");
    save();
    emma->setValue(480, "pages");
    save();
    {
        Database other(file(), {});
        other.run("UPDATE Book SET title = 'Emma Woodhouse', _version = _version + 1 WHERE title = 'Emma'");
    }
    emma->setValue("Emma by us", "title");
    persuasion->setValue("Persuasion by us", "title");
    const auto saved = context_->save();
    ASSERT_FALSE(saved);
    EXPECT_EQ(saved.error().code, static_cast<int>(StoreErrorCode::MergeConflict));
    EXPECT_TRUE(context_->hasChanges());
    reopen();
    EXPECT_THAT(titles(), ElementsAre("Emma Woodhouse", "Persuasion")) << "all or nothing";
    const auto removed = fetch("Book").back();
    {
        Database other(file(), {});
        other.run("DELETE FROM Book WHERE title = 'Persuasion'");
    }
    removed->setValue(1, "pages");
    ASSERT_FALSE(context_->save()) << "an update must not vanish in silence";
    context_->deleteObject(*removed);
    save();
}

TEST_F(Context, EditorsPutTheirTextInBeforeASave) {
    open();
    const auto emma = book("Emma");
    bool isComplete = false;
    auto form = context_->registerEditor([&] {
        if (isComplete) emma->setValue("Emma, as typed", "title");
        return isComplete;
    });
    EXPECT_FALSE(context_->commitEditing());
    isComplete = true;
    EXPECT_TRUE(context_->commitEditing());
    EXPECT_THAT(titles(), ElementsAre("Emma, as typed"));
    isComplete = false;
    form.reset();
    EXPECT_TRUE(context_->commitEditing());
}

TEST_F(Context, ManyObjectsThatNobodyHoldsLeaveTheMemory) {
    open();
    for (int i = 0; i < 5000; ++i)
        book("Book " + std::to_string(i));
    save();
    const auto held = fetch("Book", Book::kTitle.is("Book 17"));
    const std::weak_ptr<ManagedObject> other = fetch("Book", Book::kTitle.is("Book 18")).front();
    EXPECT_TRUE(other.expired());
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(fetch("Book").size(), 5000u);
    held.front()->setValue(17, "pages");
    EXPECT_THAT(titles(Book::kPages.is(17)), ElementsAre("Book 17"));
    EXPECT_EQ(fetch("Book", Book::kTitle.is("Book 17")), held);
}
}  // namespace
}  // namespace qs
