// What the worker of a note service must answer, beside QSServiceSlaveProtocol. Main thread.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Core/Store/Condition.h"
#include "Foundation/Result.h"

namespace qs {

class QSNote;

// In the user info of an error: true when the same note can go later. Any other failure is final.
inline constexpr std::string_view QSErrorRetryLaterKey = "QSErrorRetryLaterKey";

using QSNoteSuccessHandler = std::function<void(const std::shared_ptr<QSNote>& note)>;
using QSNoteFailureHandler = std::function<void(const std::optional<Error>& error)>;  // nothing: no reason is known

class QSNoteServiceSlaveProtocol {
public:
    virtual ~QSNoteServiceSlaveProtocol() = default;
    // Makes a note at the service of the given one, of which it reads what it needs before this returns: records live
    // on the main thread. What takes long (reading files, turning a long text into another form) belongs on a global
    // queue. One of the two is called once, later or at once, from any thread; success gets the given note, changed
    // where the service says so.
    virtual void convertNote(const std::shared_ptr<QSNote>& note, QSNoteSuccessHandler success,
                             QSNoteFailureHandler failure) = 0;
    virtual TextSet availableTagNames() const = 0;  // that are known at the service
    virtual bool supportsTags() const = 0;
    virtual bool supportsAttachments() const = 0;
    virtual bool supportsReminders() const = 0;
    // How links into the service's own program begin, in small letters and without the colon; empty when its notes
    // open on the web alone.
    virtual std::string noteLinkScheme() const { return {}; }
};

}  // namespace qs
