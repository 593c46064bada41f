// What the person does in the page, and what plug-ins change by themselves.
#include <algorithm>

#include "AccountBook.h"
#include "Compose/BodyMarkup.h"
#include "Compose/ComposeSession.h"
#include "Foundation/Assertion.h"
#include "Foundation/Log.h"
#include "MailApplication.h"
#include "MailEngine.h"
#include "Models/ModelChanges.h"
#include "Text/Ascii.h"
#include "Text/Utf8.h"

namespace qs {
namespace {

constexpr std::size_t kLongestSubject = 10'000;
constexpr std::size_t kMostRecipients = 2000;
constexpr std::size_t kLongestRecipient = 10'000;  // an entry may be a pasted list
constexpr std::size_t kLargestBody = 64u << 20;    // with pictures in it

std::string onOneLine(std::string_view text) {
    std::string line = validUtf8(text.substr(0, kLongestSubject));
    for (char& c : line)
        if (isAsciiControl(c)) c = ' ';
    return line;
}

std::vector<std::string> asEntries(const std::vector<std::string>& typed) {
    std::vector<std::string> entries;
    for (const std::string& one : typed)
        if (entries.size() < kMostRecipients && one.size() <= kLongestRecipient && !trimmedAscii(one).empty())
            entries.push_back(validUtf8(one));
    return entries;
}

}  // namespace

void ComposeSession::update(const ComposeUpdate& update) {
    if (closed_ || busy_) return;
    const auto setAddresses = [&](const std::shared_ptr<AddressField>& field, const auto& typed) {
        if (!typed) return;
        auto entries = asEntries(*typed);
        if (entries == field->addresses()) return;
        touched_ = true;
        field->setAddresses(std::move(entries));
    };
    setAddresses(headers_->toField(), update.to);
    setAddresses(headers_->ccField(), update.cc);
    setAddresses(headers_->bccField(), update.bcc);
    if (update.subject) {
        if (std::string subject = onOneLine(*update.subject); subject != headers_->subject()) {
            headers_->setSubject(std::move(subject));
            window_->setTitle(title());
            touch();
        }
    }
    if (update.plainText && *update.plainText != plainText_) {
        plainText_ = *update.plainText;
        touch();
    }
    const bool isNewBody = update.bodyHtml && update.bodyRevision >= bodyRevision_ &&
                           *update.bodyHtml != receivedBody_ && (!pageBody_ || *update.bodyHtml != *pageBody_);
    if (isNewBody) {
        if (update.bodyHtml->size() > kLargestBody) {
            logWarning("A body of more than 64 megabytes is not taken over from the page.");
        } else {
            receivedBody_ = *update.bodyHtml;
            editor_->document().setHtml(bodyFromPage(*update.bodyHtml, *attachments_));
            pageBody_.reset();
            touch();
        }
    }
    // Last, as plug-ins then change recipients.
    if (update.account && *update.account != accountIdentifier() && *update.account != sender())
        senderDidChange(*update.account);
}

std::string ComposeSession::sender() const {
    const bool isMain = fromAddress_ == mainAddress(engine_, accountIdentifier());
    return isMain ? accountIdentifier() : accountIdentifier() + "/" + fromAddress_;
}

void ComposeSession::senderDidChange(const std::string& sender) {
    const std::string account = sender.substr(0, sender.find('/'));
    const std::string wanted = account.size() < sender.size() ? sender.substr(account.size() + 1) : std::string();
    const AccountRecord* record = engine_.accounts().find(account);
    if (!record || record->identities.empty()) return;  // no account of ours
    const auto identity = std::ranges::find(record->identities, wanted, &MailIdentity::address);
    fromAddress_ = identity == record->identities.end() ? record->mainAddress() : identity->address;
    touch();
    if (account == accountIdentifier()) return noteModelChange();
    backEnd_->setAccountIdentifier(account);
    try {
        headers_->accountDidChange(nullptr);
    } catch (const std::exception&) {
        logCaughtException("A plug-in could not follow the change of the account");
    }
}

Result<std::string> ComposeSession::addAttachmentFrom(std::string_view fileName, const SizedSource& content,
                                                      bool isInline) {
    if (closed_ || busy_)
        return failure("Compose", 2, "The message is being sent, so nothing can be attached any more.");
    const auto added = attachments_->addFrom(fileName, content, {}, isInline);
    if (!added) return failed(added);
    touch();
    tellAttachmentsChanged();
    return added->identifier;
}

void ComposeSession::removeAttachment(std::string_view identifier) {
    if (closed_ || busy_ || !attachments_->remove(identifier)) return;
    // A picture of the text leaves the text, too.
    if (bodyShows(editor_->document().bodyHtml(), identifier)) {
        for (HtmlNode image : editor_->document().body().elementsByTagName("img"))
            if (bodyShows(image.attribute("src"), identifier)) image.remove();
        bodyDidChange();
    }
    touch();
    tellAttachmentsChanged();
}

Result<std::shared_ptr<const OpenFile>> ComposeSession::openAttachment(std::string_view identifier) {
    return attachments_->open(identifier);
}

void ComposeSession::tellAttachmentsChanged() {
    try {
        compose_controller::updateAttachmentStatus(*controller_);
    } catch (const std::exception&) {
        logCaughtException("A plug-in could not follow the change of the attachments");
    }
    noteModelChange();
}

void ComposeSession::attachmentsDidChange() { headers_->showStatusRow(!attachments_->all().empty()); }

void ComposeSession::togglePlainText() {
    if (canDo("togglePlainText:")) setPlainText(!plainText_);
}

void ComposeSession::setPlainText(bool plainText) {
    if (plainText_ == plainText) return;
    plainText_ = plainText;
    touch();
}

void ComposeSession::chooseFile() {
    if (canDo("insertFile:")) application_.requestFromPage("chooseFile", window_->identifier());
}

void ComposeSession::touch() {
    touched_ = true;
    didChange();
}

void ComposeSession::bodyDidChange() {
    ++bodyRevision_;
    pageBody_.reset();
    receivedBody_.clear();
    didChange();
}

void ComposeSession::didChange() {
    noteModelChange();
    if (!stands_ || closed_) return;
    ++version_;
    scheduleAutosave();
}

}  // namespace qs
