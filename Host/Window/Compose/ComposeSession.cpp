#include "Compose/ComposeSession.h"

#include <algorithm>

#include "AccountBook.h"
#include "Compose/BodyMarkup.h"
#include "Compose/Drafts.h"
#include "Foundation/Assertion.h"
#include "Foundation/FileSystem.h"
#include "Mail/MailAccount.h"
#include "Mail/MessageHeaders.h"
#include "MailApplication.h"
#include "MailEngine.h"
#include "Models/Alert.h"
#include "Models/ModelChanges.h"
#include "Text/Ascii.h"

namespace qs {
namespace {

constexpr std::string_view kWindowCount = "composeWindowCount";

std::string nextIdentifier(MailApplication& application) {
    const int number = application.associated<int>(kWindowCount) + 1;
    application.setAssociatedObject(kWindowCount, number);
    return "compose-" + std::to_string(number);
}

}  // namespace

ComposeSession::ComposeSession(MailApplication& application, ComposeStart start,
                               std::shared_ptr<AttachmentFolder> attachments)
    : application_(application),
      engine_(application.engine()),
      start_(std::move(start)),
      uniqueID_(start_.uniqueID),
      fromAddress_(start_.fromAddress),
      plainText_(start_.plainText),
      attachments_(std::move(attachments)),
      keeper_(engine_.library(), std::move(start_.draft)) {}

ComposeSession::~ComposeSession() {
    if (autosaveTimer_) autosaveTimer_->invalidate();
    work_.waitUntilFinished();
    // The folder of a message that was being sent tells the next start of it.
    if (!closed_ && !busy_) attachments_->erase();
}

void ComposeSession::begin() {
    const auto changed = [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->didChange();
    };
    headers_ = std::make_shared<HeadersEditorObject>(changed);
    editor_ = std::make_shared<WebViewEditorObject>([weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->bodyDidChange();
    });
    backEnd_ = std::make_shared<ComposeBackEndObject>(start_.mode, start_.original, attachments_, headers_);
    controller_ = std::make_shared<ComposeControllerObject>(ComposeControllerObject::Parts{backEnd_, headers_, editor_},
                                                            weak_from_this());
    if (hasWindowController()) windowController_ = std::make_shared<ComposeWindowControllerObject>(controller_);

    backEnd_->setAccountIdentifier(start_.account);
    headers_->toField()->setAddresses(std::move(start_.to));
    headers_->ccField()->setAddresses(std::move(start_.cc));
    headers_->bccField()->setAddresses(std::move(start_.bcc));
    headers_->setSubject(std::move(start_.subject));
    editor_->document().setHtml(start_.body);

    window_ = std::make_shared<Window>(nextIdentifier(application_));
    window_->setTitle(title());
    window_->setVisible(true);
    headers_->setController(controller_);
    auto toolbar = std::make_shared<Toolbar>("compose");
    window_->setToolbar(toolbar);
    const std::shared_ptr<HostObject> delegate =
        windowController_ ? std::static_pointer_cast<HostObject>(windowController_) : controller_;
    try {
        toolbar->setDelegate(delegate, window_);
        headers_editor::configureButtonsAndPopUps(*headers_);
    } catch (const std::exception&) {
        logCaughtException("A compose window stands without some of its controls");
    }
    if (!attachments_->all().empty()) tellAttachmentsChanged();
    application_.composeWindowDidOpen(shared_from_this());
    stands_ = true;
    version_ = savedVersion_ = 0;
}

std::string ComposeSession::title() const {
    const std::string subject(trimmedAscii(headers_->subject()));
    return subject.empty() ? "New Message" : subject;
}

std::string ComposeSession::bodyHtml() const {
    if (!pageBody_) pageBody_ = bodyForPage(editor_->document().bodyHtml(), *attachments_);
    return *pageBody_;
}

// A step of a send may ask something in a sheet or an alert; a second send beside it would be a second message.
bool ComposeSession::isAsking() const {
    if (window_->currentSheet()) return true;
    return std::ranges::any_of(AlertCentre::shared().shown(),
                               [this](const Alert* alert) { return alert->windowIdentifier == window_->identifier(); });
}

bool ComposeSession::canDo(std::string_view action) const {
    if (closed_ || busy_) return false;
    return action != "send:" || (!isAsking() && hasRecipients(fields(Purpose::Sending)));
}

OutgoingFields ComposeSession::fields(Purpose purpose) const {
    OutgoingFields fields;
    if (const AccountRecord* account = engine_.accounts().find(accountIdentifier())) {
        const auto identity = std::ranges::find(account->identities, fromAddress_, &MailIdentity::address);
        fields.fromName = identity == account->identities.end() ? account->fullName() : identity->name;
    }
    fields.fromAddress = fromAddress_;
    fields.to = to();
    fields.cc = cc();
    fields.bcc = bcc();
    fields.subject = subject();
    fields.uniqueID = uniqueID_;
    fields.others = start_.keptHeaders;
    if (purpose == Purpose::Sending) {
        fields.messageID = messageID_;
        return fields;
    }
    fields.others.emplace_back(kDraftToHeader, unfinishedRecipients(fields.to));
    fields.others.emplace_back(kDraftCcHeader, unfinishedRecipients(fields.cc));
    fields.others.emplace_back(kDraftBccHeader, unfinishedRecipients(fields.bcc));
    if (!start_.forwards.empty()) fields.others.emplace_back(kDraftForwardsHeader, "<" + start_.forwards + ">");
    if (plainText_) fields.others.emplace_back(kDraftFormatHeader, kDraftFormatPlain);
    return fields;
}

ComposeContents ComposeSession::contents() const {
    const HtmlDocument& document = editor_->document();
    ComposeContents contents{.html = document.html(), .plainText = document.plainText()};
    for (const ComposeAttachment& attachment : attachments_->all())
        if (!attachment.isInline || bodyShows(contents.html, attachment.identifier))
            contents.attachments.push_back(attachment);
    return contents;
}

Result<std::shared_ptr<OutgoingMessage>> ComposeSession::build(Purpose purpose) {
    const auto headers = outgoingHeaders(fields(purpose), RunLoop::main().now());
    try {
        return backEnd_->newOutgoingMessage(contents(), headers, purpose == Purpose::Draft, plainText_);
    } catch (const std::exception&) {
        logCaughtException("A message could not be put together");
        return failure("Compose", 1, "The message could not be put together.");
    }
}

int ComposeSession::ask(std::string title, std::string text, std::vector<std::string> buttons) {
    Alert alert;
    alert.messageText = std::move(title);
    alert.informativeText = std::move(text);
    alert.buttons = std::move(buttons);
    return alert.runModalSheetForWindow(*window_) - kAlertFirstButtonReturn;
}

}  // namespace qs
