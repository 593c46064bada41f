// The common ground of all workers that keep reminders at a task service: they make, change and delete them there, and
// keep the lists in step. Main thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "Services/QSServiceSlave.h"

namespace qs {

class QSReminder;
struct QSSlaveClass;

inline constexpr const char* kReminderConverterErrorDomain = "com.tallowbay.Quillstead.ReminderConverter";

class QSReminderServiceSlaveProtocol {
public:
    using Success = std::function<void(const std::shared_ptr<QSReminder>& reminder)>;  // the one that was given
    using Failure = std::function<void(const std::optional<Error>& error)>;            // also without an error
    virtual ~QSReminderServiceSlaveProtocol() = default;
    // At most one of the handlers is called, now or later.
    virtual void convertReminder(const std::shared_ptr<QSReminder>& reminder, const Success& success,
                                 const Failure& failure) = 0;
    virtual void updateReminder(const std::shared_ptr<QSReminder>& reminder, const Success& success,
                                const Failure& failure) = 0;
    virtual void deleteReminder(const std::shared_ptr<QSReminder>& reminder) = 0;  // nobody hears how that ends
};

// Does nothing by itself.
class QSReminderConverter : public QSServiceSlaveProtocol, public QSReminderServiceSlaveProtocol {
public:
    // An assertion failure for a type that is no task service.
    static const QSSlaveClass* classForServiceType(std::int32_t type);

    explicit QSReminderConverter(std::weak_ptr<QSService> service = {}) : service_(std::move(service)) {}

    bool respondsTo(QSSlaveOperation operation) const override;
    std::shared_ptr<QSServiceSlaveAuthenticationDelegate> authDelegate() const override { return authDelegate_.lock(); }
    void setAuthDelegate(std::weak_ptr<QSServiceSlaveAuthenticationDelegate> delegate) override {
        authDelegate_ = std::move(delegate);
    }
    void convertReminder(const std::shared_ptr<QSReminder>&, const Success&, const Failure&) override {}
    void updateReminder(const std::shared_ptr<QSReminder>&, const Success&, const Failure&) override {}
    void deleteReminder(const std::shared_ptr<QSReminder>&) override {}

    std::shared_ptr<QSService> service() const { return service_.lock(); }

private:
    std::weak_ptr<QSService> service_;
    std::weak_ptr<QSServiceSlaveAuthenticationDelegate> authDelegate_;
};

// The service's worker, as far as it takes reminders; else null, also for no service.
QSReminderServiceSlaveProtocol* reminderSlaveOf(const std::shared_ptr<QSService>& service);

}  // namespace qs
