// A note in the object store: a copy of a mail's content that goes to a note service. Main thread.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Core/Store/ManagedObject.h"

namespace qs {

class QSNotebook;

// Keys of mailInfo.
inline constexpr std::string_view QSMailSender = "QSMailSender";
inline constexpr std::string_view QSMailSubject = "QSMailSubject";
inline constexpr std::string_view QSMailDateString = "QSMailDateString";
inline constexpr std::string_view QSMailRecipients = "QSMailRecipients";
inline constexpr std::string_view QSMailCcRecipients = "QSMailCcRecipients";
inline constexpr std::string_view QSMailRawSource = "QSMailRawSource";

class QSNote : public ManagedObject {
public:
    static constexpr std::string_view kEntityName = "Note";
    static constexpr Attribute<bool> kAddAttachments{"addAttachments"};
    static constexpr Attribute<TextArray> kAttachments{"attachments"};
    static constexpr Attribute<std::string> kContent{"content"};
    static constexpr Attribute<bool> kIsRemote{"isRemote"};
    static constexpr Attribute<TextDictionary> kMailInfo{"mailInfo"};
    static constexpr Attribute<std::string> kMessageID{"messageID"};
    static constexpr Attribute<Date> kReminderDate{"reminderDate"};
    static constexpr Attribute<TextSet> kTagNames{"tagNames"};
    static constexpr Attribute<std::string> kTitle{"title"};
    static constexpr Attribute<std::string> kUniqueIdentifier{"uniqueIdentifier"};
    static constexpr Attribute<bool> kUseReminder{"useReminder"};
    static constexpr Attribute<std::string> kRemoteURL{"remoteURL"};
    static constexpr ToOne<QSNotebook> kNotebook{"notebook"};

    bool addAttachments() const { return get(kAddAttachments).value_or(false); }
    void setAddAttachments(bool flag) { set<bool>(kAddAttachments, flag); }
    TextArray attachments() const { return get(kAttachments).value_or(TextArray()); }  // paths of files
    void setAttachments(const TextArray& paths) { set<TextArray>(kAttachments, paths); }
    std::optional<std::string> content() const { return get(kContent); }  // HTML; after the transfer the service's form
    void setContent(const std::optional<std::string>& content) { set(kContent, content); }
    bool isRemote() const { return get(kIsRemote).value_or(false); }  // the service holds it
    void setIsRemote(bool flag) { set<bool>(kIsRemote, flag); }
    TextDictionary mailInfo() const { return get(kMailInfo).value_or(TextDictionary()); }
    void setMailInfo(const TextDictionary& info) { set<TextDictionary>(kMailInfo, info); }
    std::optional<std::string> messageID() const { return get(kMessageID); }
    void setMessageID(const std::optional<std::string>& id) { set(kMessageID, id); }
    std::optional<Date> reminderDate() const { return get(kReminderDate); }
    void setReminderDate(std::optional<Date> date) { set(kReminderDate, date); }
    TextSet tagNames() const { return get(kTagNames).value_or(TextSet()); }
    void setTagNames(const TextSet& names) { set<TextSet>(kTagNames, names); }
    std::optional<std::string> title() const { return get(kTitle); }
    void setTitle(const std::optional<std::string>& title) { set(kTitle, title); }
    std::optional<std::string> uniqueIdentifier() const { return get(kUniqueIdentifier); }
    void setUniqueIdentifier(const std::optional<std::string>& id) { set(kUniqueIdentifier, id); }
    bool useReminder() const { return get(kUseReminder).value_or(false); }
    void setUseReminder(bool flag) { set<bool>(kUseReminder, flag); }
    std::optional<std::string> remoteURL() const { return get(kRemoteURL); }
    void setRemoteURL(const std::optional<std::string>& url) { set(kRemoteURL, url); }
    std::shared_ptr<QSNotebook> notebook() const;
    void setNotebook(const std::shared_ptr<QSNotebook>& notebook);

    std::optional<std::string> messageURLString() const;  // "message://..."; none without a messageID

    // In memory only. A note is a draft from its making until its form is closed.
    bool draft() const { return flag(0); }
    void setDraft(bool value) { setFlag(0, value); }
    bool transmitting() const { return flag(1); }
    void setTransmitting(bool value) { setFlag(1, value); }

protected:
    // A draft, with the tags of the setting "QSNotesTags".
    void awakeFromInsert() override;
};

}  // namespace qs
