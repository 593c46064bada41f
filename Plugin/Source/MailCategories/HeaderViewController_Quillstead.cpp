// The patch of a message's head: the date on which a scheduled or snoozed message will go or come, and a row of icons
// below it. Main thread.
#include "Core/PatchClass.h"
#include "Core/QSSession.h"
#include "Core/RelativeDateText.h"
#include "Foundation/RunLoop.h"
#include "Mail/MessageHeaders.h"
#include "MailCategories/MessageMarks.h"
#include "MailCategories/StatusIcons.h"
#include "Notes/QSNotesManager.h"
#include "Outgoing/QSHeaderKeys.h"
#include "Platform.h"
#include "Snooze/QSSnoozeManager.h"
#include "Text/MailHeaderDate.h"
#include "Viewer/Banner.h"
#include "Viewer/HeaderView.h"

namespace qs {

namespace {

using StatusView = std::shared_ptr<HeaderImageRow>;

const Operation<void()> quillstead_updateSenderImageView{"quillstead_updateSenderImageView"};
const Operation<void()> quillstead_updateDateView{"quillstead_updateDateView"};
const Operation<void(const std::string& name)> addStatusIconNamed{"addStatusIconNamed:"};
const Operation<StatusView()> statusView{"statusView"};
const Operation<void(StatusView)> setStatusView{"setStatusView:"};

constexpr std::string_view kStatusViewKey = "statusView";
constexpr const char* kDaySkeleton = "yMMMMd";
constexpr int kIconSize = 14;

HeaderViewController& header(HostObject& self) { return static_cast<HeaderViewController&>(self); }

MessageRef messageOf(HostObject& self) {
    const auto& subject = header(self).representedObject;
    return subject ? subject->originalMessage : nullptr;
}

void makeStatusView(HostObject& self) {
    const auto window = header(self).window();
    auto made = std::make_shared<HeaderImageRow>("header:" + (window ? window->identifier() : std::string()), window);
    header(self).belowDate.push_back(made);
    setStatusView(self, std::move(made));
}

void updateIcons(HostObject& self) {
    quillstead_updateSenderImageView(self);
    if (!QSSession::currentIfLoaded()) {
        if (const auto shown = statusView(self)) shown->images.clear();
        return;
    }
    if (!statusView(self)) makeStatusView(self);
    statusView(self)->images.clear();
    const auto message = messageOf(self);
    const std::string messageID = message ? message->messageID() : std::string();
    if (messageID.empty()) return;
    const MessageMarks marks({messageID});
    const NoteMark notes = QSNotesManager::hasNotesService() ? marks.of(messageID).notes : NoteMark::None;
    if (notes == NoteMark::Pending) addStatusIconNamed(self, status_icons::kPendingNote.name);
    if (notes == NoteMark::Present) addStatusIconNamed(self, status_icons::kNote.name);
    // Here a follow-up counts as long as there is one, done or not.
    if (marks.of(messageID).hasFollowUp) addStatusIconNamed(self, status_icons::kFollowUp.name);
    if (QSSnoozeManager::sharedManager().isSnoozedMessageWithMessageID(messageID))
        addStatusIconNamed(self, status_icons::kSnoozed.name);
}

void updateDate(HostObject& self) {
    quillstead_updateDateView(self);
    const auto message = QSSession::currentIfLoaded() ? messageOf(self) : nullptr;
    if (!message) return;
    const Date now = RunLoop::main().now();
    std::string& shown = header(self).dateView.text;
    const auto show = [&](Date date, const char* word) {
        shown = withWord(relativeDateText(date, now, kDaySkeleton), word);
    };
    const auto headers = message->headersIfAvailable();
    if (const auto text = headers ? headers->firstHeaderForKey(QSHeaderKeyXScheduledDate) : std::nullopt) {
        const auto scheduled = dateFromMailHeaderString(*text);
        if (!scheduled || *scheduled - now < kDateTolerance) return;
        drawAgainAt(*scheduled - kDateTolerance);
        return show(*scheduled, "Scheduled");
    }
    const auto snoozed = QSSnoozeManager::sharedManager().snoozeDateForMessageID(message->messageID());
    if (snoozed) return show(*snoozed, "Snoozed");
    const Date end = message->dateReceived() + 2 * sendDelaySeconds();
    if (!isInOutbox(*message) || now >= end) return;
    drawAgainAt(end);
    shown = withWord(shown, "Delayed");
}

void load() {
    const int minor = osMinor();
    PatchClass patch("HeaderViewController_Quillstead");
    patch.add(quillstead_updateSenderImageView, updateIcons);
    patch.add(quillstead_updateDateView, updateDate);
    patch.add(statusView, [](HostObject& self) { return self.associated<StatusView>(kStatusViewKey); });
    patch.add(setStatusView,
              [](HostObject& self, StatusView view) { self.setAssociatedObject(kStatusViewKey, std::move(view)); });
    patch.add(addStatusIconNamed, [](HostObject& self, const std::string& name) {
        if (const auto shown = statusView(self))
            shown->images.push_back({"plugin:" + name, labelOfIconNamed(name), kIconSize});
    });
    patch.addAsCategoryOf("HeaderViewController");
    if (minor >= 11) {
        const auto& picture = minor >= 12 ? header_view::updateAvatarView : header_view::updateSenderImageView;
        patch.exchange("HeaderViewController", picture.selector(), quillstead_updateSenderImageView.selector());
        patch.exchange("HeaderViewController", header_view::updateDateView.selector(),
                       quillstead_updateDateView.selector());
    }
    patch.finish();
}

const PatchClassRegistration registration(load);

}  // namespace

}  // namespace qs
