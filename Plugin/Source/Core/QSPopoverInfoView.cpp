#include "Core/QSPopoverInfoView.h"

#include <random>

#include "Core/QSSession.h"
#include "Foundation/Format.h"
#include "Foundation/RunLoop.h"
#include "Models/ModelChanges.h"
#include "Models/Popover.h"
#include "Models/View.h"

namespace qs {

namespace {

constexpr TimeInterval kSecond = 1.0;

}  // namespace

QSPopoverInfoView::QSPopoverInfoView(std::string identifier, std::string withInfoText, std::shared_ptr<View> forView)
    : infoText(std::move(withInfoText)),
      associatedView(std::move(forView)),
      identifier_(std::move(identifier)),
      confirmations_{QSLocalizedString("Okay, got it"), QSLocalizedString("Thank you"),
                     QSLocalizedString("Understood")},
      popover_(std::make_shared<Popover>(identifier_)) {
    actionButtonTitles = {confirmations_[std::random_device{}() % confirmations_.size()]};
}

QSPopoverInfoView::~QSPopoverInfoView() {
    if (timeoutTimer_) timeoutTimer_->invalidate();
}

bool QSPopoverInfoView::isShown() const { return popover_->isShown(); }

void QSPopoverInfoView::showPopover() {
    popover_->content.text = infoText;
    popover_->content.imageName = imageView;
    popover_->content.buttonTitles = actionButtonTitles;
    popover_->content.buttonIcons = actionButtonIcons;
    popover_->onButton = [self = weak_from_this()](int segment) {
        if (const auto view = self.lock()) view->hidePopover(segment);
    };
    popover_->onClose = [self = weak_from_this()] {
        if (const auto view = self.lock()) view->popoverDidClose();
    };
    showCountdown();
    if (timeout > kSecond) startTimer();
    popover_->showRelativeTo(associatedView, preferredEdge);
}

void QSPopoverInfoView::showCountdown() {
    popover_->content.countdownText =
        timeout < kSecond ? std::string() : stringWithFormat("%ld", {static_cast<std::int64_t>(timeout)});
    noteModelChange();
}

void QSPopoverInfoView::startTimer() {
    if (timeoutTimer_) timeoutTimer_->invalidate();
    timeoutTimer_ = RunLoop::main().after(kSecond, [self = weak_from_this()] {
        if (const auto view = self.lock()) view->countdown();
    });
}

// Closed some other way, the countdown simply stops.
void QSPopoverInfoView::countdown() {
    if (!isShown()) return;
    if (timeout > kSecond) {
        timeout -= kSecond;
        showCountdown();
        return startTimer();
    }
    hidePopover(0);
}

void QSPopoverInfoView::hidePopover(std::optional<int> selectedSegment) {
    const auto self = shared_from_this();  // the delegate lets go of it when it closes
    const auto complete = completionHandler;
    popover_->close();
    if (complete && selectedSegment) complete(*selectedSegment);
}

void QSPopoverInfoView::popoverDidClose() {
    if (const auto told = delegate.lock()) told->didClosePopoverView(*this);
    if (timeoutTimer_ && timeoutTimer_->isValid()) {
        timeoutTimer_->invalidate();
        timeoutTimer_.reset();
    }
}

}  // namespace qs
