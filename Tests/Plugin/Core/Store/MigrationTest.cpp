// A store of an older model in the hands of a newer program, and the other way round.
#include "Core/Store/StoreErrors.h"
#include "Database/Database.h"
#include "Foundation/FileSystem.h"
#include "StoreTest.h"
#include "Support/RecordingVfs.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// Parts of the models below; a test exchanges one of them.
struct Parts {
    int version = 2;
    Value title = attributeList("title", "String", {{"optional", false}});
    Value pages = attributeList("pages", "Integer");
    Value isLent = attributeList("isLent", "Boolean", {{"optional", false}, {"default", false}});
    Array moreOfBook = {};
    Value writer = relationshipList("writer", "Author", "books");
    Dictionary book = {{"name", "Book"}};
    Value books = relationshipList("books", "Book", "writer", {{"toMany", true}});
    Dictionary author = {{"name", "Author"}};
    Array moreEntities = {};
    bool hasAuthors = true;

    Value list() const {
        Array attributes;
        for (const Value& each : {title, pages, isLent})
            if (!each.isNil()) attributes.push_back(each);
        attributes.insert(attributes.end(), moreOfBook.begin(), moreOfBook.end());
        Array entities{entityList("Book", attributes, writer.isNil() ? Array{} : Array{writer}, book)};
        if (hasAuthors)
            entities.push_back(entityList("Author", {attributeList("name", "String")},
                                          books.isNil() ? Array{} : Array{books}, author));
        entities.insert(entities.end(), moreEntities.begin(), moreEntities.end());
        return modelList(version, entities);
    }
    static Value first() {
        Parts parts;
        parts.version = 1;
        return parts.list();
    }
};

std::string textOf(const Value& value) {
    if (value.isNil()) return "-";
    return value.type() == Value::Type::Boolean ? (value.boolValue() ? "yes" : "no") : value.stringValue();
}

class Migration : public StoreTest {
protected:
    void makeFirst() {
        for (const auto& entry : std::filesystem::directory_iterator(folder_.path()))
            std::filesystem::remove_all(entry);
        open(Parts::first());
        const auto austen = author("Austen");
        author("Brontë");
        for (const auto& [title, pages, isLent] : {std::tuple{"Emma", 480, true}, {"Persuasion", 0, false}}) {
            const auto object = context_->insertNewObjectForEntityForName("Book");
            object->setValue(title, "title");
            if (pages != 0) object->setValue(pages, "pages");
            object->setValue(isLent, "isLent");
            if (isLent) object->setRelatedObject(austen, "writer");
        }
        save();
        context_.reset();
    }
    // Each row as "<entity> <values> -> <identity of what it links to>", in the order of the model.
    std::vector<std::string> everything() {
        std::vector<std::string> rows;
        for (const auto& entity : context_->model().entities())
            for (const auto& object : fetch(entity.name)) {
                std::string row = entity.name;
                for (const auto& attribute : entity.attributes)
                    row += " " + textOf(object->valueForKey(attribute.name));
                for (const auto& relationship : entity.relationships)
                    if (!relationship.isToMany)
                        if (const auto other = object->relatedObject(relationship.name))
                            row += " -> " + other->valueForKey(other->entity().attributes[0].name).stringValue();
                rows.push_back(row);
            }
        return rows;
    }
    std::vector<std::string> copies() const {
        std::vector<std::string> names;
        const auto folder = folder_ / "Books Copies";
        if (std::filesystem::exists(folder))
            for (const auto& entry : std::filesystem::directory_iterator(folder))
                names.push_back(entry.path().filename());
        std::ranges::sort(names);
        return names;
    }
    // What was there before anything was migrated.
    const std::vector<std::string> first_{"Book Emma 480 yes -> Austen", "Book Persuasion - no", "Author Austen",
                                          "Author Brontë"};
};

TEST_F(Migration, FindsItsWayThroughWhatHasChanged) {
    struct Case {
        const char* why;
        std::function<void(Parts&)> change;
        std::vector<std::string> expected;
    };
    const Dictionary wasPages{{"renamingIdentifier", "pages"}};
    for (
        const Case& c : std::vector<Case>{
            {"the same under another number", [](Parts&) {}, first_},
            {"an entity more",
             [](Parts& parts) { parts.moreEntities = {entityList("Shelf", {attributeList("name", "String")})}; },
             first_},
            {"an entity less",
             [](Parts& parts) {
                 parts.hasAuthors = false;
                 parts.writer = {};
             },
             {"Book Emma 480 yes", "Book Persuasion - no"}},
            {"an attribute more",
             [](Parts& parts) { parts.moreOfBook = {attributeList("colour", "String")}; },
             {"Book Emma 480 yes - -> Austen", "Book Persuasion - no -", "Author Austen", "Author Brontë"}},
            {"a mandatory attribute more",
             [](Parts& parts) {
                 parts.moreOfBook = {attributeList("colour", "String", {{"optional", false}, {"default", "it's red"}})};
             },
             {"Book Emma 480 yes it's red -> Austen", "Book Persuasion - no it's red", "Author Austen",
              "Author Brontë"}},
            {"an attribute less",
             [](Parts& parts) { parts.pages = {}; },
             {"Book Emma yes -> Austen", "Book Persuasion no", "Author Austen", "Author Brontë"}},
            {"an attribute renamed", [&](Parts& parts) { parts.pages = attributeList("length", "Integer", wasPages); },
             first_},
            {"an attribute renamed without a word is another one",
             [](Parts& parts) { parts.pages = attributeList("length", "Integer"); },
             {"Book Emma - yes -> Austen", "Book Persuasion - no", "Author Austen", "Author Brontë"}},
            {"two attributes that have exchanged their names",
             [&](Parts& parts) {
                 parts.pages = attributeList("isLent", "Integer", wasPages);
                 parts.isLent = attributeList(
                     "pages", "Boolean", {{"optional", false}, {"default", false}, {"renamingIdentifier", "isLent"}});
             },
             first_},
            {"made mandatory",
             [](Parts& parts) {
                 parts.pages = attributeList("pages", "Integer", {{"optional", false}, {"default", 7}});
             },
             {"Book Emma 480 yes -> Austen", "Book Persuasion 7 no", "Author Austen", "Author Brontë"}},
            {"made optional", [](Parts& parts) { parts.title = attributeList("title", "String"); }, first_},
            {"a boolean made a number, a number a real",
             [](Parts& parts) {
                 parts.isLent = attributeList("isLent", "Integer");
                 parts.pages = attributeList("pages", "Real");
             },
             {"Book Emma 480 1 -> Austen", "Book Persuasion - 0", "Author Austen", "Author Brontë"}},
            {"found by an index",
             [](Parts& parts) {
                 parts.title = attributeList("title", "String", {{"indexed", true}});
             },
             first_},
            {"an entity renamed",
             [](Parts& parts) {
                 parts.author = {{"name", "Person"}, {"renamingIdentifier", "Author"}};
                 parts.writer = relationshipList("writer", "Person", "books");
             },
             {"Book Emma 480 yes -> Austen", "Book Persuasion - no", "Person Austen", "Person Brontë"}},
            {"two entities that have exchanged their names",
             [](Parts& parts) {
                 parts.book = {{"name", "Author"}, {"renamingIdentifier", "Book"}};
                 parts.author = {{"name", "Book"}, {"renamingIdentifier", "Author"}};
                 parts.writer = relationshipList("writer", "Book", "books");
                 parts.books = relationshipList("books", "Author", "writer", {{"toMany", true}});
             },
             {"Author Emma 480 yes -> Austen", "Author Persuasion - no", "Book Austen", "Book Brontë"}},
            {"a relationship renamed at both ends",
             [](Parts& parts) {
                 parts.writer = relationshipList("by", "Author", "works", {{"renamingIdentifier", "writer"}});
                 parts.books =
                     relationshipList("works", "Book", "by", {{"toMany", true}, {"renamingIdentifier", "books"}});
             },
             first_},
            {"a relationship less",
             [](Parts& parts) {
                 parts.writer = {};
                 parts.books = {};
             },
             {"Book Emma 480 yes", "Book Persuasion - no", "Author Austen", "Author Brontë"}},
            {"another delete rule",
             [](Parts& parts) {
                 parts.books =
                     relationshipList("books", "Book", "writer", {{"toMany", true}, {"deleteRule", "Cascade"}});
             },
             first_},
        }) {
        makeFirst();
        Parts parts;
        c.change(parts);
        open(parts.list());
        EXPECT_THAT(everything(), ElementsAreArray(c.expected)) << c.why;
        // The new store is a whole one: written to, saved, opened again without another migration.
        for (const auto& object : fetch(parts.book.at("name").stringValue()))
            context_->deleteObject(*object);
        save();
        reopen(parts.list());
        EXPECT_THAT(copies(), ElementsAre("1.sqlite")) << c.why;
        EXPECT_TRUE(PersistentStore::openReadOnly(file()).value()->damage()->empty()) << c.why;
        context_.reset();
    }
}

TEST_F(Migration, ANameBeforeTheNameBeforeIsKnown) {
    makeFirst();
    Parts second, third;
    second.pages = attributeList("length", "Integer", {{"renamingIdentifier", "pages"}});
    third.version = 3;
    third.pages = attributeList("sheets", "Integer", {{"renamingIdentifier", "pages"}});
    open(second.list());
    reopen(third.list());
    EXPECT_THAT(everything(), ElementsAreArray(first_));
    makeFirst();
    reopen(third.list());
    EXPECT_THAT(everything(), ElementsAreArray(first_)) << "and at one go";
}

TEST_F(Migration, WhatCannotBeInferredIsRefusedAndTheStoreLeftAsItIs) {
    struct Case {
        const char* why;
        std::function<void(Parts&)> change;
        const char* told;
    };
    for (const Case& c : std::vector<Case>{
             {"mandatory without a default",
              [](Parts& parts) {
                  parts.moreOfBook = {attributeList("colour", "String", {{"optional", false}})};
              },
              "Book.colour must have a value"},
             {"made mandatory without a default",
              [](Parts& parts) {
                  parts.pages = attributeList("pages", "Integer", {{"optional", false}});
              },
              "Book.pages must have a value"},
             {"a number made a text", [](Parts& parts) { parts.pages = attributeList("pages", "String"); },
              "Book.pages is of another type"},
             {"a number made narrower", [](Parts& parts) { parts.pages = attributeList("pages", "Boolean"); },
              "Book.pages is of another type"},
             {"another destination",
              [](Parts& parts) {
                  parts.writer = relationshipList("writer", "Shelf", "books");
                  parts.books = {};
                  parts.moreEntities = {
                      entityList("Shelf", {}, {relationshipList("books", "Book", "writer", {{"toMany", true}})})};
              },
              "Book.writer leads elsewhere"},
             {"one author of many books made many of one",
              [](Parts& parts) {
                  parts.writer = relationshipList("writer", "Author", "books", {{"toMany", true}});
                  parts.books = relationshipList("books", "Book", "writer");
              },
              "Book.writer leads to one object no more"},
             {"an older program", [](Parts& parts) { parts.version = 1; }, nullptr},
         }) {
        makeFirst();
        Parts parts;
        c.change(parts);
        if (!c.told) {  // the store goes to version 2 first, then comes a program of version 1
            open(Parts().list());
            context_.reset();
        }
        const auto store = openStore(parts.list());
        ASSERT_FALSE(store) << c.why;
        EXPECT_THAT(store.error().description, HasSubstr(c.told ? c.told : "newer version of Quillstead")) << c.why;
        EXPECT_EQ(store.error().code, static_cast<int>(c.told ? StoreErrorCode::Migration : StoreErrorCode::TooNew))
            << c.why;
        open(c.told ? Parts::first() : Parts().list());
        EXPECT_THAT(everything(), ElementsAreArray(first_)) << c.why;
        EXPECT_EQ(copies().size(), c.told ? 0u : 1u) << c.why;
        context_.reset();
    }
}

TEST_F(Migration, TheLastThreeCopiesAreKept) {
    makeFirst();
    for (int version = 2; version <= 6; ++version) {
        Parts parts;
        parts.version = version;
        open(parts.list());
        context_->insertNewObjectForEntityForName("Book")->setValue(std::to_string(version), "title");
        save();
        context_.reset();
    }
    EXPECT_THAT(copies(), ElementsAre("3.sqlite", "4.sqlite", "5.sqlite"));
    const auto copy = PersistentStore::openReadOnly(folder_ / "Books Copies/3.sqlite");
    ASSERT_TRUE(copy) << copy.error().description;
    EXPECT_EQ((*copy)->model().version(), 3);
    EXPECT_EQ((*copy)->count(*(*copy)->model().entityNamed("Book"), {}), 4u);
    EXPECT_TRUE((*copy)->damage()->empty());
}

TEST_F(Migration, WithoutACopyThereIsNone) {
    makeFirst();
    folder_.write("Books Copies", "a file where the folder should be");
    EXPECT_FALSE(openStore(Parts().list()));
    open(Parts::first());
    EXPECT_THAT(everything(), ElementsAreArray(first_));
}

TEST_F(Migration, APowerCutLeavesTheOldStoreOrTheNewOne) {
    makeFirst();
    Parts parts;
    parts.moreOfBook = {attributeList("colour", "String", {{"optional", false}, {"default", "red"}})};
    const std::vector<std::string> migrated{"Book Emma 480 yes red -> Austen", "Book Persuasion - no red",
                                            "Author Austen", "Author Brontë"};
    const std::filesystem::path original = file();
    RecordingVfs disk;
    open(parts.list());
    context_.reset();
    const std::size_t steps = disk.steps();
    ASSERT_GT(steps, 10u);
    int wereOld = 0, wereNew = 0;
    for (std::size_t cut = 0; cut <= steps; ++cut)
        for (const std::optional<unsigned> seed :
             {std::optional<unsigned>(), std::optional(static_cast<unsigned>(cut))}) {
            const auto copy = folder_ / "cut.sqlite";
            disk.writeImage(cut, seed, original, copy);
            auto store = PersistentStore::open(copy, modelFrom(Parts::first()), FileSystem::real());
            const bool isNew = !store;
            if (isNew) {
                ASSERT_EQ(store.error().code, static_cast<int>(StoreErrorCode::TooNew)) << store.error().description;
                store = PersistentStore::open(copy, modelFrom(parts.list()), FileSystem::real());
            }
            ASSERT_TRUE(store) << cut << ": " << store.error().description;
            context_ = std::make_unique<ManagedObjectContext>(std::move(*store), ObjectClasses());
            EXPECT_THAT(everything(), ElementsAreArray(isNew ? migrated : first_)) << cut;
            ++(isNew ? wereNew : wereOld);
            context_.reset();
        }
    EXPECT_GT(wereOld, 0);
    EXPECT_GT(wereNew, 0);
}

// A crash between the end of a migration and the naming of its copy.
TEST_F(Migration, ACopyThatWasLeftUnnamedGetsItsNameLater) {
    makeFirst();
    open(Parts().list());
    context_.reset();
    std::filesystem::rename(folder_ / "Books Copies/1.sqlite", folder_ / "Books Copies/unfinished.sqlite");
    open(Parts().list());
    EXPECT_THAT(copies(), ElementsAre("1.sqlite"));
    // One whose migration never ended is made anew.
    makeFirst();
    folder_.write("Books Copies/unfinished.sqlite", "half a copy");
    open(Parts().list());
    EXPECT_THAT(copies(), ElementsAre("1.sqlite"));
    EXPECT_TRUE(PersistentStore::openReadOnly(folder_ / "Books Copies/1.sqlite"));
}

}  // namespace
}  // namespace qs
