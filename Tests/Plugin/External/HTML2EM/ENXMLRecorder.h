// A delegate of ENXMLSaxParser that writes what it is told into one line; pieces of text that belong together are
// joined.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "HTML2EM/ENXMLSaxParser.h"

namespace qs {

class ENXMLRecorder : public ENXMLSaxParserDelegate {
public:
    explicit ENXMLRecorder(unsigned callbacks = ~0u) : callbacks_(callbacks) {}
    unsigned answeredCallbacks() const override { return callbacks_; }
    void parserDidStartDocument(ENXMLSaxParser&) override { add("{"); }
    void parserDidEndDocument(ENXMLSaxParser&) override { add("}"); }
    void parserDidStartElement(ENXMLSaxParser& parser, std::string_view name, const ENXMLAttributes& all) override {
        add("<", name);
        for (const ENXMLAttribute& one : all) {
            add(" ", one.name);
            if (one.value) add("=", *one.value);
        }
        add(">");
        if (name == stopsAt) parser.stopParser();
        if (name == throwsAt) throw std::runtime_error("no more");
        if (name == readsMoreAt) parser.parseContents("<more/>");
    }
    void parserDidEndElement(ENXMLSaxParser&, std::string_view name) override { add("</", name, ">"); }
    void parserFoundCharacters(ENXMLSaxParser&, std::string_view text) override { add(text); }
    void parserFoundCDATA(ENXMLSaxParser&, std::string_view text) override { add("[", text, "]"); }
    void parserFoundComment(ENXMLSaxParser&, std::string_view text) override { add("(", text, ")"); }
    void parserDidFailWithError(ENXMLSaxParser&, const Error& error) override {
        errors.push_back(error);
        add("!", std::to_string(error.code));
    }
    std::string heard, stopsAt, throwsAt, readsMoreAt;
    std::vector<Error> errors;

private:
    void add(std::string_view before, std::string_view text = {}, std::string_view after = {}) {
        heard.append(before).append(text).append(after);
    }
    unsigned callbacks_;
};

}  // namespace qs
