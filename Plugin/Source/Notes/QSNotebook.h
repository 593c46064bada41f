// A notebook of a note service, as the object store knows it. Main thread.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Core/Store/ManagedObject.h"

namespace qs {

class QSNote;

class QSNotebook : public ManagedObject {
public:
    static constexpr std::string_view kEntityName = "Notebook";
    static constexpr Attribute<bool> kIsBusiness{"isBusiness"};
    static constexpr Attribute<std::string> kName{"name"};
    static constexpr Attribute<std::string> kServiceIdentifier{"serviceIdentifier"};
    static constexpr Attribute<std::string> kUniqueIdentifier{"uniqueIdentifier"};
    static constexpr ToMany<QSNote> kNotes{"notes"};

    bool isBusiness() const { return get(kIsBusiness).value_or(false); }  // of the user's business account there
    void setIsBusiness(bool flag) { set<bool>(kIsBusiness, flag); }
    std::optional<std::string> name() const { return get(kName); }
    void setName(const std::optional<std::string>& name) { set(kName, name); }
    std::optional<std::string> serviceIdentifier() const { return get(kServiceIdentifier); }  // of the linked QSService
    void setServiceIdentifier(const std::optional<std::string>& id) { set(kServiceIdentifier, id); }
    std::optional<std::string> uniqueIdentifier() const { return get(kUniqueIdentifier); }  // the service's own
    void setUniqueIdentifier(const std::optional<std::string>& id) { set(kUniqueIdentifier, id); }
    std::vector<std::shared_ptr<QSNote>> notes() const;

    std::string icon() const;         // its service's, as a picture's name for models; empty without a service
    std::string description() const;  // what a menu of notebooks shows
};

}  // namespace qs
