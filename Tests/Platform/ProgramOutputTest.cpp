#include "Process/ProgramOutput.h"

#include <gtest/gtest.h>

#include "Foundation/RunLoop.h"

namespace qs {
namespace {

class ProgramOutput : public ::testing::Test {
    std::unique_ptr<RunLoop> loop_ = RunLoop::make(RunLoop::Clock::Real);  // whose clock bounds the waiting
};

int codeOf(const Result<std::string>& output) { return output ? 0 : output.error().code; }

TEST_F(ProgramOutput, GoesThroughTheProgram) {
    EXPECT_EQ(outputOfProgram({"cat"}, {.input = "hello"}), "hello");
    EXPECT_EQ(outputOfProgram({"cat"}), "");
    EXPECT_EQ(outputOfProgram({"echo", "$HOME; ls", "*"}), "$HOME; ls *\n") << "no shell";
    EXPECT_EQ(outputOfProgram({"/usr/bin/env"}, {.inheritsEnvironment = false}), "");
}

TEST_F(ProgramOutput, PassesMoreThanPipesHold) {
    std::string text;
    for (int i = 0; i < 500'000; ++i)
        text += std::to_string(i);
    EXPECT_EQ(outputOfProgram({"cat"}, {.input = text, .mostOutput = text.size()}), text);
    EXPECT_EQ(outputOfProgram({"sh", "-c", "head -c 1; echo"}, {.input = text}), "0\n") << "the rest is not read";
}

TEST_F(ProgramOutput, TellsWhatWentWrong) {
    EXPECT_EQ(codeOf(outputOfProgram({})), static_cast<int>(ProgramError::NotStarted));
    EXPECT_EQ(codeOf(outputOfProgram({"/nowhere/program"})), static_cast<int>(ProgramError::NotStarted));
    EXPECT_EQ(codeOf(outputOfProgram({"false"})), static_cast<int>(ProgramError::Failed));
    EXPECT_EQ(codeOf(outputOfProgram({"sh", "-c", "kill -9 $$"})), static_cast<int>(ProgramError::Failed));
    EXPECT_EQ(codeOf(outputOfProgram({"yes"}, {.mostOutput = 1000})), static_cast<int>(ProgramError::OutOfBounds));
    EXPECT_EQ(codeOf(outputOfProgram({"sleep", "100"}, {.longest = 0.05})),
              static_cast<int>(ProgramError::OutOfBounds));
    EXPECT_EQ(codeOf(outputOfProgram({"sh", "-c", "exec >&-; sleep 100"}, {.longest = 0.05})),
              static_cast<int>(ProgramError::OutOfBounds))
        << "closing the output is not ending";
}

}  // namespace
}  // namespace qs
