#include "Render/RenderTool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "Support/TemporaryFolder.h"

namespace qs {
namespace {

class RenderTool : public testing::Test {
protected:
    // "<exit code>|<output>|<errors>", with the temporary folder shown as "DIR".
    std::string run(std::vector<std::string> arguments, const std::string& input = {}) {
        for (std::string& each : arguments)
            if (each.starts_with("DIR/")) each.replace(0, 3, folder.path().string());
        std::istringstream in(input);
        std::ostringstream out, errors;
        const int code = runRenderTool(arguments, {in, out, errors});
        std::string all = std::to_string(code) + "|" + out.str() + "|" + errors.str();
        const std::string path = folder.path().string();
        for (auto at = all.find(path); at != std::string::npos; at = all.find(path))
            all.replace(at, path.size(), "DIR");
        return all;
    }
    TemporaryFolder folder;
};

TEST_F(RenderTool, RendersATemplateWithItsPartials) {
    folder.write("letter.html", "<p>Dear {{name}}, {{#items}}{{>item}}{{/items}}</p>\n");
    folder.write("item.html", "{{title}}: {{price}}{{#none}}!{{/none}};");
    folder.write("data.json", R"({"name": "Ada & Bob", "items": [{"title": "Tea", "price": 2.5, "none": null},
                                 {"title": "Coffee", "price": 300000, "none": true}]})");
    const std::string letter = "<p>Dear Ada &amp; Bob, Tea: 2.5;Coffee: 300000!;</p>\n";
    EXPECT_EQ(run({"DIR/letter.html", "DIR/data.json"}), "0|" + letter + "|");
    EXPECT_EQ(run({"--text", "--", "DIR/letter.html", "DIR/data.json"}),
              "0|<p>Dear Ada & Bob, Tea: 2.5;Coffee: 300000!;</p>\n|");
    EXPECT_EQ(run({"DIR/letter.html"}), "0|<p>Dear , </p>\n|");
    EXPECT_EQ(run({"DIR/letter.html", "-"}, R"({"name": "you"})"), "0|<p>Dear you, </p>\n|");
    EXPECT_EQ(run({"-", "DIR/data.json"}, "{{items.count}}"), "0|2|");
}

TEST_F(RenderTool, TellsFileLineAndColumnOfAFault) {
    folder.write("outer.txt", "{{>inner}}");
    folder.write("inner.txt", "\n\xC3\xA4 {{#a}}");
    folder.write("lost.txt", "x\n  {{>nowhere}}");
    folder.write("filter.txt", "\n {{f(x)}}");
    folder.write("latin.txt", "\xE4");
    folder.write("bad.json", "{\n \"\xC3\xA4\": tru }");
    folder.write("cut.json", "[1, 2");
    folder.write("more.json", "{}\n {}");
    folder.write("big.json", "[" + std::string(1000, '[') + std::string(1000, ']') + "]");
    EXPECT_EQ(run({"DIR/outer.txt"}), "1||DIR/inner.txt:2:3: Unclosed {{#a}} section\n");
    EXPECT_EQ(run({"DIR/lost.txt"}), "1||DIR/lost.txt:2:3: No such template: `nowhere`\n");
    EXPECT_EQ(run({"DIR/filter.txt"}),
              "1||DIR/filter.txt:2:2: Missing filter in tag `{{f(x)}}` at line 2 of template DIR/filter.txt\n");
    EXPECT_EQ(run({"DIR/latin.txt"}), "1||DIR/latin.txt: Template DIR/latin.txt is not in UTF-8\n");
    EXPECT_EQ(run({"-"}, "{{a b}}"), "1||standard input:1:1: Invalid expression\n");
    EXPECT_THAT(run({"DIR/outer.txt", "DIR/bad.json"}), testing::StartsWith("1||DIR/bad.json:2:"));
    EXPECT_EQ(run({"DIR/outer.txt", "DIR/cut.json"}), "1||DIR/cut.json:1:6: incomplete JSON\n");
    EXPECT_EQ(run({"DIR/outer.txt", "DIR/more.json"}),
              "1||DIR/more.json:2:2: extra data\n");
    EXPECT_THAT(run({"DIR/outer.txt", "DIR/big.json"}), testing::StartsWith("1||DIR/big.json:1:"));
}

TEST_F(RenderTool, TellsWhatItCantDo) {
    folder.write("a.txt", "a");
    EXPECT_THAT(run({}), testing::StartsWith("2||quillstead-render: Which template?\n\nUsage: "));
    EXPECT_THAT(run({"--html", "a"}),
                testing::StartsWith("2||quillstead-render: There is no option '--html'.\n\nUsage: "));
    EXPECT_THAT(run({"a", "b", "c"}),
                testing::StartsWith("2||quillstead-render: One template and one file of data, please.\n\nUsage: "));
    EXPECT_THAT(
        run({"-", "-"}),
        testing::StartsWith("2||quillstead-render: Standard input can't be both template and data.\n\nUsage: "));
    EXPECT_EQ(run({"DIR/none.txt"}), "1||DIR/none.txt: There is no such file.\n");
    EXPECT_THAT(run({"DIR/a.txt", "DIR/none.json"}), testing::StartsWith("1||DIR/none.json: "));
    EXPECT_THAT(run({"a", "--help"}), testing::StartsWith("0|Usage: quillstead-render "));

    std::istringstream in;
    std::ostringstream out, errors;
    out.setstate(std::ios::badbit);
    EXPECT_EQ(runRenderTool({(folder / "a.txt").string()}, {in, out, errors}), 1);
    EXPECT_EQ(errors.str(), "quillstead-render: The text can't be written.\n");
}

}  // namespace
}  // namespace qs
