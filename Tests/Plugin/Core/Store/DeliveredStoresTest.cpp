// Stores as each delivered version of the model left them, under the plug-in's model of today and of tomorrow. A change
// of the model brings its own file: a store of the version before, as data/QuillsteadData-<version>.sql.
#include <algorithm>

#include "Database/Database.h"
#include "Foundation/FileSystem.h"
#include "Foundation/PropertyList.h"
#include "StoreTest.h"

namespace qs {
namespace {

class DeliveredStores : public StoreTest {
protected:
    static Value modelOfToday() {
        return parsePropertyList(FileSystem::real().read(QS_PLUGIN_RESOURCES "/QuillsteadData.qsmodel").value())
            .value();
    }
    // A mandatory attribute more for notes, and another name for the title.
    static Value modelOfTomorrow() {
        Dictionary model = modelOfToday().dictionary();
        model["version"] = model["version"].integerValue() + 1;
        Array entities = model["entities"].array();
        for (Value& each : entities) {
            if (each["name"].stringValue() != "Note") continue;
            Dictionary note = each.dictionary();
            Array attributes = note["attributes"].array();
            std::erase_if(attributes, [](const Value& one) { return one["name"].stringValue() == "title"; });
            attributes.push_back(attributeList("heading", "String", {{"renamingIdentifier", "title"}}));
            attributes.push_back(attributeList("colour", "Integer", {{"optional", false}, {"default", 3}}));
            note["attributes"] = std::move(attributes);
            each = std::move(note);
        }
        model["entities"] = std::move(entities);
        return model;
    }
    void putStore(const std::filesystem::path& script) {
        for (const char* side : {"", "-wal", "-shm"})
            std::filesystem::remove(file().concat(side));
        Database database(file(), {});
        database.runScript(FileSystem::real().read(script).value());
    }
    ManagedObjectRef only(std::string_view entity) {
        const auto found = fetch(entity);
        EXPECT_EQ(found.size(), 1u) << entity;
        return found.empty() ? nullptr : found.front();
    }
    void expectAllOfVersion1(std::string_view title) {
        const auto pixel = only("TrackingPixel");
        EXPECT_EQ(pixel->valueForKey("uuid"), "5D0C7A52-8C1B-4B0E-9C5A-2E1F0A6B7C11");
        EXPECT_EQ(pixel->valueForKey("created").dateValue(), Date{1795341540.25});
        EXPECT_EQ(pixel->valueForKey("isRemote"), true);
        const auto opens = pixel->relatedObjects("opens");
        ASSERT_EQ(opens.size(), 2u);
        EXPECT_EQ(opens.back()->valueForKey("date").dateValue(), Date{1795348800.5});
        EXPECT_EQ(opens.back()->valueForKey("timezone"), "Europe/London");
        const auto note = only("Note");
        EXPECT_EQ(note->valueForKey(title), "Grüße 😀");
        EXPECT_EQ(note->valueForKey("content"), "Two\nlines, 'quoted'");
        EXPECT_EQ(note->valueForKey("attachments"), Value(Array{"/tmp/a.pdf", "/tmp/b.pdf"}));
        EXPECT_EQ(note->valueForKey("tagNames"), Value(Array{"mail", "quick"}));
        EXPECT_EQ(note->valueForKey("mailInfo"), Value(Dictionary{{"QSMailSubject", "Minutes"}}));
        EXPECT_EQ(note->relatedObject("notebook"), only("Notebook"));
        EXPECT_EQ(only("Notebook")->valueForKey("name"), "Rezepte & Ähnliches");
        const auto reminders = fetch("Reminder");
        ASSERT_EQ(reminders.size(), 2u);
        EXPECT_EQ(reminders.front()->relatedObject("list"), only("ReminderList"));
        EXPECT_EQ(reminders.front()->valueForKey("priority"), 5);
        EXPECT_EQ(reminders.back()->valueForKey("completed"), true);
        EXPECT_TRUE(reminders.back()->valueForKey("title").isNil());
    }
};

TEST_F(DeliveredStores, Version1OpensWithNothingLost) {
    const std::filesystem::path script = QS_STORE_DATA "/QuillsteadData-1.sql";
    putStore(script);
    open(modelOfToday());
    expectAllOfVersion1("title");
    fetch("Note").front()->setValue("Changed", "title");
    save();

    putStore(script);
    open(modelOfTomorrow());
    expectAllOfVersion1("heading");
    EXPECT_EQ(only("Note")->valueForKey("colour"), 3);
}

}  // namespace
}  // namespace qs
