#include "MailCategories/StatusIcons.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "Core/QSLifecycleHooks.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Foundation/Format.h"
#include "Foundation/NotificationCenter.h"
#include "Foundation/RunLoop.h"
#include "Foundation/Value.h"
#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "Mail/Message.h"
#include "Services/QSServicesManager.h"
#include "Settings/UserDefaults.h"
#include "Snooze/QSSnoozeManager.h"
#include "Snooze/SnoozeMailboxes.h"

namespace qs {

namespace {

// A date of our days is exact to less than a microsecond only: right at the moment it may still look like before, and
// drawing would go on for ever.
constexpr TimeInterval kBehind = 0.001;

// Many changes in one turn of the run loop, such as when opens are merged, draw the rows once.
class Redrawing {
public:
    Redrawing()
        : snoozes_(QSSnoozeManager::sharedManager().addObserver("snoozedMessages",
                                                                [this](bool isPrior) {
                                                                    if (!isPrior) drawSoon();
                                                                })),
          settings_(NotificationCenter::defaultCenter().addObserver(
              std::string(UserDefaultsDidChangeNotification), [this](const Notification& notification) {
                  const Array& keys = notification.userInfo["keys"].array();
                  if (std::ranges::find(keys, Value("QSHighlightReminderMessages")) != keys.end()) drawSoon();
              })) {
        auto& services = QSServicesManager::sharedManager();
        for (const char* key : {"services", "linkedServices"})
            links_.push_back(services.addObserver(key, [this](bool isPrior) {
                if (!isPrior) drawSoon();
            }));
    }
    ~Redrawing() {
        if (timer_) timer_->invalidate();
    }

    void drawAt(Date moment) {
        if (timer_ && timer_->isValid() && due_ <= moment) return;
        if (timer_) timer_->invalidate();
        due_ = moment;
        timer_ = RunLoop::main().after(std::max(0.0, moment - RunLoop::main().now()) + kBehind, [this] { drawSoon(); });
    }

    void drawSoon() {
        if (std::exchange(isAsked_, true)) return;
        RunLoop::main().post([this, alive = std::weak_ptr(alive_)] {
            if (alive.expired()) return;
            isAsked_ = false;
            QSPluginDelegate::sharedDelegate().refreshMessageList();
        });
    }

private:
    bool isAsked_ = false;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    ObservationRef snoozes_, settings_;
    std::vector<ObservationRef> links_;
    TimerRef timer_;
    Date due_;
};

}  // namespace

std::string imageOf(const StatusIcon& icon, bool selected) {
    return std::string("plugin:") + (selected ? icon.selectedName : icon.name);
}

std::string labelOf(const StatusIcon& icon) { return QSLocalizedString(icon.label); }

std::string labelOfIconNamed(std::string_view name) {
    const auto* found =
        std::ranges::find(status_icons::kAll, name, [](const StatusIcon& icon) { return std::string_view(icon.name); });
    return found == std::end(status_icons::kAll) ? std::string() : labelOf(*found);
}

std::string withWord(const std::string& text, const char* word) {
    return text + stringWithFormat(" (%@)", {QSLocalizedString(word)});
}

bool isInOutbox(const Message& message) {
    const auto mailbox = message.mailbox();
    if (!mailbox || mailbox->kind() != MailboxKind::Outbox) return false;
    const auto account = mailbox->account();
    return account && isSame(*mailbox, account->_outboxMailboxCreateIfNeeded(false));
}

double sendDelaySeconds() { return QSPluginDelegate::quillsteadDefaults().floatForKey("QSSendDelaySeconds"); }

void drawAgainAt(Date moment) { QSSession::current().part<Redrawing>().drawAt(moment); }

void installStatusIconHooks(QSSession& session) {
    session.part<Redrawing>();
    session.lifecycleHooks().recordDidChange = [](std::string_view) {
        QSSession::current().part<Redrawing>().drawSoon();
    };
}

}  // namespace qs
