#include "Core/StoreFetch.h"

#include "Core/QSPluginDelegate.h"
#include "Foundation/Assertion.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Text/StandardCompare.h"

namespace qs {

ManagedObjectContext& storeContext() { return QSPluginDelegate::sharedDelegate().managedObjectContext(); }

void askStore(const std::function<Result<void>(ManagedObjectContext& store)>& ask) {
    try {
        if (const auto asked = ask(storeContext()); !asked)
            logError(stringWithFormat("Fetch request ERROR: %@", {asked.error().description}));
    } catch (const AssertionFailure&) {
        // One that can't be opened has been told to the person. Another thread has no business here at all.
        if (!RunLoop::main().isMainThread()) throw;
        logCaughtException("The store's objects are not there now");
    }
}

SortDescriptor byStandardOrder(std::string_view key) {
    return {key, true,
            [](const Value& a, const Value& b) { return localizedStandardCompare(a.stringValue(), b.stringValue()); }};
}

}  // namespace qs
