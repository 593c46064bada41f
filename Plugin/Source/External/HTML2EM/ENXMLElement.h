// What a document type definition declares for one element. Belongs to its ENXMLDTD.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "HTML2EM/ENXMLAttributes.h"

struct _xmlElement;

namespace qs {

class ENXMLElement {
public:
    ENXMLElement(const _xmlElement& declaration, std::size_t number);
    // The declaration's children, when all elements have their numbers. `numberOf` answers nothing for an unknown name.
    template <class NumberOf>
    void addChildren(NumberOf numberOf) {
        for (const std::string& name : namesOfChildren())
            if (const std::optional<std::size_t> child = numberOf(name)) {
                if (children_.size() <= *child) children_.resize(*child + 1);
                children_[*child] = true;
            }
    }

    const std::string& name() const { return name_; }
    std::size_t number() const { return number_; }
    bool takesText() const { return takesText_; }
    bool takes(const ENXMLElement& child) const {
        return takesAnything_ || (child.number_ < children_.size() && children_[child.number_]);
    }

    bool takesAttribute(std::string_view name) const { return attributeNumber(name) != kNone; }
    // Whether there is more to ask about attributes than their names.
    bool hasRules() const { return hasRules_; }
    // False for a value that the definition does not leave free: another one than it fixes, or none of those it lists.
    bool takesValue(std::string_view attribute, std::string_view value) const;
    bool hasAllRequired(const ENXMLAttributes& attributes) const;

private:
    struct Attribute {
        std::string name;                 // in lower case, with its prefix: "xml:lang"
        std::vector<std::string> values;  // all that it may have; empty for any
        bool isRequired = false;
    };
    // By a name in any case of letters; npos for none.
    std::size_t attributeNumber(std::string_view name) const;
    std::vector<std::string> namesOfChildren() const;

    const _xmlElement& declaration_;
    std::string name_;
    std::size_t number_;
    std::vector<bool> children_;  // by number
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
    std::vector<Attribute> attributes_;
    std::vector<std::uint64_t> shortNames_;  // of the attributes, in the same order
    bool takesText_ = false, takesAnything_ = false, hasRules_ = false;
};

}  // namespace qs
