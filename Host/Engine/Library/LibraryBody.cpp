#include "Library/LibraryBody.h"

#include "Library/LibraryObjects.h"
#include "Mail/MessageBody.h"
#include "Mime/MimeMessage.h"
#include "Platform.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

using MimeRef = std::shared_ptr<const MimeMessage>;

class LibraryAttachment final : public MessageAttachment {
public:
    LibraryAttachment(MimeRef message, MimePart part)
        : MessageAttachment("MCAttachment"), message_(std::move(message)), part_(std::move(part)) {}
    std::string filename() const override { return part_.fileName; }
    std::optional<std::string> fileWrapper() const override { return message_->partContent(part_.part); }

private:
    const MimeRef message_;
    const MimePart part_;
};

// A text, or the part above a plain text and its form in HTML.
class LibraryBodyPart final : public BodyPart {
public:
    enum class Kind { Plain, Html, Alternative };
    LibraryBodyPart(MimeRef message, Kind kind) : BodyPart("MFMimePart"), message_(std::move(message)), kind_(kind) {}

    std::shared_ptr<BodyPart> textPart() const override { return self(Kind::Plain); }
    std::shared_ptr<BodyPart> textHtmlPart() const override { return self(Kind::Html); }
    std::vector<std::shared_ptr<BodyPart>> subparts() const override {
        if (kind_ != Kind::Alternative) return {};
        return {std::make_shared<LibraryBodyPart>(message_, Kind::Plain),
                std::make_shared<LibraryBodyPart>(message_, Kind::Html)};
    }
    std::optional<std::string> decodedContent() const {
        switch (kind_) {
        case Kind::Plain: return message_->plainBody();
        case Kind::Html: return message_->htmlBody();
        case Kind::Alternative: break;
        }
        return {};
    }

private:
    std::shared_ptr<BodyPart> self(Kind kind) const {
        if (kind != kind_) return nullptr;
        return std::make_shared<LibraryBodyPart>(message_, kind_);
    }

    const MimeRef message_;
    const Kind kind_;
};

class LibraryBody final : public MessageBody {
public:
    explicit LibraryBody(MimeRef message) : MessageBody("MFMimeBody"), message_(std::move(message)) {}

    std::shared_ptr<BodyPart> preferredBodyPart() const override {
        using Kind = LibraryBodyPart::Kind;
        const bool hasHtml = message_->htmlBody().has_value(), hasPlain = message_->plainBody().has_value();
        if (!hasHtml && !hasPlain) return nullptr;
        return std::make_shared<LibraryBodyPart>(message_, hasHtml && hasPlain ? Kind::Alternative
                                                           : hasHtml           ? Kind::Html
                                                                               : Kind::Plain);
    }
    MessageAttachments attachments() const override {
        MessageAttachments found;
        for (MimePart& part : message_->attachments())
            found.push_back(std::make_shared<LibraryAttachment>(message_, std::move(part)));
        return found;
    }

private:
    const MimeRef message_;
};

std::shared_ptr<MessageBody> bodyOf(HostObject& self) {
    const auto* message = dynamic_cast<LibraryMessage*>(&self);
    auto content = message ? message->openContent() : nullptr;
    return content ? std::make_shared<LibraryBody>(MimeMessage::parse(std::move(content))) : nullptr;
}

std::optional<std::string> rawSourceOf(HostObject& self) {
    const auto* message = dynamic_cast<LibraryMessage*>(&self);
    auto content = message ? message->content() : std::nullopt;
    return !content || isValidUtf8(*content) ? content : utf8FromLatin1(*content);
}

}  // namespace

void defineBodyClasses(ClassRegistry& registry) {
    for (const char* name : {"MFMimeBody", "MCAttachment"})
        registry.define(name);
    Class& cls = registry.define("MCMessage");
    cls.add(osMinor() >= 12 ? message::messageBody : message::cachedMimeBody, bodyOf);
    cls.add(message::rawSource, rawSourceOf);
    registry.define("MFMimePart")
        .add(osMinor() >= 12 ? body_part::decodedContent : body_part::_decodedContent,
             [](HostObject& self) { return static_cast<LibraryBodyPart&>(self).decodedContent(); });
}

}  // namespace qs
