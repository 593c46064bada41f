#include "HTML2EM/ENXMLElement.h"

#include <libxml/tree.h>

#include <algorithm>

#include "HTML2EM/ENLibXML.h"
#include "HTML2EM/ENShortName.h"

namespace qs {

namespace {

std::string text(const xmlChar* chars) { return std::string(view(chars)); }

std::string qualifiedName(const xmlChar* prefix, const xmlChar* name) {
    return prefix ? text(prefix) + ':' + text(name) : text(name);
}

std::vector<std::string> permittedValues(const xmlAttribute& attribute) {
    if (attribute.def == XML_ATTRIBUTE_FIXED && attribute.defaultValue) return {text(attribute.defaultValue)};
    std::vector<std::string> values;
    for (const xmlEnumeration* value = attribute.tree; value; value = value->next)
        values.push_back(text(value->name));
    return values;
}

}  // namespace

ENXMLElement::ENXMLElement(const xmlElement& declaration, std::size_t number)
    : declaration_(declaration),
      name_(qualifiedName(declaration.prefix, declaration.name)),
      number_(number),
      takesText_(declaration.etype == XML_ELEMENT_TYPE_MIXED || declaration.etype == XML_ELEMENT_TYPE_ANY),
      takesAnything_(declaration.etype == XML_ELEMENT_TYPE_ANY) {
    for (const xmlAttribute* attribute = declaration.attributes; attribute; attribute = attribute->nexth) {
        attributes_.push_back({asciiLowered(qualifiedName(attribute->prefix, attribute->name)),
                               permittedValues(*attribute), attribute->def == XML_ATTRIBUTE_REQUIRED});
        shortNames_.push_back(shortName(attributes_.back().name));
        hasRules_ = hasRules_ || attributes_.back().isRequired || !attributes_.back().values.empty();
    }
}

std::size_t ENXMLElement::attributeNumber(std::string_view name) const {
    // HTML's parser gives names in lower case, so this is mostly all.
    if (const std::uint64_t number = shortName(name); number != 0)
        for (std::size_t i = 0; i < shortNames_.size(); ++i)
            if (shortNames_[i] == number) return i;
    for (std::size_t i = 0; i < attributes_.size(); ++i)
        if (isAttributeName(name, attributes_[i].name)) return i;
    return kNone;
}

bool ENXMLElement::takesValue(std::string_view name, std::string_view value) const {
    const std::size_t number = attributeNumber(name);
    if (number == kNone) return false;
    const auto& values = attributes_[number].values;
    return values.empty() || std::find(values.begin(), values.end(), value) != values.end();
}

bool ENXMLElement::hasAllRequired(const ENXMLAttributes& given) const {
    return std::all_of(attributes_.begin(), attributes_.end(), [&](const Attribute& attribute) {
        return !attribute.isRequired || attributeNamed(given, attribute.name);
    });
}

// The order and number of children that a definition may ask for is not looked at: the content of notes has none.
std::vector<std::string> ENXMLElement::namesOfChildren() const {
    std::vector<std::string> names;
    std::vector<const xmlElementContent*> waiting{declaration_.content};
    while (!waiting.empty()) {
        const xmlElementContent* content = waiting.back();
        waiting.pop_back();
        if (!content) continue;
        if (content->type == XML_ELEMENT_CONTENT_ELEMENT)
            names.push_back(qualifiedName(content->prefix, content->name));
        waiting.push_back(content->c1);
        waiting.push_back(content->c2);
    }
    return names;
}

}  // namespace qs
