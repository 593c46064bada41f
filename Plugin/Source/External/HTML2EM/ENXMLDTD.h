// A document type definition: which elements there are, what each may hold, and which attributes it takes. Read-only
// once it is made, so safe from every thread.
//
// The definitions are resource files of the program. The references in them, and in any other document that libxml2
// reads in this process, are looked up among the resources by their last part; no other file is read, no network asked.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "HTML2EM/ENXMLAttributes.h"

struct _xmlElement;
struct _xmlEntity;

namespace qs {

class ENXMLElement;

class ENXMLDTD {
public:
    // Null, with lines in the log, when the file cannot be read or is no definition. The declaration is the line with
    // which a document says that it follows the definition.
    static std::shared_ptr<const ENXMLDTD> dtdWithBundleResource(std::string_view name, std::string_view type,
                                                                 std::string docTypeDeclaration = {});
    static std::shared_ptr<const ENXMLDTD> initWithContentsOfFile(const std::filesystem::path& file,
                                                                  std::string docTypeDeclaration = {});

    // Each is built once, when first asked for.
    static const std::shared_ptr<const ENXMLDTD>& enexDTD();   // the export format
    static const std::shared_ptr<const ENXMLDTD>& enml2dtd();  // the content of a note
    static const std::shared_ptr<const ENXMLDTD>& lat1DTD();   // the entity sets of XHTML
    static const std::shared_ptr<const ENXMLDTD>& symbolDTD();
    static const std::shared_ptr<const ENXMLDTD>& specialDTD();

    // Where the resource files lie: "Resources" beside the library or program that this code is part of, unless set.
    // Set it before anything else here is used.
    static void setResourceFolder(std::filesystem::path folder);
    static std::filesystem::path pathForResource(std::string_view fileName);  // empty for none

    ~ENXMLDTD();
    ENXMLDTD(const ENXMLDTD&) = delete;
    ENXMLDTD& operator=(const ENXMLDTD&) = delete;

    const std::string& docTypeDeclaration() const { return docTypeDeclaration_; }

    // As libxml2 knows them; null for none.
    const _xmlEntity* xmlEntityNamed(std::string_view name) const;
    const _xmlElement* xmlElementNamed(std::string_view name) const;

    bool isElementLegal(std::string_view name) const;
    // Those attributes whose names the definition has for the element, in any case of letters. Nothing, with a line in
    // the log, for an element that it does not know.
    std::optional<ENXMLAttributes> sanitizedAttributes(const ENXMLAttributes& attributes,
                                                       std::string_view element) const;
    bool isAttributeLegal(std::string_view attribute, std::string_view element) const;

    // What is declared for an element; null for none.
    const ENXMLElement* element(std::string_view name) const;

private:
    struct Parsed;
    ENXMLDTD(std::unique_ptr<Parsed> parsed, std::string name, std::string docTypeDeclaration);

    std::unique_ptr<Parsed> parsed_;
    std::string name_, docTypeDeclaration_;
};

}  // namespace qs
