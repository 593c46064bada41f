#include "Compose/ComposeStart.h"

#include <algorithm>
#include <map>

#include "AccountBook.h"
#include "Compose/AttachmentFolder.h"
#include "Compose/BodyMarkup.h"
#include "Compose/Drafts.h"
#include "Compose/ReplyText.h"
#include "Display/Sanitizer.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "HostSettings.h"
#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "Mail/MessageHeaders.h"
#include "MailEngine.h"
#include "MailLibrary.h"
#include "Mime/Addresses.h"
#include "Mime/MessageWriter.h"
#include "Mime/MimeMessage.h"
#include "Text/Ascii.h"

namespace qs {
namespace {

constexpr std::size_t kMostRecipients = 2000;

// The message that a window is opened from, read apart, and its parts as they become attachments.
class Source {
public:
    Source(std::shared_ptr<MimeMessage> mime, AttachmentFolder& attachments)
        : mime_(std::move(mime)), parts_(mime_->attachments()), attachments_(attachments) {}

    const MessageHeaders& headers() const { return *headers_; }
    bool isPlain() const { return !mime_->htmlBody() && mime_->plainBody(); }
    bool isDamaged() const { return !mime_->damage().empty(); }

    // As clean markup. The pictures in it become attachments.
    std::string body() {
        const auto html = mime_->htmlBody();
        const std::string source = html ? *html : plainTextToHtml(withKeptBlanks(mime_->plainBody().value_or("")));
        return cleanBody(source, [this](std::string_view contentID) { return takePicture(contentID); });
    }

    // All parts that are not pictures of the body already.
    Result<void> takeAttachments() {
        for (const MimePart& part : parts_) {
            if (taken_.contains(part.part)) continue;
            const auto content = mime_->partSource(part.part);
            if (!content) return failure("Mail", 1, "The attachment “" + part.fileName + "” cannot be read.");
            const auto added = attachments_.addFrom(part.fileName, *content, part.mimeType, false);
            if (!added) return failed(added);
        }
        return {};
    }

private:
    std::string takePicture(std::string_view contentID) {
        const auto part = std::ranges::find(parts_, contentID, &MimePart::contentID);
        if (contentID.empty() || part == parts_.end()) return {};
        if (const auto known = taken_.find(part->part); known != taken_.end()) return known->second;
        const auto content = mime_->partContent(part->part);
        const auto added = content ? attachments_.add(part->fileName, *content, part->mimeType, true)
                                   : Result<ComposeAttachment>(failure("Mail", 1, "Its content is missing."));
        if (added) return taken_[part->part] = added->identifier;
        logWarning("A picture of a message is left out: " + added.error().description);
        return {};
    }

    std::shared_ptr<MimeMessage> mime_;
    std::shared_ptr<MessageHeaders> headers_ = mime_->headers();
    std::vector<MimePart> parts_;
    AttachmentFolder& attachments_;
    std::map<std::string, std::string> taken_;  // part to attachment
};

std::string withoutBrackets(std::string_view id) {
    if (id.starts_with('<')) id.remove_prefix(1);
    if (id.ends_with('>')) id.remove_suffix(1);
    return std::string(id);
}

// What was typed, if that differs from what an address header can hold.
std::vector<std::string> recipientsOfDraft(const MessageHeaders& headers, std::string_view key,
                                           std::string_view typedKey) {
    std::vector<std::string> forms;
    for (const std::string& value : headers.allHeadersForKey(headers.hasHeaderForKey(typedKey) ? typedKey : key))
        for (const MailAddress& one : parseAddresses(value))
            if (forms.size() < kMostRecipients) forms.push_back(one.display());
    return forms;
}

OwnAddresses ownAddresses(MailEngine& engine, const std::string& account) {
    OwnAddresses own;
    for (const AccountRecord& record : engine.accounts().all()) {
        const auto addresses = record.addresses();
        own.all.insert(own.all.end(), addresses.begin(), addresses.end());
        if (record.identifier == account) own.account = addresses;
    }
    return own;
}

// The account of the request, of the message, the chosen one, the first: whichever is there.
std::string accountOf(const ComposeRequest& request, MailEngine& engine) {
    AccountBook& book = engine.accounts();
    const auto isInUse = [&](const std::string& identifier) {
        const AccountRecord* record = book.find(identifier);
        return record && record->isEnabled;
    };
    if (isInUse(request.account)) return request.account;
    if (request.message) {
        auto account = request.message->account();
        if (!account)
            if (const auto headers = request.message->headers())
                account = MailAccount::accountForHeaders(*headers, request.message.get());
        if (account && isInUse(account->identifier())) return account->identifier();
    }
    if (const std::string chosen = defaultAccountIdentifier(); isInUse(chosen)) return chosen;
    const auto all = book.inUse();
    return all.empty() ? std::string() : all.front().identifier;
}

// Who writes to one of several addresses of an account is answered from that one.
std::string fromAddressFor(MailEngine& engine, const std::string& account, const MessageHeaders& headers,
                           std::initializer_list<std::string_view> keys) {
    const AccountRecord* record = engine.accounts().find(account);
    if (!record) return {};
    for (const std::string_view key : keys)
        for (const std::string& value : headers.allHeadersForKey(key))
            for (const MailAddress& one : parseAddresses(value))
                for (const std::string& own : record->addresses())
                    if (equalsIgnoringCase(own, one.address)) return own;
    return mainAddress(engine, account);
}

void startNew(ComposeStart& start, const ComposeRequest& request) {
    start.to = request.to;
    start.cc = request.cc;
    start.bcc = request.bcc;
    start.subject = request.subject;
    start.body = htmlFromText(request.plainBody);
    start.plainText = composesPlainText();
}

void startReply(ComposeStart& start, Source& source, MailEngine& engine) {
    const MessageHeaders& headers = source.headers();
    const bool toAll = start.mode == ComposeMode::ReplyAll;
    auto [to, cc] = replyRecipients(headers, toAll, ownAddresses(engine, start.account));
    start.to = std::move(to);
    start.cc = std::move(cc);
    start.subject = replySubject(headers.firstHeaderForKey(MCHeaderKeySubject).value_or(""));
    if (quotesOriginalMessage()) start.body = quotedForReply(headers, source.body());
    start.plainText = composesPlainText() || source.isPlain();
    if (const std::string id = inReplyTo(headers); !id.empty()) {
        start.keptHeaders = {{std::string(MCHeaderKeyInReplyTo), id},
                             {std::string(MCHeaderKeyReferences), referencesTo(headers)}};
        start.answers = withoutBrackets(id);
    }
}

Result<void> startForward(ComposeStart& start, Source& source) {
    const MessageHeaders& headers = source.headers();
    start.subject = forwardSubject(headers.firstHeaderForKey(MCHeaderKeySubject).value_or(""));
    start.body = quotedForForward(headers, source.body());
    start.plainText = composesPlainText() || source.isPlain();
    start.forwards = withoutBrackets(inReplyTo(headers));
    return source.takeAttachments();
}

Result<void> startDraft(ComposeStart& start, Source& source) {
    const MessageHeaders& headers = source.headers();
    start.to = recipientsOfDraft(headers, MCHeaderKeyTo, kDraftToHeader);
    start.cc = recipientsOfDraft(headers, MCHeaderKeyCc, kDraftCcHeader);
    start.bcc = recipientsOfDraft(headers, MCHeaderKeyBcc, kDraftBccHeader);
    start.subject = headers.firstHeaderForKey(MCHeaderKeySubject).value_or("");
    start.body = source.body();
    start.plainText = source.isPlain() || headers.firstHeaderForKey(kDraftFormatHeader) == kDraftFormatPlain;
    for (const std::string_view key : {MCHeaderKeyInReplyTo, MCHeaderKeyReferences, MCHeaderKeyReplyTo,
                                       std::string_view("X-Priority"), std::string_view("Importance")})
        if (const auto value = headers.firstHeaderForKey(key)) start.keptHeaders.emplace_back(key, *value);
    start.answers = headers.firstMessageIDForKey(MCHeaderKeyInReplyTo).value_or("");
    start.forwards = headers.firstMessageIDForKey(kDraftForwardsHeader).value_or("");
    return source.takeAttachments();
}

// Drafts and held mail are edited themselves; any other message serves as a pattern for a new one.
void takeAsOriginal(ComposeStart& start, const MessageRef& message, const Source& source,
                    std::shared_ptr<const OpenFile> content) {
    const auto mailbox = message->mailbox();
    const bool isDraft = mailbox && mailbox->kind() == MailboxKind::Drafts;
    start.isHeld = mailbox && mailbox->kind() == MailboxKind::Outbox;
    if (!isDraft && !start.isHeld) return;
    start.original = OriginalSnapshot::of(message);
    const auto uniqueID = source.headers().firstHeaderForKey(MCHeaderKeyXUniversallyUniqueIdentifier);
    if (uniqueID && !trimmedAscii(*uniqueID).empty()) start.uniqueID = trimmedAscii(*uniqueID);
    // A damaged draft stays as it is beside the new version, which may lack what could not be read.
    const auto account = message->account();
    if (isDraft && account && !source.isDamaged())
        start.draft = OpenedDraft{message->libraryID(), account->identifier(), std::move(content)};
}

}  // namespace

std::string mainAddress(MailEngine& engine, const std::string& account) {
    const AccountRecord* record = engine.accounts().find(account);
    return record ? record->mainAddress() : std::string();
}

Result<ComposeStart> startOf(const ComposeRequest& request, MailEngine& engine, AttachmentFolder& attachments) {
    ComposeStart start;
    start.mode = request.mode;
    start.account = accountOf(request, engine);
    start.fromAddress = mainAddress(engine, start.account);
    start.uniqueID = newUniqueIdentifier();
    if (request.mode == ComposeMode::New || !request.message) {
        start.mode = ComposeMode::New;
        startNew(start, request);
        return start;
    }
    const auto content = engine.library().openContent(request.message->libraryID());
    if (!content) return failed(content);
    Source source(MimeMessage::parse(*content), attachments);
    const bool isAnswer = request.mode != ComposeMode::Draft;
    start.fromAddress = isAnswer ? fromAddressFor(engine, start.account, source.headers(),
                                                  {MCHeaderKeyTo, MCHeaderKeyCc, "Delivered-To", MCHeaderKeyFrom})
                                 : fromAddressFor(engine, start.account, source.headers(), {MCHeaderKeyFrom});
    Result<void> filled;
    switch (request.mode) {
    case ComposeMode::Forward: filled = startForward(start, source); break;
    case ComposeMode::Draft:
        filled = startDraft(start, source);
        takeAsOriginal(start, request.message, source, *content);
        break;
    default: startReply(start, source, engine); break;
    }
    if (!filled) return failed(filled);
    return start;
}

}  // namespace qs
