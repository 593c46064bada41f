#include "Core/PatchClass.h"

#include <vector>

#include "Foundation/Assertion.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"

namespace qs {

namespace {

std::vector<PatchLoadStep>& loadSteps() {
    static std::vector<PatchLoadStep> steps;
    return steps;
}

}  // namespace

PatchClass::PatchClass(std::string_view name) : class_(ClassRegistry::current().define(name)) {}

void PatchClass::addAsCategoryOf(std::string_view hostClass) {
    QSAddClassAsCategory(&class_, QSClassFromString(hostClass));
}

void PatchClass::exchange(std::string_view hostClass, Selector original, Selector replacement,
                          std::source_location where) {
    Class* host = QSClassFromString(hostClass);
    note(host ? host->jr_swizzleMethod(original, replacement) : Result<void>(), where);
}

void PatchClass::exchangeClassMethods(std::string_view hostClass, Selector original, Selector replacement,
                                      std::source_location where) {
    Class* host = QSClassFromString(hostClass);
    note(host ? host->jr_swizzleClassMethod(original, replacement) : Result<void>(), where);
}

void PatchClass::note(const Result<void>& exchanged, std::source_location where) {
    lastFailure_.reset();
    if (exchanged) return;
    lastFailure_ = exchanged.error().description;
    logError(stringWithFormat("Swizzle Error: %@", {*lastFailure_}), where);
}

void PatchClass::finish(std::source_location where) {
    if (lastFailure_)
        raiseAssertion(stringWithFormat("Something went wrong during method swizzling: %@", {*lastFailure_}), where);
}

PatchClassRegistration::PatchClassRegistration(PatchLoadStep step) { loadSteps().push_back(step); }

void PatchClassRegistration::loadAll() {
    for (PatchLoadStep step : loadSteps()) {
        try {
            step();
        } catch (const AssertionFailure&) {
            // Logged where it was raised. The plug-in stays loaded with that one feature missing.
        }
    }
}

}  // namespace qs
