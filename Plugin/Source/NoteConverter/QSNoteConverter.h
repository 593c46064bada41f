// The common ground of all workers that turn a note into one at an outside service, and keep the list of notebooks in
// step with it. By itself it converts nothing and supports nothing. Main thread.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Core/QSKeyValueChanges.h"
#include "NoteConverter/QSNoteServiceSlaveProtocol.h"
#include "Services/QSServiceSlave.h"

namespace qs {

struct QSSlaveClass;

inline constexpr const char* kNoteConverterErrorDomain = "com.tallowbay.Quillstead.NoteConverter";

// A notebook as the service tells of it.
struct QSRemoteNotebook {
    std::string identifier;  // the service's own
    std::string name;
    bool isBusiness = false;
    bool isDefault = false;  // of those that are, the last counts
};

// Changes of the known tags are told by the key "availableTagNames".
class QSNoteConverter : public QSServiceSlaveProtocol, public QSNoteServiceSlaveProtocol, public QSKeyValueChanges {
public:
    // An assertion failure for a type that is no note service.
    static const QSSlaveClass* classForServiceType(std::int32_t type);

    explicit QSNoteConverter(std::weak_ptr<QSService> service = {});

    bool respondsTo(QSSlaveOperation operation) const override;
    std::shared_ptr<QSServiceSlaveAuthenticationDelegate> authDelegate() const override { return authDelegate_.lock(); }
    void setAuthDelegate(std::weak_ptr<QSServiceSlaveAuthenticationDelegate> delegate) override {
        authDelegate_ = std::move(delegate);
    }

    void convertNote(const std::shared_ptr<QSNote>& note, QSNoteSuccessHandler success,
                     QSNoteFailureHandler failure) override;
    TextSet availableTagNames() const override { return availableTagNames_; }
    bool supportsTags() const override { return false; }
    bool supportsAttachments() const override { return false; }
    bool supportsReminders() const override { return false; }

    std::shared_ptr<QSService> service() const { return service_.lock(); }

protected:
    void setAvailableTagNames(TextSet names);
    // All notebooks that the service has: makes new ones, renames, removes those that it no longer has, and gives
    // accounts without a default notebook the service's own.
    void updateNotebooks(const std::vector<QSRemoteNotebook>& notebooks);
    // What a note without a notebook fails with.
    static Error errorWithoutNotebook();

private:
    std::weak_ptr<QSService> service_;
    std::weak_ptr<QSServiceSlaveAuthenticationDelegate> authDelegate_;
    TextSet availableTagNames_;
};

}  // namespace qs
