#include "Viewer/Banner.h"

#include <algorithm>

#include "Foundation/Assertion.h"
#include "Mail/Mailbox.h"
#include "Models/ModelChanges.h"

namespace qs {

BannerButton::BannerButton(std::string anchor, std::weak_ptr<Window> window)
    : View(std::move(anchor), std::move(window), "NSButton") {}

int BannerSubject::junkStatus() const {
    const auto mailbox = originalMessage->mailbox();
    return originalMessage->flags().junk || (mailbox && mailbox->kind() == MailboxKind::Junk) ? 1 : 0;
}

void BannerViewController::setContainer(const std::shared_ptr<BannerContainerViewController>& container) {
    container_ = container;
    if (view_) return;
    const std::string anchor = container->anchorForNextBanner();
    view_ = std::make_shared<View>(anchor, container->window());
    for (const char* name : {":primary", ":second"})
        buttons_.push_back(std::make_shared<BannerButton>(anchor + name, container->window()));
}

void BannerViewController::removeFromView(const std::shared_ptr<BannerButton>& button) { std::erase(buttons_, button); }

std::string BannerContainerViewController::anchorForNextBanner() {
    const auto shown = window();
    return "banner:" + (shown ? shown->identifier() : std::string()) + ":" + std::to_string(++banners_);
}

void BannerContainerViewController::setMessage(const MessageRef& message) {
    const auto before = subject_ ? subject_->originalMessage : nullptr;
    if (message == before) return;
    subject_ = message ? std::make_shared<BannerSubject>(message) : nullptr;
    updateBannerDisplay();
}

void BannerContainerViewController::updateBannerDisplay() {
    BannerList displayed;
    for (const auto& controller : BannerList(controllers_)) {
        controller->representedObject = subject_;
        try {
            if (subject_ && banner::wantsDisplay(*controller)) displayed.push_back(controller);
        } catch (const std::exception&) {
            logCaughtException("A banner could not be asked whether it is to be shown");
        }
    }
    displayed_ = std::move(displayed);
    noteModelChange();
}

}  // namespace qs
