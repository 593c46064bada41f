#include "Enml/EnmlTool.h"

#include <gmock/gmock.h>

#include <fstream>
#include <sstream>

#include "Support/TemporaryFolder.h"

namespace qs {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

struct Outcome {
    int code;
    std::string out, errors;
};

class EnmlTool : public testing::Test {
protected:
    static Outcome run(const std::vector<std::string>& arguments, const std::string& input = {}) {
        std::istringstream in(input);
        std::ostringstream out, errors;
        const int code = runEnmlTool(arguments, QS_ENML_RESOURCES, {in, out, errors});
        return {code, out.str(), errors.str()};
    }
    TemporaryFolder folder_;
};

TEST_F(EnmlTool, ConvertsAFileOrStandardInput) {
    const std::string file = folder_.write("mail.html", "<body><p>a<script>x</script></p>").string();
    for (const Outcome& c : {run({file}), run({}, "<body><p>a"), run({"-"}, "<body><p>a")}) {
        EXPECT_EQ(c.code, 0);
        EXPECT_TRUE(
            c.out.starts_with("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\"?>\n<!DOCTYPE en-note"));
        EXPECT_TRUE(c.out.ends_with("<en-note><p>a</p></en-note>\n")) << c.out;
        EXPECT_THAT(c.errors, IsEmpty());
    }
    const std::string text(300'000, 'x');
    EXPECT_THAT(run({}, "<body>" + text).out, HasSubstr(text + "</en-note>"));
}

TEST_F(EnmlTool, SaysWhatIsWrong) {
    const std::string empty = folder_.path().string();
    const std::string deep = [] {
        std::string text;
        for (int i = 0; i < 2000; ++i)
            text += "<b><i>";
        return text;
    }();
    struct Case {
        std::vector<std::string> arguments;
        std::string input;
        int code;
        const char* error;
    };
    for (const Case& c : {Case{{"--wrong"}, "", 2, "There is no option '--wrong'."},
                          Case{{"a", "b"}, "", 2, "'b' is a second"}, Case{{"--resources"}, "", 2, "needs a folder"},
                          Case{{"/no/such/file"}, "", 1, "cannot read /no/such/file: No such file"},
                          Case{{empty}, "", 1, "it is a folder"}, Case{{}, "", 0, "has no body"},
                          Case{{}, deep, 1, "the note is cut off: Elements stand more than 1000 deep."}}) {
        const Outcome got = run(c.arguments, c.input);
        EXPECT_EQ(got.code, c.code) << c.error;
        EXPECT_THAT(got.errors, HasSubstr(c.error));
    }
    EXPECT_THAT(run({"--wrong"}).errors, HasSubstr("Usage:"));
    EXPECT_EQ(run({"--help"}).code, 0);
    EXPECT_THAT(run({"--help"}).out, HasSubstr("Usage: quillstead-enml"));
}

TEST_F(EnmlTool, AFullDiskIsNoSuccess) {
    std::istringstream in("<body>x");
    std::ofstream out("/dev/full");
    std::ostringstream errors;
    EXPECT_EQ(runEnmlTool({}, QS_ENML_RESOURCES, {in, out, errors}), 1);
    EXPECT_THAT(errors.str(), HasSubstr("cannot write the note"));
}

}  // namespace
}  // namespace qs
