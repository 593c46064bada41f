#include "Core/QSPopoverController.h"

#include <algorithm>

#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Foundation/Format.h"
#include "Foundation/RunLoop.h"
#include "Models/View.h"
#include "Settings/UserDefaults.h"

namespace qs {

namespace {

constexpr std::size_t kUsualLength = 10;
constexpr TimeInterval kInterval = 1.0;
// A timer may be a little early by the clock.
constexpr TimeInterval kTolerance = 0.01;

std::string settingFor(std::string_view identifier) { return stringWithFormat("QSShowed%@", {identifier}); }

}  // namespace

QSPopoverController::QSPopoverController() { popoverQueue_.reserve(kUsualLength); }

QSPopoverController::~QSPopoverController() {
    if (timer_) timer_->invalidate();
}

QSPopoverController& QSPopoverController::sharedController() { return QSSession::current().popoverController(); }

void QSPopoverController::queuePopoverWithIdentifier(std::string identifier, std::string withInfoText,
                                                     std::shared_ptr<View> forView, int preferredEdge) {
    if (!forView) return;
    const auto view =
        std::make_shared<QSPopoverInfoView>(std::move(identifier), std::move(withInfoText), std::move(forView));
    view->preferredEdge = preferredEdge;
    queuePopoverView(view);
}

void QSPopoverController::queuePopoverView(const std::shared_ptr<QSPopoverInfoView>& view) {
    if (!view->associatedView) return;
    if (view->showOnlyOnce && didShowPopoverWithIdentifier(view->identifier())) return;
    dropThoseWithoutWindow();
    if (!viewWithIdentifier(view->identifier())) popoverQueue_.push_back(view);
    checkQueueWithTimer();
}

void QSPopoverController::showPopoverView(const std::shared_ptr<QSPopoverInfoView>& view) {
    dropThoseWithoutWindow();
    if (!view->associatedView || viewWithIdentifier(view->identifier())) return;
    popoverQueue_.push_back(view);
    show(view);
    if (!view->isShown()) checkQueueWithTimer();
}

bool QSPopoverController::didShowPopoverWithIdentifier(std::string_view identifier) const {
    return QSPluginDelegate::quillsteadDefaults().boolForKey(settingFor(identifier));
}

bool QSPopoverController::showing() const {
    return std::ranges::any_of(popoverQueue_, [](const auto& view) { return view->isShown(); });
}

std::shared_ptr<QSPopoverInfoView> QSPopoverController::nextViewInQueue() const {
    const auto found = std::ranges::find_if(popoverQueue_, [](const auto& view) { return !view->isShown(); });
    return found == popoverQueue_.end() ? nullptr : *found;
}

std::shared_ptr<QSPopoverInfoView> QSPopoverController::viewWithIdentifier(std::string_view identifier) const {
    const auto found =
        std::ranges::find_if(popoverQueue_, [&](const auto& view) { return view->identifier() == identifier; });
    return found == popoverQueue_.end() ? nullptr : *found;
}

void QSPopoverController::didClosePopoverView(QSPopoverInfoView& view) {
    if (view.showOnlyOnce && !view.identifier().empty())
        QSPluginDelegate::quillsteadDefaults().setObject(true, settingFor(view.identifier()));
    std::erase_if(popoverQueue_, [&](const auto& queued) { return queued.get() == &view; });
    checkQueueWithTimer();
}

// One at a time, a second apart. What waits for its window is looked at again each second.
void QSPopoverController::checkQueueWithTimer() {
    dropThoseWithoutWindow();
    const bool isSoon = lastShown_ && RunLoop::main().now() - *lastShown_ < kInterval - kTolerance;
    if (!showing() && !isSoon) showNext();
    if (popoverQueue_.empty() || timer_) return;
    timer_ = RunLoop::main().after(kInterval, [weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self) return;
        self->timer_.reset();
        self->checkQueueWithTimer();
    });
}

// A view never gets another window: without this, a hint of a closed window would keep its place, and its name, for
// good.
void QSPopoverController::dropThoseWithoutWindow() {
    std::erase_if(popoverQueue_, [](const auto& view) { return !view->isShown() && !view->associatedView->window(); });
}

// The next in the queue. One whose window isn't on the screen stays, and the one behind it gets its turn.
void QSPopoverController::showNext() {
    if (!nextViewInQueue()) return;
    const auto queue = popoverQueue_;
    for (const auto& view : queue) {
        show(view);
        if (view->isShown()) return;
    }
}

void QSPopoverController::show(const std::shared_ptr<QSPopoverInfoView>& view) {
    view->delegate = weak_from_this();
    view->showPopover();
    if (view->isShown()) lastShown_ = RunLoop::main().now();
}

}  // namespace qs
