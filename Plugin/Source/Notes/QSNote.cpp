#include "Notes/QSNote.h"

#include "Core/QSPluginDelegate.h"
#include "Foundation/Format.h"
#include "Notes/QSNotebook.h"
#include "Settings/UserDefaults.h"

namespace qs {

std::shared_ptr<QSNotebook> QSNote::notebook() const { return get(kNotebook); }
void QSNote::setNotebook(const std::shared_ptr<QSNotebook>& notebook) { set(kNotebook, notebook); }

std::optional<std::string> QSNote::messageURLString() const {
    const auto id = messageID();
    if (!id) return {};
    return stringWithFormat("message://%@", {*id});
}

void QSNote::awakeFromInsert() {
    setDraft(true);
    const Value tags = QSPluginDelegate::quillsteadDefaults().objectForKey("QSNotesTags");
    if (tags.type() != Value::Type::Array) return;
    TextSet names = tagNames();
    for (const Value& tag : tags.array())
        if (tag.type() == Value::Type::String) names.insert(tag.stringValue());
    setTagNames(names);
}

}  // namespace qs
