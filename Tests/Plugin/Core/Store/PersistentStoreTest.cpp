// The file: its permissions, and what is done with one that is damaged, foreign, or can't be written.
#include "Core/Store/PersistentStore.h"

#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <fstream>
#include <sstream>

#include "Core/Store/StoreErrors.h"
#include "Database/Database.h"
#include "StoreTest.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class StoreFile : public StoreTest {
protected:
    static std::string contentOf(const std::filesystem::path& path) {
        std::ifstream stream(path, std::ios::binary);
        std::ostringstream content;
        content << stream.rdbuf();
        return content.str();
    }
    void write(const std::string& content) { std::ofstream(file(), std::ios::binary) << content; }
    static unsigned modeOf(const std::filesystem::path& path) {
        struct stat facts {};
        return ::stat(path.c_str(), &facts) == 0 ? facts.st_mode & 0777 : 0;
    }
    // A store of some pages, closed.
    std::string sample() {
        open();
        for (int i = 0; i < 500; ++i)
            book("Book " + std::to_string(i) + std::string(100, '.'));
        save();
        context_.reset();
        return contentOf(file());
    }
};

TEST_F(StoreFile, IsForItsOwnerAloneAndSavedToTheDiskAtOnce) {
    open();
    book("Emma");
    save();
    for (const char* side : {"", "-wal", "-shm"})
        EXPECT_EQ(modeOf(file().concat(side)), 0600u) << side;
    Database database(file(), {.isDurable = true});
    EXPECT_EQ(database.text("PRAGMA journal_mode"), "wal");
    EXPECT_EQ(database.integer("PRAGMA synchronous"), 2) << "full";
    EXPECT_EQ(database.integer("PRAGMA foreign_keys"), 1);
    context_.reset();
    std::filesystem::permissions(file(), std::filesystem::perms(0644));  // as a copy from a backup may be
    open();
    EXPECT_EQ(modeOf(file()), 0600u);
    EXPECT_THAT(titles(), ElementsAre("Emma"));
}

TEST_F(StoreFile, ThatCannotBeUsedIsToldAndLeftAsItIs) {
    const std::string whole = sample();
    const auto spoilt = [&](std::size_t at, std::size_t length) {
        std::string content = whole;
        content.replace(at, length, length, 'x');
        return content;
    };
    struct Case {
        const char* why;
        std::string content;
        StoreErrorCode code;
        const char* told;
    };
    for (const Case& c : {
             Case{"no database", std::string(10'000, 'x'), StoreErrorCode::Damaged, "“Books.sqlite” is damaged"},
             Case{"a text", "a letter to somebody", StoreErrorCode::Damaged, "“Books.sqlite” is damaged"},
             Case{"cut off", whole.substr(0, whole.size() / 2), StoreErrorCode::Damaged, "is damaged"},
             Case{"its first page", spoilt(100, 3900), StoreErrorCode::Damaged, "is damaged"},
             Case{"one of the last pages", spoilt(whole.size() - 8192, 4096), StoreErrorCode::Damaged, "is damaged"},
         }) {
        write(c.content);
        auto store = openStore();
        ASSERT_FALSE(store) << c.why;
        EXPECT_EQ(store.error().code, static_cast<int>(c.code)) << c.why << ": " << store.error().description;
        EXPECT_THAT(store.error().description, HasSubstr(c.told)) << c.why;
        EXPECT_THAT(store.error().description, HasSubstr("left as it is")) << c.why;
        EXPECT_EQ(store.error().userInfo["NSFilePath"].stringValue(), file().string()) << c.why;
        EXPECT_EQ(contentOf(file()), c.content) << c.why;
    }
}

TEST_F(StoreFile, OfAnotherProgramOrANewerVersionIsRefused) {
    const auto refusal = [this](const char* change) {
        std::filesystem::remove(file());
        (void)sample();
        Database(file(), {}).runScript(change);
        const auto store = openStore();
        return store ? "opened" : store.error().description;
    };
    EXPECT_THAT(refusal("PRAGMA application_id = 7"), HasSubstr("is no store of Quillstead's"));
    EXPECT_THAT(refusal("PRAGMA user_version = 2"), HasSubstr("newer version of Quillstead"));
    EXPECT_THAT(refusal("DELETE FROM _metadata"), HasSubstr("does not say what it holds"));
    EXPECT_THAT(refusal("UPDATE _metadata SET value = replace(value, '\"version\":1', '\"version\":2')"),
                HasSubstr("newer version of Quillstead"));
    EXPECT_THAT(refusal("DROP TABLE Shelf"), HasSubstr("Shelf"));
    EXPECT_EQ(refusal("CREATE TABLE somebodyElse(x)"), "opened");
}

TEST_F(StoreFile, AnEmptyFileBecomesAStore) {
    write("");
    open();
    EXPECT_TRUE(titles().empty());
    book("Emma");
    save();
}

TEST_F(StoreFile, AFolderInItsPlaceIsAnError) {
    std::filesystem::create_directories(file());
    const auto store = openStore();
    ASSERT_FALSE(store);
    EXPECT_THAT(store.error().description, HasSubstr("“Books.sqlite”"));
    EXPECT_TRUE(std::filesystem::is_directory(file()));
}

// A limit on the size of files is the nearest to a full disk that a test can make.
class FullDisk {
public:
    explicit FullDisk(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{bytes, before_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk() {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }

private:
    rlimit before_{};
    void (*handler_)(int);
};

TEST_F(StoreFile, AFullDiskFailsTheSaveAndTheNextOneSavesAll) {
    (void)sample();
    open();
    const auto emma = fetch("Book").front();
    emma->setValue(std::string(300'000, 'E'), "title");
    book(std::string(300'000, 'P'));
    {
        const FullDisk full(200'000);
        const auto saved = context_->save();
        ASSERT_FALSE(saved);
        EXPECT_THAT(saved.error().description, HasSubstr("“Books.sqlite”"));
        EXPECT_TRUE(context_->hasChanges());
        EXPECT_EQ(fetch("Book").size(), 501u);
    }
    save();
    reopen();
    EXPECT_EQ(fetch("Book").size(), 501u);
    EXPECT_EQ(titles().front(), std::string(300'000, 'E'));
}

TEST_F(StoreFile, CanBeReadBesideTheProgramThatWritesIt) {
    open();
    book("Emma", author("Austen"));
    save();
    const auto reader = PersistentStore::openReadOnly(file());
    ASSERT_TRUE(reader) << reader.error().description;
    EXPECT_TRUE((*reader)->model().propertyList() == context_->model().propertyList());
    const auto& books = *(*reader)->model().entityNamed("Book");
    book("Persuasion");
    save();
    EXPECT_EQ((*reader)->count(books, {}), 2u);
    EXPECT_FALSE((*reader)->write({{.kind = StoreChange::Kind::Delete, .entity = &books, .row = 1, .version = 1}}));
    EXPECT_TRUE((*reader)->damage().value().empty());
    context_.reset();
    Database(file(), {}).run("UPDATE Book SET author = 77");
    EXPECT_THAT((*reader)->brokenLinks().value(), ElementsAre("Book 1 leads to a record of Author that is not there.",
                                                              "Book 2 leads to a record of Author that is not there."));
    open();
    EXPECT_EQ(fetch("Book").front()->relatedObject("author"), nullptr);
    fetch("Book").front()->setValue("Emma!", "title");
    save();
}

TEST_F(StoreFile, AListThatWasSpoiltByHandIsNoListAndStaysUntilItIsSet) {
    open();
    book("Emma")->setValue(Array{"good"}, "tags");
    book("Persuasion")->setValue(Array{"fine"}, "tags");
    save();
    context_.reset();
    Database(file(), {}).run("UPDATE Book SET tags = '[\"good' WHERE title = 'Emma'");
    open();
    const auto emma = fetch("Book").front();
    EXPECT_TRUE(emma->valueForKey("tags").isNil());
    EXPECT_TRUE(log_.contains("can't be read"));
    emma->setValue(1, "pages");
    save();
    EXPECT_EQ(Database(file(), {}).text("SELECT tags FROM Book WHERE pages = 1"), "[\"good");
    EXPECT_TRUE(fetch("Book").back()->valueForKey("tags") == Value(Array{"fine"}));
}

}  // namespace
}  // namespace qs
