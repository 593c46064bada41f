#include "Notes/NoteContent.h"

#include <functional>

#include "Core/QSPluginDelegate.h"
#include "Foundation/Log.h"
#include "Html/HtmlDocument.h"
#include "Mail/AddressScan.h"
#include "Mail/MessageBody.h"
#include "Mail/MessageHeaders.h"
#include "Notes/NoteFiles.h"
#include "Notes/QSNote.h"
#include "Platform.h"
#include "Settings/UserDefaults.h"
#include "Viewer/WebDocument.h"

namespace qs {

namespace {

constexpr std::string_view kNoBreakSpace = "\u00A0";

// Those below the node that are meant go with all that is in them.
void removeBelow(HtmlNode top, const std::function<bool(HtmlNode)>& isMeant) {
    std::vector<HtmlNode> open{top};
    while (!open.empty()) {
        const HtmlNode node = open.back();
        open.pop_back();
        for (HtmlNode child : node.children()) {
            if (isMeant(child))
                child.remove();
            else
                open.push_back(child);
        }
    }
}

bool isQuotedMail(HtmlNode node) {
    return (node.name() == "div" && node.attribute("class") == "AppleOriginalContents") ||
           (node.name() == "blockquote" && node.attribute("type") == "cite");
}

std::string withNamedSpaces(std::string html) {
    for (std::size_t at = html.find(kNoBreakSpace); at != std::string::npos; at = html.find(kNoBreakSpace, at))
        html.replace(at, kNoBreakSpace.size(), "&nbsp;");
    return html;
}

std::string joinedAddresses(const MessageHeaders& headers, std::string_view key) {
    std::string joined;
    for (const std::string& field : headers.allHeadersForKey(key))
        for (const ScannedAddress& each : scanAddresses(field))
            if (!each.address.empty())
                joined += (joined.empty() ? "" : ", ") +
                          (each.name.empty() ? each.address : each.name + " <" + each.address + ">");
    return joined;
}

TextDictionary mailInfoOf(Message& message) {
    TextDictionary info{{std::string(QSMailSender), message.from()}, {std::string(QSMailSubject), message.subject()}};
    const auto add = [&info](std::string_view key, std::string text) {
        if (!text.empty()) info[std::string(key)] = std::move(text);
    };
    if (const auto headers = message.headersIfAvailable()) {
        add(QSMailDateString, headers->firstHeaderForKey(MCHeaderKeyDate).value_or(""));
        add(QSMailRecipients, joinedAddresses(*headers, MCHeaderKeyTo));
        add(QSMailCcRecipients, joinedAddresses(*headers, MCHeaderKeyCc));
    }
    add(QSMailRawSource, message::rawSource(message).value_or(""));
    return info;
}

TextArray attachmentPathsForAttachments(const MessageAttachments& attachments, std::string_view noteIdentifier) {
    TextArray paths;
    for (const auto& attachment : attachments) {
        const auto content = attachment->fileWrapper();
        if (!content) continue;
        const auto written = writeNoteFile(noteIdentifier, attachment->filename(), *content);
        if (written)
            paths.push_back(written->string());
        else
            logError("An attachment does not come along with a note: " + written.error().description);
    }
    return paths;
}

std::optional<std::string> decodedContent(BodyPart& part) {
    return osMinor() >= 12 ? body_part::decodedContent(part) : body_part::_decodedContent(part);
}

using PartOf = std::shared_ptr<BodyPart> (BodyPart::*)() const;

// Of the part itself, else of the first below it that has one.
std::shared_ptr<BodyPart> firstPart(const BodyPart& part, PartOf kind) {
    if (auto own = (part.*kind)()) return own;
    for (const auto& below : part.subparts())
        if (auto found = (*below.*kind)()) return found;
    return nullptr;
}

}  // namespace

std::string htmlForDocument(const WebDocument& document) {
    if (document.html.empty()) return {};
    HtmlDocument parsed(document.html);
    const bool keepsQuotes = QSPluginDelegate::quillsteadDefaults().boolForKey("QSNotesIncludeCorrespondence");
    removeBelow(parsed.root(), [keepsQuotes](HtmlNode node) {
        const bool isComment = !node.isElement() && !node.isText();
        return isComment || node.name() == "head" || (!keepsQuotes && isQuotedMail(node));
    });
    return withNamedSpaces(parsed.root().outerHtml());
}

std::shared_ptr<MessageBody> bodyOfMessage(Message& message) {
    return osMinor() >= 12 ? message::messageBody(message) : message::cachedMimeBody(message);
}

std::optional<std::string> contentOfBody(MessageBody& body) {
    const auto preferred = body.preferredBodyPart();
    if (!preferred) return {};
    const auto html = firstPart(*preferred, &BodyPart::textHtmlPart);
    const auto text = firstPart(*preferred, &BodyPart::textPart);
    if (!html && !text) return {};
    return decodedContent(html ? *html : *text).value_or("");
}

void fillNote(QSNote& note, Message& message, std::string content, const std::string& messageID,
              const MessageAttachments& attachments) {
    note.setContent(std::move(content));
    note.setAttachments(attachmentPathsForAttachments(attachments, note.uniqueIdentifier().value_or("")));
    note.setMessageID(messageID);
    note.setTitle(message.subject());
    note.setMailInfo(mailInfoOf(message));
}

}  // namespace qs
