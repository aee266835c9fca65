#include "FakeHTTP.h"
#include "ScratchDir.h"

#include "common/SystemUtil.h"
#include "policy/ModeHandler.h"
#include "update/VersionHandler.h"

#include <gtest/gtest.h>

#include <unistd.h>

using namespace pemo::system;
using pemo::system::test::PathPrefix;
using pemo::system::test::ScratchDir;

class RunProgramTest : public ::testing::Test
{
protected:
    ScratchDir dir;
};

// 72 is the status a failed exec gives: a program that exits with it still
// counts as started, as the runner may not guess from the status.
TEST_F(RunProgramTest, ReportsExitCodeAndTheStreamsAsked)
{
    const std::string program = dir.script("talk", "printf 'out,'; printf 'err' >&2; printf ',out'; exit 72");

    const ProgramResult result = runProgram(program, {});
    EXPECT_TRUE(result.started);
    EXPECT_EQ(72, result.exitCode);
    EXPECT_FALSE(result.succeeded());
    EXPECT_EQ("out,,out", result.output);

    EXPECT_EQ("out,err,out", runProgram(program, {}, ProgramOutput::STDOUT_STDERR).output);
    const ProgramResult inherited = runProgram(program, {}, ProgramOutput::INHERIT);
    EXPECT_EQ(72, inherited.exitCode);
    EXPECT_EQ("", inherited.output);
}

// More than the pipe holds and many read blocks: a runner that waited before
// reading, or kept only one block, fails here. A flood beyond the cap is
// drained and cut, and the program is still reaped with its status.
TEST_F(RunProgramTest, ReadsOutputFarLargerThanOneBlockAndCutsAFlood)
{
    const ProgramResult large =
        runProgram(dir.script("large", "head -c 200000 /dev/zero | tr '\\0' 'x'; printf END"), {});
    ASSERT_TRUE(large.succeeded());
    EXPECT_EQ(std::string(200000, 'x') + "END", large.output);

    const std::string flood = "head -c " + std::to_string(MAX_PROGRAM_OUTPUT + 300000) + " /dev/zero; exit 4";
    const ProgramResult cut = runProgram(dir.script("flood", flood), {});
    EXPECT_EQ(4, cut.exitCode);
    EXPECT_EQ(MAX_PROGRAM_OUTPUT, cut.output.size());
}

// No shell between the daemon and the program: blanks, quotes and empty
// arguments reach it exactly as given. The variables reach this one program
// on top of the daemon's environment, and the daemon's own stays as it was.
TEST_F(RunProgramTest, PassesArgumentsVerbatimAndAddsEnvironmentForOneProgram)
{
    const std::string program =
        dir.script("args", "printf '%s|' \"$#\" \"$@\" \"$DISPLAY\" \"$PEMO_UNIT_ONE\"; test -n \"$PATH\"");

    const ProgramResult result =
        runProgram(program, {"a b", "", "$HOME", "'q'"}, {{"DISPLAY", ":0"}, {"PEMO_UNIT_ONE", "x"}});

    EXPECT_TRUE(result.succeeded());
    EXPECT_EQ("4|a b||$HOME|'q'|:0|x|", result.output);
    EXPECT_EQ(nullptr, getenv("PEMO_UNIT_ONE"));
}

TEST_F(RunProgramTest, ProgramThatCannotStartIsReportedNotThrown)
{
    const std::string notExecutable = dir.write("plain", "#!/bin/sh\nexit 0\n");

    for (const std::string& program : {dir.file("missing"), notExecutable, std::string("pemo-no-such-program")})
    {
        ProgramResult result;
        ASSERT_NO_THROW(result = runProgram(program, {}));
        EXPECT_FALSE(result.started) << program;
        EXPECT_EQ(-1, result.exitCode) << program;
        EXPECT_FALSE(result.succeeded()) << program;
    }
}

// The mode and version endpoints over stand-ins for the platform's programs,
// found by bare name on PATH as on the device; each stand-in records its
// arguments. One handler of each kind serves every case, so a cached answer
// shows.
TEST_F(RunProgramTest, ModeAndVersionAnswerWhatTheirProgramsDid)
{
    struct Case
    {
        const char* program;
        const char* script;
        const char* body; // null for a GET
        int status;
        const char* reason;
        const char* answer;
        const char* arguments; // as recorded, one per line; null when not run
    };
    const Case cases[] = {
        {"pemo-getmode", "printf 'developer \\t\\r\\n\\n'", nullptr, 200, "OK",
         "{\n    \"mode\": \"developer\"\n}", "\n"},
        {"pemo-getmode", "echo normal; exit 1", nullptr, 500, "Could not read mode", "", "\n"},
        {"pemo-getmode", "printf ' \\n\\t\\n'", nullptr, 500, "Could not read mode", "", "\n"},
        {"pemo-setmode", "exit 0", R"js({"mode":"a b \"c\" $(d)"})js", 204, "No Content", "", "a b \"c\" $(d)\n"},
        {"pemo-setmode", "exit 1", R"({"mode":""})", 400, "Could not set mode to ", "", "\n"},
        {"pemo-setmode", "exit 3", R"({"mode":"x"})", 400, "Could not set mode to x", "", "x\n"},
        {"pemo-setmode", "exit 0", R"({"mode":5})", 400, "Malformed arguments", "", nullptr},
        {"pemo-version", "printf 'os 2.0\\nskills 1.4 \\n\\n'", nullptr, 200, "OK",
         "{\n    \"version\": \"os 2.0\\nskills 1.4\"\n}", "\n"},
        {"pemo-version", "echo ' '", nullptr, 500, "Could not read version", "", "\n"},
        {"pemo-version", "echo 1.0; exit 1", nullptr, 500, "Could not read version", "", "\n"},
    };
    PathPrefix prefix(dir.path());
    ModeHandler mode;
    VersionHandler version;
    for (const Case& c : cases)
    {
        SCOPED_TRACE(std::string(c.program) + " " + c.script);
        ::unlink(dir.file("arguments").c_str());
        dir.script(c.program, "printf '%s\\n' \"$@\" >> " + dir.file("arguments") + "\n" + c.script);
        pemo::HTTPRequestHandler* handler = &mode;
        if (std::string(c.program) == "pemo-version")
            handler = &version;
        const test::HandlerAnswer answer = test::call(*handler, c.body ? "POST" : "GET", c.body ? c.body : "");
        EXPECT_EQ(c.status, answer.status);
        EXPECT_EQ(c.reason, answer.reason);
        EXPECT_EQ(c.answer, answer.body);
        EXPECT_EQ(c.arguments ? c.arguments : "", dir.read("arguments"));
    }
}
