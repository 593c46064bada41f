#include <stdexcept>

#include "Foundation/FileSystem.h"
#include "StoreTest.h"

namespace qs {

namespace {

Value with(Dictionary list, Dictionary more) {
    more.merge(list);
    return more;
}

}  // namespace

Value attributeList(std::string_view name, std::string_view type, Dictionary more) {
    return with({{"name", name}, {"type", type}}, std::move(more));
}

Value relationshipList(std::string_view name, std::string_view destination, std::string_view inverse, Dictionary more) {
    return with({{"name", name}, {"destination", destination}, {"inverse", inverse}}, std::move(more));
}

Value entityList(std::string_view name, Array attributes, Array relationships, Dictionary more) {
    return with({{"name", name},
                 {"class", name},
                 {"attributes", std::move(attributes)},
                 {"relationships", std::move(relationships)}},
                std::move(more));
}

Value modelList(int version, Array entities) {
    return Dictionary{{"version", version}, {"entities", std::move(entities)}};
}

Value libraryModelList() {
    const Value book = entityList(
        "Book",
        {attributeList("title", "String", {{"optional", false}, {"indexed", true}}), attributeList("pages", "Integer"),
         attributeList("weight", "Real"), attributeList("isLent", "Boolean", {{"optional", false}, {"default", false}}),
         attributeList("bought", "Date"), attributeList("chapters", "StringArray"), attributeList("tags", "StringSet"),
         attributeList("notes", "StringDictionary")},
        {relationshipList("author", "Author", "books"), relationshipList("shelf", "Shelf", "books")},
        {{"identity", "title"}});
    const Value author =
        entityList("Author", {attributeList("name", "String", {{"optional", false}})},
                   {relationshipList("books", "Book", "author", {{"toMany", true}, {"deleteRule", "Cascade"}})},
                   {{"identity", "name"}});
    const Value shelf =
        entityList("Shelf", {attributeList("name", "String")},
                   {relationshipList("books", "Book", "shelf", {{"toMany", true}})}, {{"identity", "name"}});
    return modelList(1, {book, author, shelf});
}

ManagedObjectModel::Ref modelFrom(const Value& list) {
    auto model = ManagedObjectModel::fromPropertyList(list);
    if (!model) throw std::runtime_error(model.error().description);
    return *model;
}

Result<std::unique_ptr<PersistentStore>> StoreTest::openStore(const Value& model) {
    return PersistentStore::open(file(), modelFrom(model), FileSystem::real());
}

void StoreTest::open(const Value& model) {
    auto store = openStore(model);
    if (!store) throw std::runtime_error(store.error().description);
    context_ = std::make_unique<ManagedObjectContext>(
        std::move(*store), ObjectClasses{{"Book", [] { return std::make_shared<Book>(); }},
                                         {"Author", [] { return std::make_shared<Author>(); }}});
}

void StoreTest::reopen(const Value& model) {
    context_.reset();
    open(model);
}

void StoreTest::save() {
    const auto saved = context_->save();
    ASSERT_TRUE(saved) << saved.error().description;
}

ManagedObjectRef StoreTest::book(std::string_view title, const ManagedObjectRef& author) {
    auto object = context_->insertNewObjectForEntityForName("Book");
    object->setValue(title, "title");
    object->setRelatedObject(author, "author");
    return object;
}

ManagedObjectRef StoreTest::author(std::string_view name) {
    auto object = context_->insertNewObjectForEntityForName("Author");
    object->setValue(name, "name");
    return object;
}

std::vector<ManagedObjectRef> StoreTest::fetch(std::string_view entity, Condition condition) {
    auto found = context_->executeFetchRequest({.entityName = entity, .predicate = std::move(condition)});
    if (!found) throw std::runtime_error(found.error().description);
    return std::move(*found);
}

std::vector<std::string> StoreTest::titles(Condition condition) {
    std::vector<std::string> titles;
    for (const auto& object : fetch("Book", std::move(condition)))
        titles.push_back(object->valueForKey("title").stringValue());
    return titles;
}

std::vector<std::string> StoreTest::titles(const ManagedObjectRef& owner, std::string_view relationship) {
    std::vector<std::string> titles;
    for (const auto& object : owner->relatedObjects(relationship))
        titles.push_back(object->valueForKey("title").stringValue());
    return titles;
}

}  // namespace qs
