// The sample's model server: its answers, its log, its end, and its end with the home.
#include <gmock/gmock.h>
#include <unistd.h>

#include "Tests/Demo/SampleHome.h"

using namespace TestSupport;
using testing::ContainsRegex;
using testing::HasSubstr;

namespace
{

class DemoServer : public SampleTest
{
protected:
    void SetUp() override { shareSample(); }

    [[nodiscard]] std::string program(const char* name) const { return (sample / ".zyn/bin" / name).string(); }
    // Runs the server and beside it a script, in which "ask REQUEST" prints the reply, then ends both. What they print.
    [[nodiscard]] std::string serve(const std::string& script, std::vector<std::string> words) const
    {
        words.insert(words.begin(), {makeScript, sample.string(), std::to_string(port)});
        words.insert(words.end(), {"--model", (sample / ".zyn/served-model").string(), "--port", words[2]});
        return bash(R"(make=$0 sample=$1 port=$2; shift 2
                       ask() { exec 3<>"/dev/tcp/127.0.0.1/$port" && printf '%b' "$1 HTTP/1.1\r\n\r\n" >&3 && cat <&3; }
                       "$@" & trap 'kill -KILL $! 2>/dev/null' EXIT
                       for attempt in {1..100}; do (ask 'GET /') >/dev/null 2>&1 && break; sleep 0.1; done
                       )"
                        + script + "\nkill $! 2>/dev/null; wait $!; echo; echo \"status $?\"",
                    words)
            .stdout;
    }
};

TEST_F(DemoServer, answersAndEndsOnASignal)
{
    const std::string out = serve("ask 'GET /health'; ask 'GET /v1/models'; ask 'GET /none'", {program("mlx-vantor")});
    EXPECT_THAT(out, HasSubstr(R"({"status":"ok","model":"zyn-labs/Vantor-7B","folder":"/)"));
    EXPECT_THAT(out, HasSubstr(R"(/3_final","weight_bytes":6000000})"));
    EXPECT_THAT(out, HasSubstr(R"({"object":"list","data":[{"id":"zyn-labs/Vantor-7B",)"));
    EXPECT_THAT(out, HasSubstr("HTTP/1.1 404 "));
    const std::string time = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} .mlx-vantor. ";
    EXPECT_THAT(out, ContainsRegex(time + "serving zyn-labs/Vantor-7B .3 weight files, 6000000 bytes"));
    EXPECT_THAT(out, ContainsRegex(time + "listening on http://127.0.0.1:" + std::to_string(port)));
    EXPECT_THAT(out, ContainsRegex(time + "GET /health 200\n"));
    EXPECT_THAT(out, ContainsRegex(time + "stopped by signal 15\n\nstatus 0\n"));
}

TEST_F(DemoServer, answersWrongRequests)
{
    const std::string script = "ask 'POST /health'; ask ' '; ask $(printf '%08179d' 0); ask 'GET /\\x01\\x1b[2J'\n"
                               "exec 4<>/dev/tcp/127.0.0.1/$port # sends nothing\n"
                               "ask 'GET /health'";
    const std::string out = serve(script, {program("zyn"), "serve"});
    EXPECT_THAT(out, ContainsRegex("HTTP/1.1 405 (.|\n)*HTTP/1.1 400 (.|\n)*HTTP/1.1 400 (.|\n)*HTTP/1.1 404 "));
    EXPECT_THAT(out, ContainsRegex("vantor. 0{200} 400\n(.|\n)*GET /\\?\\?\\[2J 404\n"));
    EXPECT_THAT(out, HasSubstr("{\"status\":\"ok\""));
}

TEST_F(DemoServer, refusesATakenPortAndAMissingModel)
{
    fs::create_directory(scratch() / "empty");
    write(scratch() / "no weights" / "config.json", "{}");
    write(scratch() / "no configuration" / "model.safetensors", "bytes");
    makeLink(scratch() / "loop", scratch() / "loop");
    EXPECT_THAT(serve(R"("$@"; echo "status $?")", {program("mlx-vantor")}),
                ContainsRegex("error: The address 127.0.0.1:[0-9]+ is already used by another program.\nstatus 1\n"));
    for (const char* name : {"nowhere", "empty", "no weights", "no configuration", "loop"}) {
        const std::string model = (scratch() / name).string();
        const Proc::Out out = Proc::run(program("mlx-vantor"), {"--model", model, "--port", std::to_string(port)});
        EXPECT_EQ(out.code, 1) << name;
        EXPECT_THAT(out.stdout, HasSubstr("error: There is no model at " + model)) << name;
        EXPECT_THAT(Proc::run(program("mlx-vantor"), {"--model", model}).stderr, HasSubstr("usage: mlx-vantor"));
        EXPECT_EQ(Proc::run(program("mlx-vantor"), {"--model", model, "--port", "70000"}).code, 64);
    }
}

TEST_F(DemoServer, isStoppedWithItsOwnHomeOnly)
{
    const fs::path other = scratch() / "other";
    ASSERT_TRUE(demoMake({"--programs", programs, "--label", "com.zyn.other", other.string()}).ok());
    const std::string out = serve("\"$make\" --remove '" + other.string()
                                      + "'; ask 'GET /health'\n"
                                        "\"$make\" --reset \"$sample\"; ask 'GET /health' || echo stopped",
                                  {program("mlx-vantor")});
    EXPECT_THAT(
        out,
        ContainsRegex(
            "No sample home exists(.|\n)*\"ok\"(.|\n)*stopped by signal 15\n(.|\n)*is ready(.|\n)*\nstopped\n"));
}

TEST_F(DemoServer, itsAgentIsRemovedByAReset)
{
    const std::string launchctl = builtProgram("launchctl").string();
    if (!fs::exists(launchctl)) {
        GTEST_SKIP() << "The agents of a system's own launchctl are not touched.";
    }
    const std::string label = "com.zyn.mlx-vantor.test-" + std::to_string(::getpid());
    ASSERT_TRUE(demoMake({"--reset", "--label", label, sample.string()}).ok());
    const std::string agent = (sample / "Library/LaunchAgents" / (label + ".plist")).string();
    const Proc::Out start = runInside(launchctl, {"bootstrap", "gui/" + std::to_string(::getuid()), agent});
    EXPECT_TRUE(start.ok()) << start.stderr;
    EXPECT_TRUE(runInside(launchctl, {"list", label}).ok());
    EXPECT_TRUE(demoMake({"--reset", sample.string()}).ok());
    EXPECT_FALSE(runInside(launchctl, {"list", label}).ok());
    EXPECT_THAT(read(sample / ".sample-home"), HasSubstr(label)) << "a reset keeps the options";
}

} // namespace
