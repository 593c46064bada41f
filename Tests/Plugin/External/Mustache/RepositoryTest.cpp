#include "GRMustacheTemplateRepository.h"

#include "Foundation/Bundle.h"
#include "GRMustacheTemplateAST.h"
#include "MustacheTest.h"
#include "Support/TemporaryFolder.h"

namespace qs {
namespace {

std::string named(GRMustacheTemplateRepository& repository, std::string_view name, const GRMustacheValue& object = {}) {
    const auto made = repository.templateNamed(name);
    return made ? outcome((*made)->renderObject(object)) : outcome(failed(made));
}

TEST(MustachePartials, StandForTheirText) {
    const Partials partials = {{"p", "[{{name}}{{>sub/q}}]"}, {"sub/q", "<{{name}}>"}};
    EXPECT_EQ(rendered("{{>p}}{{> p }}{{#list}}{{>p}}{{/list}}",
                       Dictionary{{"name", "x"}, {"list", Array{Dictionary{{"name", "y"}}}}}, partials),
              "[x<x>][x<x>][y<y>]");
    EXPECT_EQ(rendered("{{>missing}}", {}, partials), "error 1: No such template: `missing`");
}

TEST(MustachePartials, MayContainThemselves) {
    const Partials partials = {{"node", "{{name}}({{#children}}{{>node}}{{/children}})"},
                               {"a", "a{{#b}}{{>b}}{{/b}}"},
                               {"b", "b{{#a}}{{>a}}{{/a}}"}};
    const Value leaf = Dictionary{{"name", "leaf"}, {"children", Array{}}};
    const Value tree = Dictionary{{"name", "root"}, {"children", Array{leaf, leaf}}};
    EXPECT_EQ(rendered("{{>node}}", tree, partials), "root(leaf()leaf())");
    EXPECT_EQ(rendered("{{>a}}", Dictionary{{"b", Dictionary{{"a", Dictionary{{"b", false}}}}}}, partials), "aba");
}

TEST(MustacheRepository, CompilesATemplateOnceUntilItIsToldToReload) {
    class Source final : public GRMustacheTemplateRepositoryDataSource {
    public:
        std::optional<std::string> templateRepositoryTemplateIDForName(GRMustacheTemplateRepository&,
                                                                       std::string_view name,
                                                                       const std::string* base) override {
            if (name == "nobody") return std::nullopt;
            return (base ? *base + ">" : "") + std::string(name);
        }
        Result<std::optional<std::string>>
        templateRepositoryTemplateStringForTemplateID(GRMustacheTemplateRepository&, const std::string& id) override {
            ++reads;
            if (id == "broken") return failure("Disk", 5, "cannot read");
            if (id == "gone") return std::nullopt;
            return id == "outer" ? "{{>inner}}" : text;
        }
        int reads = 0;
        std::string text = "one";
    };
    const auto source = std::make_shared<Source>();
    const auto repository = GRMustacheTemplateRepository::templateRepository();
    EXPECT_EQ(named(*repository, "outer"), "error 1: No such template: `outer`");
    repository->setDataSource(source);
    EXPECT_EQ(repository->dataSource(), source);
    EXPECT_EQ(named(*repository, "outer"), "one");
    const auto before = repository->templateNamed("outer");
    source->text = "two";
    EXPECT_EQ(named(*repository, "outer"), "one");
    EXPECT_EQ(source->reads, 2);
    repository->reloadTemplates();
    EXPECT_EQ(named(*repository, "outer"), "two");
    EXPECT_EQ(outcome((*before)->renderObject({})), "one");
    EXPECT_EQ(named(*repository, "nobody"), "error 1: No such template: `nobody`");
    EXPECT_EQ(named(*repository, "gone"), "error 1: No such template: `gone`");
    EXPECT_EQ(named(*repository, "broken"), "error 5: cannot read");
    const auto tree = repository->templateASTNamed("inner", nullptr);
    ASSERT_TRUE(tree);
    EXPECT_FALSE((*tree)->isPlaceholder());
}

TEST(MustacheRepository, ForgetsWhatFailedWithAllThatLeanedOnIt) {
    // "b" is good by itself, but was compiled while "a" was half done, and refers to it.
    std::string a = "{{>b}}{{/oops}}";
    class Source final : public GRMustacheTemplateRepositoryDataSource {
    public:
        explicit Source(std::string& a) : a_(a) {}
        std::optional<std::string> templateRepositoryTemplateIDForName(GRMustacheTemplateRepository&,
                                                                       std::string_view name,
                                                                       const std::string*) override {
            return std::string(name);
        }
        Result<std::optional<std::string>>
        templateRepositoryTemplateStringForTemplateID(GRMustacheTemplateRepository&, const std::string& id) override {
            return id == "a" ? a_ : "b{{#more}}{{>a}}{{/more}}";
        }

    private:
        std::string& a_;
    };
    const auto repository = GRMustacheTemplateRepository::templateRepository();
    repository->setDataSource(std::make_shared<Source>(a));
    const std::string broken = "error 0: Parse error at line 1 of template a: Unexpected {{/oops}} closing tag";
    EXPECT_EQ(named(*repository, "a"), broken);
    EXPECT_EQ(named(*repository, "b"), broken);
    a = "a";
    EXPECT_EQ(named(*repository, "b", Dictionary{{"more", true}}), "ba");
}

TEST(MustacheRepository, ServesADataSourceThatAsksItBack) {
    class Source final : public GRMustacheTemplateRepositoryDataSource {
    public:
        std::optional<std::string> templateRepositoryTemplateIDForName(GRMustacheTemplateRepository&,
                                                                       std::string_view name,
                                                                       const std::string*) override {
            return std::string(name);
        }
        Result<std::optional<std::string>>
        templateRepositoryTemplateStringForTemplateID(GRMustacheTemplateRepository& repository,
                                                      const std::string& id) override {
            if (id == "plain") return "plain";
            if (!kept) kept = *repository.templateNamed("plain");
            return "{{>plain}}{{/oops}}";
        }
        std::shared_ptr<GRMustacheTemplate> kept;
    };
    const auto source = std::make_shared<Source>();
    const auto repository = GRMustacheTemplateRepository::templateRepository();
    repository->setDataSource(source);
    EXPECT_FALSE(repository->templateNamed("outer"));
    EXPECT_EQ(outcome(source->kept->renderObject({})), "plain");
}

TEST(MustacheRepository, BoundsHowManyPartialsWaitForOneAnother) {
    Partials chain{{"0", "end"}};
    for (int i = 1; i <= 1000; ++i)
        chain.emplace(std::to_string(i), "{{>" + std::to_string(i - 1) + "}}");
    EXPECT_EQ(rendered("{{>50}}", {}, chain), "end");
    EXPECT_EQ(rendered("{{>1000}}", {}, chain), "error 0: Partials are nested too deeply");
}

TEST(MustacheRepository, ReadsAFolder) {
    const TemporaryFolder folder;
    folder.write("top.mustache", "{{>sub/a}}");
    folder.write("sub/a.mustache", "a{{>b}}{{>/b}}{{>../b}}{{>deep/c}}");
    folder.write("sub/b.mustache", "sub");
    folder.write("b.mustache", "\xEF\xBB\xBFroot");
    folder.write("sub/deep/c.mustache", "{{>../b}}");
    folder.write("sub/out.mustache", "{{>../../secret}}");
    folder.write("page.html", "{{>part}}");
    folder.write("part.html", "html");
    folder.write("plain", "plain");
    folder.write("latin.txt", "\xE4");
    folder.write("bad.mustache", "\xE4");
    const TemporaryFolder outside;
    outside.write("secret.mustache", "secret");

    const auto repository = GRMustacheTemplateRepository::templateRepositoryWithDirectory(folder.path());
    EXPECT_EQ(named(*repository, "top"), "asubrootrootsub");
    EXPECT_EQ(named(*repository, "/sub/b"), "sub");
    EXPECT_EQ(named(*repository, "nothing"), "error 1: No such template: `nothing`");
    EXPECT_EQ(named(*repository, ""), "error 1: No such template: ``");
    const auto bad = named(*repository, "bad");
    EXPECT_THAT(bad, testing::EndsWith("bad.mustache is not in UTF-8"));

    // Nothing outside of the folder is read, whatever a template says.
    const std::string up = "../" + outside.path().filename().string() + "/secret";
    EXPECT_EQ(named(*repository, up), "error 1: No such template: `" + up + "`");
    EXPECT_EQ(named(*repository, "/" + up), "error 1: No such template: `/" + up + "`");
    EXPECT_EQ(named(*repository, "/" + (outside / "secret").string()),
              "error 1: No such template: `/" + (outside / "secret").string() + "`");
    EXPECT_EQ(named(*repository, "sub/out"), "error 1: No such template: `../../secret`");

    using Repository = GRMustacheTemplateRepository;
    EXPECT_EQ(named(*Repository::templateRepositoryWithDirectory(folder.path(), "html"), "page"), "html");
    EXPECT_EQ(named(*Repository::templateRepositoryWithDirectory(folder.path(), ""), "plain"), "plain");
    EXPECT_EQ(named(*Repository::templateRepositoryWithDirectory(folder.path(), "txt", "ISO-8859-1"), "latin"), "ä");
    EXPECT_EQ(named(*Repository::templateRepositoryWithBaseURL("file://" + folder.path().string() + "/s%75b"), "b"),
              "sub");
    EXPECT_EQ(named(*Repository::templateRepositoryWithBaseURL("https://example.org/"), "b"),
              "error 1: No such template: `b`");
}

TEST(MustacheTemplate, ComesFromAFileWithItsNeighbours) {
    const TemporaryFolder folder;
    folder.write("letter.html", "{{>head}}{{name}}");
    folder.write("head.html", "Dear ");
    const auto text = [](const Result<GRMustacheTemplate::Ref>& made) {
        return made ? outcome((*made)->renderObject(Dictionary{{"name", "Ada"}})) : outcome(failed(made));
    };
    EXPECT_EQ(text(GRMustacheTemplate::templateFromContentsOfFile(folder / "letter.html")), "Dear Ada");
    EXPECT_EQ(text(GRMustacheTemplate::templateFromContentsOfURL("file://" + (folder / "letter.html").string())),
              "Dear Ada");
    EXPECT_EQ(text(GRMustacheTemplate::templateFromContentsOfFile(folder / "none.html")),
              "error 1: No such template: `none`");
    EXPECT_EQ(text(GRMustacheTemplate::templateFromContentsOfURL("ftp://x")), "error 1: No such template: `ftp://x`");
    EXPECT_EQ(text(GRMustacheTemplate::templateFromString(std::nullopt)),
              "error 1: Nil template string can not be parsed.");
    EXPECT_EQ(text(GRMustacheTemplate::templateFromString("{{>head}}")), "error 1: No such template: `head`");
}

TEST(MustacheTemplate, ComesFromABundle) {
    const TemporaryFolder folder;
    folder.write("Info.plist", "<plist version=\"1.0\"><dict/></plist>");
    folder.write("Resources/letter.mustache", "{{>head}}{{name}}");
    folder.write("Resources/head.mustache", "Dear ");
    const auto bundle = *Bundle::open(folder.path());
    const Dictionary data{{"name", "Ada"}};
    EXPECT_EQ(outcome(GRMustacheTemplate::renderObjectFromResource(data, "letter", bundle)), "Dear Ada");
    EXPECT_EQ(outcome(GRMustacheTemplate::renderObjectFromResource(data, "other", bundle)),
              "error 1: No such template: `other`");
    EXPECT_EQ(outcome(GRMustacheTemplate::renderObjectFromString(data, "{{>head}}")),
              "error 1: No such template: `head`");
    Bundle::setMainBundle(bundle);
    EXPECT_EQ(outcome(GRMustacheTemplate::renderObjectFromString(data, "{{>head}}you")), "Dear you");
    EXPECT_EQ(outcome(GRMustacheTemplate::renderObjectFromResource(data, "letter")), "Dear Ada");
    Bundle::setMainBundle(nullptr);
}

TEST(MustacheTemplate, RendersItselfAsAValue) {
    const auto repository = GRMustacheTemplateRepository::templateRepositoryWithDictionary(
        {{"link", "<a>{{name}}</a>"}, {"text", "{{%CONTENT_TYPE:TEXT}}<{{name}}>"}});
    const auto link = *repository->templateNamed("link"), text = *repository->templateNamed("text");
    const GRMustacheDictionary data{
        {"link", link}, {"text", text}, {"name", "&"}, {"list", GRMustacheArray{link, link}}};
    EXPECT_EQ(rendered("{{link}}{{text}}{{{text}}}{{list}}{{#link}}unused{{/link}}", data),
              "<a>&amp;</a>&lt;&amp;&gt;<&><a>&amp;</a><a>&amp;</a><a>&amp;</a>");
}

TEST(MustacheTemplate, MadeWhileAnotherIsRenderedTakesAfterIt) {
    const auto inner = GRMustacheRendering::renderingObjectWithBlock(
        [](const GRMustacheTag& tag, const GRMustacheContext& context, bool& HTMLSafe) -> Result<std::string> {
            const auto made = GRMustacheTemplate::templateFromString("{{>p}}{{x}}");
            if (!made) return failed(made);
            return (*made)->renderForMustacheTag(tag, context, HTMLSafe);
        });
    const GRMustacheDictionary data{{"inner", inner}, {"x", "<"}};
    const Partials partials = {{"p", "partial"}};
    EXPECT_EQ(rendered("{{inner}}", data, partials), "partial&lt;");
    EXPECT_EQ(renderedAsText("{{inner}}", data, partials), "partial<");
}

TEST(MustacheTemplate, PutsSeveralObjectsOnTopOfOneAnother) {
    const auto repository = GRMustacheTemplateRepository::templateRepository();
    const auto made = *repository->templateFromString("{{a}}{{b}}{{c}}{{d}}{{uppercase(a)}}");
    made->extendBaseContextWithObject(Dictionary{{"a", "base"}, {"d", "base"}});
    EXPECT_EQ(outcome(made->renderObjectsFromArray(
                  {Dictionary{{"a", "1"}, {"b", "1"}}, nullptr, Dictionary{{"b", "2"}, {"c", "2"}}})),
              "122base1");
    EXPECT_EQ(outcome(made->renderObject({})), "basebaseBASE");
}

}  // namespace
}  // namespace qs
