// The sample's model server: what it answers, what it logs, how it ends, and how it is stopped with its home.
#include <csignal>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "Tests/Demo/LoopbackSocket.h"
#include "Tests/Demo/SampleHome.h"
#include "Tests/Demo/ServerProcess.h"

namespace fs = std::filesystem;
namespace Proc = ManagerCore::Proc;
using namespace TestSupport;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

class DemoServer : public SampleTest
{
protected:
    void SetUp() override { shareSample(); }

    [[nodiscard]] fs::path server() const { return sample() / ".zyn/bin/mlx-vantor"; }
    [[nodiscard]] fs::path log() const { return scratch() / "server.log"; }
    [[nodiscard]] std::vector<std::string> arguments() const
    {
        return {"--model", (sample() / ".zyn/served-model").string(), "--port", std::to_string(port())};
    }
    // Runs a server that must not come up, to its end.
    [[nodiscard]] Proc::Out runServer(const fs::path& model, int atPort) const
    {
        return Proc::run(server().string(), {"--model", model.string(), "--port", std::to_string(atPort)});
    }
};

TEST_F(DemoServer, answersInJsonAndEndsCleanlyWhenAsked)
{
    ServerProcess process(server(), arguments(), log());
    const auto health = nlohmann::json::parse(get(port(), "/health"), nullptr, false);
    ASSERT_TRUE(health.is_object());
    EXPECT_EQ(health.value("status", ""), "ok");
    EXPECT_EQ(health.value("model", ""), "zyn-labs/Vantor-7B");
    EXPECT_EQ(health.value("folder", ""), (sample() / ".zyn-crucible/models/zyn-labs/Vantor-7B/3_final").string());
    EXPECT_EQ(health.value("weight_bytes", 0), 6'000'000);
    const auto models = nlohmann::json::parse(get(port(), "/v1/models"), nullptr, false);
    ASSERT_EQ(models["data"].size(), 1U);
    EXPECT_EQ(models["data"][0]["id"], "zyn-labs/Vantor-7B");
    process.signal(SIGTERM);
    EXPECT_EQ(process.wait(), 0);
    const std::string said = read(log());
    EXPECT_THAT(said, ContainsRegex("^[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} .mlx-vantor. serving"));
    EXPECT_THAT(said, HasSubstr("listening on http://127.0.0.1:" + std::to_string(port())));
    EXPECT_THAT(said, HasSubstr("GET /health 200"));
    EXPECT_THAT(said, HasSubstr("stopped by signal 15"));
}

TEST_F(DemoServer, answersWhateverComes)
{
    const ServerProcess process(server(), arguments(), log());
    EXPECT_THAT(ask(port(), "GET /none HTTP/1.1\r\n\r\n"), StartsWith("HTTP/1.1 404 "));
    EXPECT_THAT(ask(port(), "POST /health HTTP/1.1\r\n\r\n"), StartsWith("HTTP/1.1 405 "));
    EXPECT_THAT(ask(port(), "\r\n\r\n"), StartsWith("HTTP/1.1 400 "));
    EXPECT_THAT(ask(port(), std::string(8192, 'x')), StartsWith("HTTP/1.1 400 "));
    ask(port(), "GET /\x01\x1b[2J\nfake HTTP/1.1\r\n\r\n");
    EXPECT_THAT(get(port(), "/health"), HasSubstr("\"ok\""));
    EXPECT_THAT(read(log()), HasSubstr("GET /??[2J?fake 404\n"));
}

TEST_F(DemoServer, aSilentClientKeepsNobodyWaitingForLong)
{
    const ServerProcess process(server(), arguments(), log());
    ASSERT_THAT(get(port(), "/health"), HasSubstr("\"ok\""));
    const LoopbackSocket silent = LoopbackSocket::connected(port());
    EXPECT_TRUE(silent.stands());
    EXPECT_THAT(get(port(), "/health"), HasSubstr("\"ok\""));
}

TEST_F(DemoServer, startsAgainAtOnceOnTheSamePort)
{
    for (int round = 0; round < 2; ++round) {
        ServerProcess process(server(), arguments(), log());
        EXPECT_THAT(get(port(), "/health"), HasSubstr("\"ok\""));
        process.signal(SIGINT);
        EXPECT_EQ(process.wait(), 0);
    }
}

TEST_F(DemoServer, saysSoWhenThePortIsTaken)
{
    const LoopbackSocket other = LoopbackSocket::listening(0);
    ASSERT_TRUE(other.stands());
    const int number = other.port();
    const Proc::Out out = runServer(sample() / ".zyn/served-model", number);
    EXPECT_EQ(out.code, 1);
    EXPECT_THAT(
        out.stdout,
        HasSubstr("error: The address 127.0.0.1:" + std::to_string(number) + " is already used by another program.\n"));
}

TEST_F(DemoServer, saysSoWhenTheModelIsMissing)
{
    fs::create_directory(scratch() / "empty");
    fs::create_directory(scratch() / "no weights");
    write(scratch() / "no weights" / "config.json", "{}");
    makeLink(scratch() / "loop", scratch() / "loop");
    for (const char* name : {"nowhere", "empty", "no weights", "loop"}) {
        const Proc::Out out = runServer(scratch() / name, port());
        EXPECT_EQ(out.code, 1) << name;
        EXPECT_THAT(out.stdout, HasSubstr("error: There is no model at " + (scratch() / name).string())) << name;
    }
}

TEST_F(DemoServer, refusesWrongArguments)
{
    for (const auto& wrong : std::vector<std::vector<std::string>> {
             {}, {"--model"}, {"--model", "x"}, {"--model", "x", "--port", "70000"}, {"--what", "x"}}) {
        const Proc::Out out = Proc::run(server().string(), wrong);
        EXPECT_EQ(out.code, 64);
        EXPECT_THAT(out.stderr, HasSubstr("usage: mlx-vantor"));
    }
    EXPECT_THAT(Proc::run(server().string(), {"--version"}).stdout, StartsWith("mlx-vantor 1.6.2\n"));
}

TEST_F(DemoServer, theProductStartsItWithALogOfItsOwn)
{
    std::vector<std::string> words = arguments();
    words.insert(words.begin(), "serve");
    words.insert(words.end(), {"--log", (scratch() / "own.log").string()});
    ServerProcess process(sample() / ".zyn/bin/zyn", words, log());
    EXPECT_THAT(get(port(), "/health"), HasSubstr("\"ok\""));
    process.signal(SIGTERM);
    EXPECT_EQ(process.wait(), 0);
    EXPECT_THAT(read(scratch() / "own.log"), HasSubstr("stopped by signal 15"));
    EXPECT_EQ(read(log()), "");
}

TEST_F(DemoServer, theHomeTakesItsOwnServerAlongAndNoOther)
{
    const fs::path other = scratch() / "other";
    const int otherPort = freePort();
    ASSERT_TRUE(demoMake({"--programs",
                          demoPrograms().string(),
                          "--port",
                          std::to_string(otherPort),
                          "--label",
                          "com.zyn.mlx-vantor.other",
                          other.string()})
                    .ok());
    ServerProcess own(server(), arguments(), log());
    ServerProcess foreign(other / ".zyn/bin/mlx-vantor",
                          {"--model", (other / ".zyn/served-model").string(), "--port", std::to_string(otherPort)},
                          log());
    EXPECT_THAT(get(port(), "/health"), HasSubstr("\"ok\""));
    EXPECT_THAT(get(otherPort, "/health"), HasSubstr("\"ok\""));
    EXPECT_TRUE(demoMake({"--reset", sample().string()}).ok());
    EXPECT_EQ(own.wait(), 0);
    EXPECT_TRUE(foreign.running());
    EXPECT_TRUE(demoMake({"--remove", other.string()}).ok());
    EXPECT_EQ(foreign.wait(), 0);
}

class DemoAgent : public SampleTest
{
protected:
    // Whatever happened, no agent stays loaded.
    void TearDown() override { EXPECT_TRUE(demoMake({"--remove", sample().string()}).ok()); }
};

TEST_F(DemoAgent, aResetBootsItOut)
{
    const std::string launchctl = builtProgram("launchctl").string();
    if (!fs::exists(launchctl)) {
        GTEST_SKIP() << "The system has a launchctl of its own, whose agents are left alone.";
    }
    const std::string label = "com.zyn.mlx-vantor.test-" + std::to_string(::getpid());
    makeSample({"--label", label});
    const std::string agent = (sample() / "Library/LaunchAgents" / (label + ".plist")).string();
    const Proc::Out start = runInside(launchctl, {"bootstrap", "gui/" + std::to_string(::getuid()), agent});
    ASSERT_TRUE(start.ok()) << start.stderr;
    EXPECT_THAT(get(port(), "/health"), HasSubstr("\"ok\""));
    EXPECT_TRUE(runInside(launchctl, {"list", label}).ok());
    EXPECT_TRUE(demoMake({"--reset", sample().string()}).ok());
    EXPECT_FALSE(runInside(launchctl, {"list", label}).ok());
    EXPECT_FALSE(LoopbackSocket::connected(port()).stands());
    EXPECT_THAT(read(sample() / "Library/Logs/zyn/mlx-vantor.log"), testing::Not(HasSubstr("GET /health")));
}

} // namespace
