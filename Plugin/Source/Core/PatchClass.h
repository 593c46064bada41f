// How a patch class becomes part of a host class: its methods are added to the host class as a category, then pairs of
// methods are exchanged, so that the host's callers reach the replacement and a call of the "quillstead_" selector
// reaches the host's own code.
//
// Each file of MailCategories/ names its load step once, by a PatchClassRegistration; all of them run when the bundle
// is loaded, in no particular order.
#pragma once

#include <optional>
#include <source_location>
#include <string>
#include <string_view>

#include "Foundation/Runtime.h"

namespace qs {

class PatchClass {
public:
    // Defines the class of that name, "<HostClass>_Quillstead". It has no instances.
    explicit PatchClass(std::string_view name);

    template <class Signature, class F>
    void add(const Operation<Signature>& operation, F function) {
        class_.add(operation, std::move(function));
    }
    template <class Signature, class F>
    void addClassMethod(const Operation<Signature>& operation, F function) {
        class_.addClassMethod(operation, std::move(function));
    }

    // All methods added so far become methods of the host class too. Host classes go by their short name.
    void addAsCategoryOf(std::string_view hostClass);
    // Exchange one pair; a failure is logged, with the place of the call, and the next pair goes on. A host class that
    // this version lacks is left out, which is no failure.
    void exchange(std::string_view hostClass, Selector original, Selector replacement,
                  std::source_location where = std::source_location::current());
    void exchangeClassMethods(std::string_view hostClass, Selector original, Selector replacement,
                              std::source_location where = std::source_location::current());
    // Ends the load step: an assertion failure if the last pair could not be exchanged.
    void finish(std::source_location where = std::source_location::current());

private:
    void note(const Result<void>& exchanged, std::source_location where);

    Class& class_;
    std::optional<std::string> lastFailure_;
};

using PatchLoadStep = void (*)();

class PatchClassRegistration {
public:
    explicit PatchClassRegistration(PatchLoadStep step);
    // Runs all load steps for the installed class registry. A step that fails does not keep the others from running.
    static void loadAll();
};

}  // namespace qs
