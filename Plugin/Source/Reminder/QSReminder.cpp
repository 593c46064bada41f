#include "Reminder/QSReminder.h"

#include "Foundation/Format.h"
#include "Services/QSService.h"
#include "Services/QSServicesManager.h"

namespace qs {

std::shared_ptr<QSReminderList> QSReminder::list() const { return get(kList); }
void QSReminder::setList(const std::shared_ptr<QSReminderList>& list) { set(kList, list); }

std::optional<std::string> QSReminder::messageURLString() const {
    const auto id = messageID();
    if (!id) return {};
    return stringWithFormat("message://%@", {*id});
}

std::optional<std::string> QSReminder::notesIncludingMessageURLStringInSingleLine(bool isSingleLine) const {
    const auto text = notes(), url = messageURLString();
    if (text && url) return stringWithFormat("%@%@%@", {*text, isSingleLine ? " | " : "\n\n", *url});
    return text ? text : url;
}

void QSReminder::awakeFromInsert() {
    setTransmitting(false);
    setDirty(false);
    setIsRemote(false);
}

std::string QSReminderList::icon() const {
    const auto service = QSServicesManager::sharedManager().serviceWithIdentifier(serviceIdentifier().value_or(""));
    return service ? service->icon() : std::string();
}

}  // namespace qs
