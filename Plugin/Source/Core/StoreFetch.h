// Questions to the plug-in's object store, asked so that a store that can't answer costs the person what is in it and
// nothing else: then there are no objects, and a line in the log. Main thread.
#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "Core/Store/ManagedObjectContext.h"

namespace qs {

ManagedObjectContext& storeContext();  // the delegate's; an assertion failure for a store that can't be opened

void askStore(const std::function<Result<void>(ManagedObjectContext& store)>& ask);

template <class T>
std::vector<std::shared_ptr<T>> fetched(Condition condition, std::vector<SortDescriptor> order = {},
                                        std::size_t limit = 0) {
    std::vector<std::shared_ptr<T>> objects;
    askStore([&](ManagedObjectContext& store) -> Result<void> {
        auto found = store.fetch<T>(std::move(condition), std::move(order), limit);
        if (!found) return failed(found);
        objects = std::move(*found);
        return {};
    });
    return objects;
}

// Null for none.
template <class T>
std::shared_ptr<T> firstFetched(Condition condition, std::vector<SortDescriptor> order = {}) {
    const auto found = fetched<T>(std::move(condition), std::move(order), 1);
    return found.empty() ? nullptr : found.front();
}

// By a text as people sort: case and accents aside, numbers by their value.
SortDescriptor byStandardOrder(std::string_view key);

}  // namespace qs
