#include "Notes/QSNote.h"

#include "Core/QSPluginDelegate.h"
#include "Foundation/Format.h"
#include "Settings/UserDefaults.h"

namespace qs {

std::optional<std::string> QSNote::messageURLString() const {
    const auto id = messageID();
    if (!id) return {};
    return stringWithFormat("message://%@", {*id});
}

void QSNote::awakeFromInsert() {
    setDraft(true);
    const Value tags = QSPluginDelegate::quillsteadDefaults().objectForKey("QSNotesTags");
    if (tags.type() != Value::Type::Array) return;
    StringSet names = tagNames();
    for (const Value& tag : tags.array())
        if (tag.type() == Value::Type::String) names.insert(tag.stringValue());
    setTagNames(names);
}

}  // namespace qs
