// A small card with a text: a hint that is shown once, or a countdown with buttons. It points at a view and is drawn by
// the host's popover.
//
// Made by whoever has something to say, then given to QSPopoverController, which keeps it until it is closed. Main
// thread.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qs {

class Popover;
class QSPopoverInfoView;
class Timer;
class View;

class QSPopoverInfoViewDelegate {
public:
    virtual ~QSPopoverInfoViewDelegate() = default;
    virtual void didClosePopoverView(QSPopoverInfoView& view) = 0;
};

class QSPopoverInfoView : public std::enable_shared_from_this<QSPopoverInfoView> {
public:
    // A hint with one button, which confirms that it was read. An empty identifier is remembered nowhere.
    QSPopoverInfoView(std::string identifier, std::string withInfoText, std::shared_ptr<View> forView);
    virtual ~QSPopoverInfoView();

    const std::string& identifier() const { return identifier_; }
    const std::vector<std::string>& confirmations() const { return confirmations_; }

    // To be set before it is shown.
    std::string infoText;
    std::vector<std::string> actionButtonTitles;  // the segments of the action button
    std::vector<std::string> actionButtonIcons;   // by index; may be shorter
    std::string imageView;                        // a picture's name or data URL; empty: none
    double timeout = 0;                           // seconds; 1.0 or less: it does not count down
    std::shared_ptr<View> associatedView;
    int preferredEdge = 3;  // 0 left, 1 below, 2 right, 3 above
    bool showOnlyOnce = true;
    std::weak_ptr<QSPopoverInfoViewDelegate> delegate;
    // Gets the segment that was pressed; 0 when the countdown ran out. Not called when it is closed otherwise.
    std::function<void(int segment)> completionHandler;

    bool isShown() const;
    // Stays unshown while the window of the associated view is not visible.
    void showPopover();
    // Closes it; `selectedSegment` when it was the action button that asked for it.
    void hidePopover(std::optional<int> selectedSegment = std::nullopt);
    void popoverDidClose();
    void countdown();  // one second has passed

private:
    void startTimer();
    void showCountdown();

    std::string identifier_;
    std::vector<std::string> confirmations_;
    std::shared_ptr<Popover> popover_;
    std::shared_ptr<Timer> timeoutTimer_;
};

}  // namespace qs
