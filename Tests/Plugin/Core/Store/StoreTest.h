// The ground for tests of the object store: a file in a folder of its own, a small library of books and shelves for its
// model, and objects of it by name.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Core/Store/ManagedObjectContext.h"
#include "Core/Store/PersistentStore.h"
#include "Support/LogCapture.h"
#include "Support/TemporaryFolder.h"

namespace qs {

// An author has books (deleted with him) and shelves hold books (which stay when the shelf goes).
class Book : public ManagedObject {
public:
    static constexpr std::string_view kEntityName = "Book";
    static constexpr Attribute<std::string> kTitle{"title"};
    static constexpr Attribute<std::int64_t> kPages{"pages"};
    static constexpr Attribute<double> kWeight{"weight"};
    static constexpr Attribute<bool> kIsLent{"isLent"};
    static constexpr Attribute<Date> kBought{"bought"};
    static constexpr Attribute<TextArray> kChapters{"chapters"};
    static constexpr Attribute<TextSet> kTags{"tags"};
    static constexpr Attribute<TextDictionary> kNotes{"notes"};

    bool isOnLoanDesk() const { return flag(0); }
    void setIsOnLoanDesk(bool value) { setFlag(0, value); }
    std::string awoken;

protected:
    void awakeFromInsert() override { awoken += "insert"; }
    void awakeFromFetch() override { awoken += "fetch"; }
};

class Author : public ManagedObject {
public:
    static constexpr std::string_view kEntityName = "Author";
    static constexpr Attribute<std::string> kName{"name"};
    static constexpr ToMany<Book> kBooks{"books"};
};

Value attributeList(std::string_view name, std::string_view type, Dictionary more = {});
Value relationshipList(std::string_view name, std::string_view destination, std::string_view inverse,
                       Dictionary more = {});
Value entityList(std::string_view name, Array attributes, Array relationships = {}, Dictionary more = {});
Value modelList(int version, Array entities);

Value libraryModelList();
ManagedObjectModel::Ref modelFrom(const Value& list);  // throws when it is not right

class StoreTest : public ::testing::Test {
protected:
    std::filesystem::path file() const { return folder_ / "Books.sqlite"; }
    Result<std::unique_ptr<PersistentStore>> openStore(const Value& model = libraryModelList());
    // Throws when it can't be opened.
    void open(const Value& model = libraryModelList());
    void reopen(const Value& model = libraryModelList());
    void save();

    ManagedObjectRef book(std::string_view title, const ManagedObjectRef& author = nullptr);
    ManagedObjectRef author(std::string_view name);
    std::vector<ManagedObjectRef> fetch(std::string_view entity, Condition condition = {});
    // In the order of fetching.
    std::vector<std::string> titles(Condition condition = {});
    std::vector<std::string> titles(const ManagedObjectRef& owner, std::string_view relationship);

    TemporaryFolder folder_;
    LogCapture log_;
    std::unique_ptr<ManagedObjectContext> context_;
};

}  // namespace qs
