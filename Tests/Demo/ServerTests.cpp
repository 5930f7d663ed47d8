// The sample's model server: its answers, its log, its end, and its removal with the home.
#include <csignal>
#include <future>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "Tests/Demo/SampleHome.h"

namespace fs = std::filesystem;
namespace Proc = ManagerCore::Proc;
using namespace TestSupport;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

// The reply to a request, in which \r and \n are escaped. Waits up to 10 seconds for the server.
std::string ask(int port, const std::string& request, const std::string& before = "")
{
    return bash("for attempt in {1..100}; do (exec 3<>/dev/tcp/127.0.0.1/$0) 2>/dev/null && break; sleep 0.1; done\n"
                    + before + "\nexec 3<>/dev/tcp/127.0.0.1/$0; printf '%b' \"$1\" >&3; cat <&3",
                {std::to_string(port), request})
        .stdout;
}

nlohmann::json get(int port, const std::string& path)
{
    const std::string reply = ask(port, "GET " + path + R"( HTTP/1.1\r\n\r\n)");
    const std::size_t end = reply.find("\r\n\r\n");
    return end == std::string::npos ? nlohmann::json() : nlohmann::json::parse(reply.substr(end), nullptr, false);
}

// A program that runs beside the test. It is killed with the test.
class Running
{
public:
    Running(fs::path note, const std::vector<std::string>& words)
        : note_(std::move(note))
        , out_(std::async(std::launch::async, [this, words] {
            std::vector<std::string> arguments {note_.string()};
            arguments.insert(arguments.end(), words.begin(), words.end());
            return bash(R"(echo $$ >"$0"; exec "$@")", arguments);
        }))
    {
    }
    ~Running()
    {
        if (out_.valid()) {
            end(SIGKILL);
        }
    }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    // Sends a signal, unless it is 0, and waits for the end.
    Proc::Out end(int signal)
    {
        ::kill(std::stoi(read(note_)), signal);
        return out_.get();
    }

private:
    fs::path note_;
    std::future<Proc::Out> out_;
};

class DemoServer : public SampleTest
{
protected:
    void SetUp() override { shareSample(); }

    [[nodiscard]] std::string server() const { return (sample() / ".zyn/bin/mlx-vantor").string(); }
    [[nodiscard]] std::vector<std::string> arguments(std::vector<std::string> words = {}) const
    {
        words.insert(words.end(),
                     {"--model", (sample() / ".zyn/served-model").string(), "--port", std::to_string(port())});
        return words;
    }
};

TEST_F(DemoServer, answersAndEndsOnASignal)
{
    Running running(scratch() / "note", arguments({server()}));
    const nlohmann::json health = get(port(), "/health");
    EXPECT_EQ(health["status"], "ok");
    EXPECT_EQ(health["model"], "zyn-labs/Vantor-7B");
    EXPECT_EQ(health["folder"], (sample() / ".zyn-crucible/models/zyn-labs/Vantor-7B/3_final").string());
    EXPECT_EQ(health["weight_bytes"], 6'000'000);
    EXPECT_EQ(get(port(), "/v1/models")["data"][0]["id"], "zyn-labs/Vantor-7B");
    const Proc::Out out = running.end(SIGTERM);
    EXPECT_EQ(out.code, 0);
    const std::string time = "^[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} ";
    EXPECT_THAT(out.stdout,
                ContainsRegex(time + ".mlx-vantor. serving zyn-labs/Vantor-7B .3 weight files, 6000000 bytes"));
    EXPECT_THAT(out.stdout, HasSubstr("listening on http://127.0.0.1:" + std::to_string(port())));
    EXPECT_THAT(out.stdout, HasSubstr("GET /health 200"));
    EXPECT_THAT(out.stdout, HasSubstr("stopped by signal 15"));
}

TEST_F(DemoServer, answersWrongRequests)
{
    Running running(scratch() / "note", arguments({(sample() / ".zyn/bin/zyn").string(), "serve"}));
    EXPECT_THAT(ask(port(), R"(GET /none HTTP/1.1\r\n\r\n)"), StartsWith("HTTP/1.1 404 "));
    EXPECT_THAT(ask(port(), R"(POST /health HTTP/1.1\r\n\r\n)"), StartsWith("HTTP/1.1 405 "));
    EXPECT_THAT(ask(port(), R"(\r\n\r\n)"), StartsWith("HTTP/1.1 400 "));
    EXPECT_THAT(ask(port(), std::string(8192, 'x')), StartsWith("HTTP/1.1 400 "));
    ask(port(), R"(GET /\x01\x1b[2J HTTP/1.1\r\n\r\n)");
    EXPECT_THAT(ask(port(), R"(GET /health HTTP/1.1\r\n\r\n)", "exec 4<>/dev/tcp/127.0.0.1/$0 # sends nothing"),
                HasSubstr("\"ok\""));
    const Proc::Out out = running.end(SIGINT);
    EXPECT_EQ(out.code, 0);
    EXPECT_THAT(out.stdout, HasSubstr("GET /??[2J 404\n"));
}

TEST_F(DemoServer, refusesATakenPort)
{
    Running running(scratch() / "note", arguments({server()}));
    ASSERT_EQ(get(port(), "/health")["status"], "ok");
    const Proc::Out out = Proc::run(server(), arguments());
    EXPECT_EQ(out.code, 1);
    EXPECT_THAT(
        out.stdout,
        HasSubstr("error: The address 127.0.0.1:" + std::to_string(port()) + " is already used by another program.\n"));
}

TEST_F(DemoServer, refusesAMissingModel)
{
    fs::create_directory(scratch() / "empty");
    write(scratch() / "no weights" / "config.json", "{}");
    write(scratch() / "no configuration" / "model.safetensors", "bytes");
    makeLink(scratch() / "loop", scratch() / "loop");
    for (const char* name : {"nowhere", "empty", "no weights", "no configuration", "loop"}) {
        const Proc::Out out = Proc::run(server(), {"--model", (scratch() / name).string(), "--port", "1024"});
        EXPECT_EQ(out.code, 1) << name;
        EXPECT_THAT(out.stdout, HasSubstr("error: There is no model at " + (scratch() / name).string())) << name;
    }
}

TEST_F(DemoServer, reportsUsageErrors)
{
    for (const auto& wrong : std::vector<std::vector<std::string>> {{},
                                                                    {"--model"},
                                                                    {"--model", "x"},
                                                                    {"--model", "x", "--port", "70000"},
                                                                    {"--what", "x", "--port", "1024"}}) {
        const Proc::Out out = Proc::run(server(), wrong);
        EXPECT_EQ(out.code, 64);
        EXPECT_THAT(out.stderr, HasSubstr("usage: mlx-vantor"));
    }
}

TEST_F(DemoServer, isStoppedWithItsOwnHomeOnly)
{
    const fs::path other = scratch() / "other";
    ASSERT_TRUE(demoMake({"--programs", demoPrograms().string(), "--label", "com.zyn.other", other.string()}).ok());
    Running own(scratch() / "note", arguments({server()}));
    EXPECT_EQ(get(port(), "/health")["status"], "ok");
    EXPECT_TRUE(demoMake({"--remove", other.string()}).ok());
    EXPECT_EQ(get(port(), "/health")["status"], "ok");
    EXPECT_TRUE(demoMake({"--reset", sample().string()}).ok());
    EXPECT_EQ(own.end(0).code, 0);
}

TEST_F(DemoServer, itsAgentIsRemovedByAReset)
{
    const std::string launchctl = builtProgram("launchctl").string();
    if (!fs::exists(launchctl)) {
        GTEST_SKIP() << "The agents of a system's own launchctl are not touched.";
    }
    const std::string label = "com.zyn.mlx-vantor.test-" + std::to_string(::getpid());
    ASSERT_TRUE(demoMake({"--reset", "--label", label, sample().string()}).ok());
    const std::string agent = (sample() / "Library/LaunchAgents" / (label + ".plist")).string();
    const Proc::Out start = runInside(launchctl, {"bootstrap", "gui/" + std::to_string(::getuid()), agent});
    EXPECT_TRUE(start.ok()) << start.stderr;
    EXPECT_EQ(get(port(), "/health")["status"], "ok");
    EXPECT_TRUE(runInside(launchctl, {"list", label}).ok());
    EXPECT_TRUE(demoMake({"--reset", sample().string()}).ok());
    EXPECT_FALSE(runInside(launchctl, {"list", label}).ok());
    EXPECT_THAT(read(sample() / "Library/Logs/zyn/mlx-vantor.log"), testing::Not(HasSubstr("GET /health")));
}

} // namespace
