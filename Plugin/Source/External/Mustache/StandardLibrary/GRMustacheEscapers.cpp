#include "StandardLibrary/GRMustacheEscapers.h"

#include <array>

#include "GRMustacheContext.h"
#include "GRMustacheTag.h"
#include "GRMustacheTranslateCharacters.h"

namespace qs {

namespace {

constexpr char kDigits[] = "0123456789ABCDEF";

// For each byte its escaped form, where it has one: `width` characters, of which the last two are the byte in
// hexadecimal digits.
template <std::size_t width>
class EscapeForms {
public:
    template <class IsEscaped>
    EscapeForms(std::string_view prefix, IsEscaped isEscaped) {
        for (unsigned byte = 0; byte < forms_.size(); ++byte) {
            if (!isEscaped(static_cast<char>(byte))) continue;
            auto& form = forms_[byte];
            prefix.copy(form.data(), prefix.size());
            form[width - 2] = kDigits[byte / 16];
            form[width - 1] = kDigits[byte % 16];
            table_[byte] = {form.data(), width};
        }
    }
    EscapeForms(const EscapeForms&) = delete;
    EscapeForms& operator=(const EscapeForms&) = delete;
    const GRMustacheTranslationTable& table() const { return table_; }

private:
    std::array<std::array<char, width>, 256> forms_{};
    GRMustacheTranslationTable table_;
};

void replaceAll(std::string& text, std::string_view what, std::string_view with) {
    std::string out;
    std::size_t done = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, done)) {
        out.append(text, done, at - done).append(with);
        done = at + what.size();
    }
    if (done > 0) text = out.append(text, done);
}

// Renders as the value does, and escapes what comes of it.
class EscapedRendering final : public GRMustacheRendering {
public:
    EscapedRendering(const GRMustacheEscaper& escaper, GRMustacheValue value)
        : escaper_(escaper), value_(std::move(value)) {}

    Result<std::string> renderForMustacheTag(const GRMustacheTag& tag, const GRMustacheContext& context,
                                             bool& HTMLSafe) const override {
        std::string text;
        bool isTextSafe = false;
        if (auto rendered = append(value_, tag, false, context, text, isTextSafe); !rendered) return failed(rendered);
        HTMLSafe = false;
        return escaper_.escape(text);
    }
    bool mustacheBoolValue() const override { return boolValueOf(value_); }

private:
    const GRMustacheEscaper& escaper_;  // whose section is being rendered
    GRMustacheValue value_;
};

}  // namespace

Result<GRMustacheValue> GRMustacheEscaper::transformedValue(const GRMustacheValue& object) const {
    if (object.isNil()) return GRMustacheValue();
    return GRMustacheValue(object.isString() ? escape(object.string()) : escape(object.description()));
}

Result<std::string> GRMustacheEscaper::renderForMustacheTag(const GRMustacheTag& tag, const GRMustacheContext& context,
                                                            bool& HTMLSafe) const {
    std::string out;
    if (auto rendered = appendRendering(tag, false, context, out, HTMLSafe); !rendered) return failed(rendered);
    return out;
}

Result<void> GRMustacheEscaper::appendRendering(const GRMustacheTag& tag, bool, const GRMustacheContext& context,
                                                std::string& out, bool& HTMLSafe) const {
    if (tag.type() == GRMustacheTagType::Variable) {
        HTMLSafe = false;
        out += description();
        return {};
    }
    // A delegate has no state of its own here, so that all threads may share it.
    const GRMustacheContext escaping = context.contextByAddingTagDelegate(const_cast<GRMustacheEscaper&>(*this));
    return tag.appendContentWithContext(escaping, out, HTMLSafe);
}

GRMustacheValue GRMustacheEscaper::mustacheTagWillRenderObject(const GRMustacheTag& tag,
                                                               const GRMustacheValue& object) {
    if (tag.type() != GRMustacheTagType::Variable) return object;
    return std::make_shared<EscapedRendering>(*this, object);
}

std::string GRMustacheHTMLEscapeFilter::escape(std::string_view text) const {
    return GRMustacheTranslateHTMLCharacters(text);
}

std::string GRMustacheJavascriptEscaper::escape(std::string_view text) const {
    static const EscapeForms<6> forms("\\u00", [](char c) {
        return static_cast<unsigned char>(c) < 32 || std::string_view("\"&'-;<=>\\").find(c) != std::string_view::npos;
    });
    std::string escaped = GRMustacheTranslateCharacters(text, forms.table(), text.size() + text.size() / 5);
    // Line ends to a script, though not to a reader of text.
    replaceAll(escaped, "\u2028", "\\u2028");
    replaceAll(escaped, "\u2029", "\\u2029");
    return escaped;
}

std::string GRMustacheURLEscapeFilter::escape(std::string_view text) const {
    static const EscapeForms<3> forms("%", [](char c) {
        const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        return !isLetter && !(c >= '0' && c <= '9') && std::string_view("-_.~!*'()").find(c) == std::string_view::npos;
    });
    return GRMustacheTranslateCharacters(text, forms.table(), text.size() + text.size() / 5);
}

}  // namespace qs
