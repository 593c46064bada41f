#include "HTML2EM/ENMLWriter.h"

#include <algorithm>

#include "Foundation/Assertion.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "HTML2EM/ENMLConstants.h"
#include "HTML2EM/ENMLUrlCheck.h"
#include "HTML2EM/ENXMLDTD.h"
#include "HTML2EM/ENXMLElement.h"
#include "Text/Digests.h"

namespace qs {

namespace {

constexpr std::string_view kPlatformPrefix = "x-apple-";

bool isOfPlatform(const ENXMLAttribute& attribute) {
    return attribute.name.size() > kPlatformPrefix.size() &&
           isAttributeName(attribute.name.substr(0, kPlatformPrefix.size()), kPlatformPrefix);
}

// The attribute of the element that holds an address to be checked; empty for none.
std::string_view urlAttributeOf(std::string_view element) {
    if (element == "a") return "href";
    return element == "img" ? "src" : "";
}

std::string shown(const ENXMLAttributes& attributes) {
    std::string text;
    for (const ENXMLAttribute& attribute : attributes) {
        text += text.empty() ? "{" : "; ";
        text.append(attribute.name).append(" = ").append(attribute.value.value_or("(null)"));
    }
    return text + "}";
}

}  // namespace

ENMLWriter::ENMLWriter(ENXMLWriterDelegate* delegate) : ENXMLWriter(delegate) { setDtd(ENXMLDTD::enml2dtd()); }

std::string ENMLWriter::emptyNote() {
    ENMLWriter writer;
    writer.startDocument();
    writer.endDocument();
    return writer.contents();
}

bool ENMLWriter::validateURLComponents(const std::optional<Url>& url) {
    const URLCheck check = checkURLComponents(url);
    for (const std::string& mismatch : check.mismatches)
        logWarning(mismatch);
    return check.isValid;
}

void ENMLWriter::startDocument() { startDocumentWithAttributes({}); }

void ENMLWriter::startDocumentWithAttributes(const ENXMLAttributes& attributes) {
    // Without it everything would be legal, scripts too.
    assertThat(dtd() != nullptr, "The definition of ENML is not among the resources");
    ENXMLWriter::startDocument();
    startElement(ENMLTagNote, attributes);
}

void ENMLWriter::endDocument() {
    endElement();
    ENXMLWriter::endDocument();
}

bool ENMLWriter::startElement(std::string_view name, const ENXMLAttributes& attributes) {
    const ENXMLElement* element = dtd() ? dtd()->element(name) : nullptr;
    if (!element || !isInPlace(*element)) return false;
    if (isFine(*element, attributes)) {
        startLegalElement(name, element);
        writeAttributes(attributes);
        return true;
    }
    const ENXMLAttributes filtered = this->filtered(*element, attributes);
    if (!element->hasAllRequired(filtered)) return false;
    startLegalElement(name, element);
    writeAttributes(filtered);
    return true;
}

// Most elements need no copy of their attributes.
bool ENMLWriter::isFine(const ENXMLElement& element, const ENXMLAttributes& attributes) {
    if (element.hasRules()) return false;
    const std::string_view url = urlAttributeOf(element.name());
    if (url.empty()) return true;
    const ENXMLAttribute* attribute = attributeNamed(attributes, url);
    if (attribute && !checkURLComponents(Url::parse(attribute->value.value_or(""))).isValid) return false;
    return element.name() != "a" || std::none_of(attributes.begin(), attributes.end(), isOfPlatform);
}

ENXMLAttributes ENMLWriter::filtered(const ENXMLElement& element, ENXMLAttributes attributes) {
    if (element.name() == "a") std::erase_if(attributes, isOfPlatform);
    const std::string_view url = urlAttributeOf(element.name());
    if (!url.empty()) attributes = validateURLAttribute(url, std::move(attributes));
    if (element.hasRules())
        std::erase_if(attributes, [&element](const ENXMLAttribute& attribute) {
            return !element.takesValue(attribute.name, attribute.value.value_or(""));
        });
    return attributes;
}

bool ENMLWriter::isInPlace(const ENXMLElement& element) const {
    return openElementCount() == 0 || (innermostElement() && innermostElement()->takes(element));
}

void ENMLWriter::writeString(std::string_view text) {
    if (innermostElement() && !innermostElement()->takesText()) return;
    ENXMLWriter::writeString(text);
}

ENXMLAttributes ENMLWriter::validateURLAttribute(std::string_view name, ENXMLAttributes attributes) {
    const ENXMLAttribute* attribute = attributeNamed(attributes, name);
    if (!attribute) return attributes;
    const URLCheck check = checkURLComponents(Url::parse(attribute->value.value_or("")));
    if (check.isValid) return attributes;  // the address is taken as it was written
    if (log_.allows()) {
        for (const std::string& mismatch : check.mismatches)
            logWarning(mismatch);
        logWarning(stringWithFormat("Unable to validate URL:%@ in attributes:%@",
                                    {attribute->value.value_or("(null)"), shown(attributes)}));
    }
    std::erase_if(attributes, [name](const ENXMLAttribute& other) { return isAttributeName(other.name, name); });
    return attributes;
}

bool ENMLWriter::writeResourceWithDataHash(const std::array<unsigned char, 16>& hash, std::string_view mime,
                                           const ENXMLAttributes& attributes) {
    const std::string digits = hexadecimal({reinterpret_cast<const char*>(hash.data()), hash.size()});
    ENXMLAttributes all = attributes;
    std::erase_if(all, [](const ENXMLAttribute& attribute) {
        return isAttributeName(attribute.name, "type") || isAttributeName(attribute.name, "hash");
    });
    all.push_back({"type", mime.empty() ? ENMIMETypeOctetStream : mime});
    all.push_back({"hash", digits});
    return writeElement(ENMLTagMedia, all, {});
}

bool ENMLWriter::writeResource(const ENMLResource& resource) {
    return writeResourceWithDataHash(resource.bodyHash, resource.mime);
}

bool ENMLWriter::writeEncryptedInfo(const ENEncryptedContentInfo& info) {
    const std::string length = std::to_string(info.keyLength);
    ENXMLAttributes attributes{{"cipher", info.cipher}, {"length", length}};
    if (info.hint) attributes.push_back({"hint", *info.hint});
    return writeElement(ENMLTagCrypt, attributes, info.cipherText);
}

bool ENMLWriter::writeTodoWithCheckedState(bool checked) {
    return writeElement(ENMLTagTodo, checked ? ENXMLAttributes{{"checked", "true"}} : ENXMLAttributes{}, {});
}

}  // namespace qs
