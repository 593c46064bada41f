#include "HTML2EM/ENXMLDTD.h"

#include <dlfcn.h>
#include <libxml/hash.h>
#include <libxml/parser.h>
#include <libxml/valid.h>

#include <array>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "HTML2EM/ENEntityLoader.h"
#include "HTML2EM/ENLibXML.h"
#include "HTML2EM/ENShortName.h"
#include "HTML2EM/ENXMLElement.h"

namespace qs {

namespace {

// libxml2 prints what goes wrong unless somebody listens. The log tells it here.
class QuietErrors {
public:
    QuietErrors() : function_(xmlStructuredError), context_(xmlStructuredErrorContext) {
        xmlSetStructuredErrorFunc(nullptr, [](void*, xmlErrorPtr) {});
    }
    ~QuietErrors() { xmlSetStructuredErrorFunc(context_, function_); }
    QuietErrors(const QuietErrors&) = delete;
    QuietErrors& operator=(const QuietErrors&) = delete;

private:
    xmlStructuredErrorFunc function_;
    void* context_;
};

struct ResourceFolder {
    std::mutex lock;
    std::filesystem::path path;
};
ResourceFolder& resourceFolder() {
    static ResourceFolder folder;
    return folder;
}

std::filesystem::path folderBesideThisCode() {
    Dl_info info{};
    if (!dladdr(reinterpret_cast<const void*>(&folderBesideThisCode), &info) || !info.dli_fname) return {};
    return std::filesystem::path(info.dli_fname).parent_path() / "Resources";
}

}  // namespace

struct ENXMLDTD::Parsed {
    using Elements = std::map<std::string, ENXMLElement, std::less<>>;

    explicit Parsed(xmlDtd* given) : dtd(given) {}
    ~Parsed() { xmlFreeDtd(dtd); }
    Parsed(const Parsed&) = delete;
    Parsed& operator=(const Parsed&) = delete;

    void addElements() {
        const auto add = [](void* payload, void* data, const xmlChar*) {
            auto& all = *static_cast<Elements*>(data);
            const ENXMLElement element(*static_cast<const xmlElement*>(payload), all.size());
            all.emplace(element.name(), element);
        };
        if (dtd->elements) xmlHashScan(static_cast<xmlHashTable*>(dtd->elements), add, &elements);
        for (auto& [name, element] : elements) {
            byShortName[shortName(name) % kBuckets].emplace_back(shortName(name), &element);
            element.addChildren([this](const std::string& child) -> std::optional<std::size_t> {
                const auto found = elements.find(child);
                return found == elements.end() ? std::nullopt : std::optional(found->second.number());
            });
        }
    }

    const ENXMLElement* find(std::string_view name) const {
        const std::uint64_t number = shortName(name);
        if (number == 0) {
            const auto found = elements.find(name);
            return found == elements.end() ? nullptr : &found->second;
        }
        for (const auto& [known, element] : byShortName[number % kBuckets])
            if (known == number) return element;
        return nullptr;
    }

    xmlDtd* dtd;
    Elements elements;

private:
    static constexpr std::size_t kBuckets = 251;
    std::array<std::vector<std::pair<std::uint64_t, const ENXMLElement*>>, kBuckets> byShortName;
};

ENXMLDTD::ENXMLDTD(std::unique_ptr<Parsed> parsed, std::string name, std::string docTypeDeclaration)
    : parsed_(std::move(parsed)), name_(std::move(name)), docTypeDeclaration_(std::move(docTypeDeclaration)) {}

ENXMLDTD::~ENXMLDTD() = default;

std::shared_ptr<const ENXMLDTD> ENXMLDTD::dtdWithBundleResource(std::string_view name, std::string_view type,
                                                                std::string docTypeDeclaration) {
    const std::string fileName = std::string(name) + "." + std::string(type);
    const std::filesystem::path path = pathForResource(fileName);
    if (!path.empty()) return initWithContentsOfFile(path, std::move(docTypeDeclaration));
    logError(stringWithFormat("There is no resource %@", {fileName}));
    return nullptr;
}

std::shared_ptr<const ENXMLDTD> ENXMLDTD::initWithContentsOfFile(const std::filesystem::path& file,
                                                                 std::string docTypeDeclaration) {
    installEntityLoader();
    const QuietErrors quiet;
    xmlParserInputBuffer* input = xmlParserInputBufferCreateFilename(file.c_str(), XML_CHAR_ENCODING_NONE);
    if (!input) {
        logError(stringWithFormat("xmlParserInputBufferCreateFilename(%@) returned error:%@",
                                  {file.string(), takeLastXmlMessage()}));
        return nullptr;
    }
    xmlDtd* dtd = xmlIOParseDTD(nullptr, input, XML_CHAR_ENCODING_NONE);  // frees the input
    if (!dtd) {
        logError(stringWithFormat("xmlIOParseDTD() returned error:%@", {takeLastXmlMessage()}));
        return nullptr;
    }
    auto parsed = std::make_unique<Parsed>(dtd);
    parsed->addElements();
    return std::shared_ptr<const ENXMLDTD>(
        new ENXMLDTD(std::move(parsed), file.filename().string(), std::move(docTypeDeclaration)));
}

const std::shared_ptr<const ENXMLDTD>& ENXMLDTD::enexDTD() {
    static const auto dtd = dtdWithBundleResource("evernote-export", "dtd");
    return dtd;
}

const std::shared_ptr<const ENXMLDTD>& ENXMLDTD::enml2dtd() {
    // The system identifier ends in the name of the resource, where the entity loader finds it.
    static const auto dtd =
        dtdWithBundleResource("enml2", "dtd", R"(<!DOCTYPE en-note SYSTEM "http://xml.evernote.com/pub/enml2.dtd">)");
    return dtd;
}

const std::shared_ptr<const ENXMLDTD>& ENXMLDTD::lat1DTD() {
    static const auto dtd = dtdWithBundleResource("xhtml-lat1", "ent");
    return dtd;
}

const std::shared_ptr<const ENXMLDTD>& ENXMLDTD::symbolDTD() {
    static const auto dtd = dtdWithBundleResource("xhtml-symbol", "ent");
    return dtd;
}

const std::shared_ptr<const ENXMLDTD>& ENXMLDTD::specialDTD() {
    static const auto dtd = dtdWithBundleResource("xhtml-special", "ent");
    return dtd;
}

void ENXMLDTD::setResourceFolder(std::filesystem::path folder) {
    const std::lock_guard hold(resourceFolder().lock);
    resourceFolder().path = std::move(folder);
}

std::filesystem::path ENXMLDTD::pathForResource(std::string_view fileName) {
    if (fileName.empty() || fileName.find('/') != fileName.npos || fileName == "..") return {};
    std::filesystem::path folder;
    {
        const std::lock_guard hold(resourceFolder().lock);
        folder = resourceFolder().path;
    }
    const std::filesystem::path path = (folder.empty() ? folderBesideThisCode() : folder) / fileName;
    std::error_code error;
    return std::filesystem::is_regular_file(path, error) ? path : std::filesystem::path();
}

const xmlEntity* ENXMLDTD::xmlEntityNamed(std::string_view name) const {
    auto* table = static_cast<xmlHashTable*>(parsed_->dtd->entities);
    if (!table) return nullptr;
    return static_cast<const xmlEntity*>(xmlHashLookup(table, xmlChars(std::string(name))));
}

const xmlElement* ENXMLDTD::xmlElementNamed(std::string_view name) const {
    return xmlGetDtdElementDesc(parsed_->dtd, xmlChars(std::string(name)));
}

bool ENXMLDTD::isElementLegal(std::string_view name) const { return element(name) != nullptr; }

std::optional<ENXMLAttributes> ENXMLDTD::sanitizedAttributes(const ENXMLAttributes& attributes,
                                                             std::string_view name) const {
    const ENXMLElement* declared = element(name);
    if (!declared) {
        logError(stringWithFormat("Error retrieving element:%@ from dtd:%@", {name, name_}));
        return std::nullopt;
    }
    ENXMLAttributes sanitized;
    for (const ENXMLAttribute& attribute : attributes)
        if (declared->takesAttribute(attribute.name)) sanitized.push_back(attribute);
    return sanitized;
}

bool ENXMLDTD::isAttributeLegal(std::string_view attribute, std::string_view element) const {
    const auto sanitized = sanitizedAttributes({{attribute, std::nullopt}}, element);
    return sanitized && sanitized->size() == 1;
}

const ENXMLElement* ENXMLDTD::element(std::string_view name) const { return parsed_->find(name); }

}  // namespace qs
