#include "GRMustacheTemplateRepository.h"

#include <utility>
#include <vector>

#include "Foundation/Assertion.h"
#include "Foundation/Format.h"
#include "GRMustacheCompiler.h"
#include "GRMustacheError.h"
#include "GRMustacheLimits.h"
#include "GRMustacheTemplate.h"
#include "GRMustacheTemplateAST.h"

namespace qs {

// The trees compiled since the last reload. They refer to one another, perhaps in circles, and are freed together, when
// the repository and the last template have let go of them.
struct GRMustacheTemplateRepository::Store {
    std::vector<std::unique_ptr<GRMustacheTemplateDocument>> documents;
    std::map<std::string, GRMustacheTemplateDocument*, std::less<>> byID;

    // Forgets the youngest documents. They came about while one was compiled that has failed, and may refer to it.
    void dropFrom(std::size_t count) {
        for (std::size_t i = count; i < documents.size(); ++i)
            byID.erase(*documents[i]->templateID);
        documents.resize(count);
    }
};

// One request, which compiles what it needs into one store, whatever is reloaded meanwhile. A data source that asks its
// repository for a template in the middle of that gets a store apart, as the one at work may yet drop trees.
class GRMustacheTemplateRepository::Compilation final : public GRMustachePartials {
public:
    explicit Compilation(GRMustacheTemplateRepository& repository)
        : repository_(repository),
          isInner_(std::exchange(repository.compiling_, true)),
          store_(isInner_ ? std::make_shared<Store>() : repository.store_) {}
    ~Compilation() { repository_.compiling_ = isInner_; }
    Compilation(const Compilation&) = delete;
    Compilation& operator=(const Compilation&) = delete;

    const std::shared_ptr<Store>& store() const { return store_; }

    Result<const GRMustacheTemplateAST*> templateASTNamed(std::string_view name,
                                                          const std::string* baseTemplateID) override {
        const auto source = repository_.dataSource_;
        auto id =
            source ? source->templateRepositoryTemplateIDForName(repository_, name, baseTemplateID) : std::nullopt;
        if (!id) return failure(mustacheTemplateNotFound(name));
        if (const auto known = store_->byID.find(*id); known != store_->byID.end()) return &known->second->ast;

        auto text = source->templateRepositoryTemplateStringForTemplateID(repository_, *id);
        if (!text) return failed(text);
        if (!*text) return failure(mustacheTemplateNotFound(name));
        return compiled(std::move(*id), std::move(**text));
    }

    // Fills the document's tree.
    Result<void> compile(GRMustacheTemplateDocument& document, GRMustacheContentType contentType) {
        if (depth_ == GRMustacheLimits::partialsUnderWay)
            return failure(mustacheError(GRMustacheErrorCodeParseError, "Partials are nested too deeply"));
        repository_.configuration_.lock();
        GRMustacheCompiler compiler(contentType, document.arena);
        compiler.setTemplateRepository(this);
        compiler.setBaseTemplateID(document.id());
        GRMustacheTemplateParser parser(repository_.configuration_);
        parser.setDelegate(&compiler);
        ++depth_;
        parser.parseTemplateString(document.source, document.id());
        --depth_;
        auto ast = compiler.templateASTReturningError();
        if (!ast) return failed(ast);
        document.ast = *ast;
        return {};
    }

private:
    Result<const GRMustacheTemplateAST*> compiled(std::string id, std::string text) {
        const std::size_t before = store_->documents.size();
        // It stands in the table before it is compiled, so that a partial which reaches itself finds it there.
        auto& document = *store_->documents.emplace_back(
            std::make_unique<GRMustacheTemplateDocument>(std::move(text), std::move(id)));
        store_->byID.emplace(*document.templateID, &document);
        if (auto done = compile(document, repository_.configuration_.contentType()); !done) {
            store_->dropFrom(before);
            return failed(done);
        }
        return &document.ast;
    }

    GRMustacheTemplateRepository& repository_;
    bool isInner_;
    std::shared_ptr<Store> store_;
    std::size_t depth_ = 0;
};

GRMustacheTemplateRepository::GRMustacheTemplateRepository(
    std::shared_ptr<GRMustacheTemplateRepositoryDataSource> source)
    : dataSource_(std::move(source)),
      configuration_(GRMustacheConfiguration::defaultConfiguration()),
      store_(std::make_shared<Store>()) {}

GRMustacheTemplateRepository::~GRMustacheTemplateRepository() = default;

GRMustacheTemplateRepository::Ref GRMustacheTemplateRepository::templateRepository() { return withSource(nullptr); }

GRMustacheTemplateRepository::Ref
GRMustacheTemplateRepository::withSource(std::shared_ptr<GRMustacheTemplateRepositoryDataSource> source) {
    return Ref(new GRMustacheTemplateRepository(std::move(source)));
}

std::shared_ptr<GRMustacheTemplateRepositoryDataSource> GRMustacheTemplateRepository::dataSource() const {
    const std::lock_guard guard(lock_);
    return dataSource_;
}

void GRMustacheTemplateRepository::setDataSource(std::shared_ptr<GRMustacheTemplateRepositoryDataSource> source) {
    const std::lock_guard guard(lock_);
    dataSource_ = std::move(source);
}

void GRMustacheTemplateRepository::setConfiguration(const GRMustacheConfiguration& configuration) {
    const std::lock_guard guard(lock_);
    if (configuration_.isLocked())
        raiseAssertion(
            stringWithFormat("%@ was mutated after template compilation", {"<GRMustacheTemplateRepository>"}));
    configuration_ = configuration;
}

void GRMustacheTemplateRepository::reloadTemplates() {
    const std::lock_guard guard(lock_);
    store_ = std::make_shared<Store>();
}

Result<std::shared_ptr<const GRMustacheTemplateAST>>
GRMustacheTemplateRepository::templateASTNamed(std::string_view name, const std::string* relativeToTemplateID) {
    const std::lock_guard guard(lock_);
    Compilation compilation(*this);
    const auto ast = compilation.templateASTNamed(name, relativeToTemplateID);
    if (!ast) return failed(ast);
    return std::shared_ptr<const GRMustacheTemplateAST>(compilation.store(), *ast);
}

std::shared_ptr<GRMustacheTemplate>
GRMustacheTemplateRepository::made(std::shared_ptr<const GRMustacheTemplateAST> tree) {
    return std::make_shared<GRMustacheTemplate>(shared_from_this(), std::move(tree), configuration_.baseContext());
}

Result<std::shared_ptr<GRMustacheTemplate>> GRMustacheTemplateRepository::templateNamed(std::string_view name) {
    const std::lock_guard guard(lock_);
    auto tree = templateASTNamed(name, nullptr);
    if (!tree) return failed(tree);
    return made(std::move(*tree));
}

Result<std::shared_ptr<GRMustacheTemplate>>
GRMustacheTemplateRepository::templateFromString(std::optional<std::string_view> text) {
    const std::lock_guard guard(lock_);
    return templateFromString(text, configuration_.contentType());
}

Result<std::shared_ptr<GRMustacheTemplate>>
GRMustacheTemplateRepository::templateFromString(std::optional<std::string_view> text,
                                                 GRMustacheContentType contentType) {
    if (!text) return failure(mustacheNilTemplateString());
    // The template's own tree, with the store that holds its partials.
    struct Kept {
        GRMustacheTemplateDocument document;
        std::shared_ptr<Store> store;
    };
    const std::lock_guard guard(lock_);
    Compilation compilation(*this);
    const std::shared_ptr<Kept> kept(
        new Kept{GRMustacheTemplateDocument(std::string(*text), std::nullopt), compilation.store()});
    if (auto done = compilation.compile(kept->document, contentType); !done) return failed(done);
    return made(std::shared_ptr<const GRMustacheTemplateAST>(kept, &kept->document.ast));
}

}  // namespace qs
