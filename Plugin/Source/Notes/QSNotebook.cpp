#include "Notes/QSNotebook.h"

#include "Foundation/Format.h"
#include "Notes/QSNote.h"

namespace qs {

std::vector<std::shared_ptr<QSNote>> QSNotebook::notes() const { return get(kNotes); }

std::string QSNotebook::description() const {
    const std::string name = this->name().value_or("");
    // The blank is one at which no line is broken.
    return isBusiness() ? stringWithFormat("%@\u00A0(💼)", {name}) : name;
}

}  // namespace qs
