// Writes the content of a note: ENML, under its definition. What goes in may come from anywhere; what comes out is
// valid, so that the note service accepts it.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "HTML2EM/ENEncryptedContentInfo.h"
#include "HTML2EM/ENLogBudget.h"
#include "HTML2EM/ENXMLWriter.h"
#include "Text/Url.h"

namespace qs {

// A file that travels with a note.
struct ENMLResource {
    std::array<unsigned char, 16> bodyHash;  // MD5
    std::string mime;                        // may be empty
};

class ENMLWriter : public ENXMLWriter {
public:
    explicit ENMLWriter(ENXMLWriterDelegate* delegate = nullptr);

    static std::string emptyNote();
    // Whether an address may stand in a note: absolute, of no scripting scheme, and read alike by two parsers; the log
    // tells where they differ.
    static bool validateURLComponents(const std::optional<Url>& url);

    // The document with its root. The attributes are the root's.
    void startDocument() override;
    void startDocumentWithAttributes(const ENXMLAttributes& attributes);
    void endDocument() override;

    using ENXMLWriter::startElement;
    // Addresses of links and pictures that may not stand in a note go, as do values that the definition forbids. False
    // also for an element in a place that is not its own, or without an attribute that it must have.
    bool startElement(std::string_view name, const ENXMLAttributes& attributes) override;
    using ENXMLWriter::writeString;
    void writeString(std::string_view text) override;  // nothing where no text may stand

    // Without the attribute of that name if its address may not stand in a note.
    ENXMLAttributes validateURLAttribute(std::string_view name, ENXMLAttributes attributes);

    bool writeResourceWithDataHash(const std::array<unsigned char, 16>& hash, std::string_view mime,
                                   const ENXMLAttributes& attributes = {});
    bool writeResource(const ENMLResource& resource);
    bool writeEncryptedInfo(const ENEncryptedContentInfo& info);
    bool writeTodoWithCheckedState(bool checked);

private:
    bool isInPlace(const ENXMLElement& element) const;
    static bool isFine(const ENXMLElement& element, const ENXMLAttributes& attributes);
    ENXMLAttributes filtered(const ENXMLElement& element, ENXMLAttributes attributes);

    ENLogBudget log_;
};

}  // namespace qs
