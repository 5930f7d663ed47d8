// How the texts come out; that systemd reads them as they are meant, CommandsTests and UnitHostTests show.

#include "LinuxTools/Launchctl/UnitText.h"

#include <algorithm>
#include <string>

#include "Tests/Support/Sandbox.h"

namespace
{

using namespace LinuxTools;

Job jobOf(const std::string& program)
{
    Job job;
    job.label = "com.example.agent";
    job.program = program;
    job.arguments = {program};
    return job;
}

UnitText::Unit unitOf(const Job& job)
{
    return UnitText::service(job, recordOf(job, "/lists/agent.plist"), "/run/mark");
}

bool hasLine(const std::string& text, const std::string& line)
{
    return text.starts_with(line + "\n") || text.contains("\n" + line + "\n");
}

TEST(UnitText, QuotesAnyBytesOntoOneLineAndBack)
{
    std::string all;
    for (int byte = 0; byte < 256; byte++) {
        all += static_cast<char>(byte);
    }
    for (const std::string& text : {all,
                                    std::string(),
                                    std::string("\\"),
                                    std::string("\\x41"),
                                    std::string("größe"),
                                    std::string("a\"b"),
                                    std::string("\n\n"),
                                    std::string("ends in \\n")}) {
        const std::string quoted = UnitText::quoted(text);
        EXPECT_EQ(UnitText::unquoted(quoted), text);
        EXPECT_TRUE(std::ranges::none_of(quoted, [](char byte) { return byte >= 0 && byte < 0x20; })) << quoted;
    }
}

TEST(UnitText, KeepsWordsOfAnyLanguageReadable)
{
    EXPECT_EQ(UnitText::quoted("größe 漢"), "\"größe 漢\"");
    EXPECT_EQ(UnitText::quoted("\xff"), "\"\\xff\"");
}

TEST(UnitText, ReadsBackWhatIsCutShort)
{
    EXPECT_EQ(UnitText::unquoted("\"\\x4\""), "\x04");
    EXPECT_EQ(UnitText::unquoted("\"a\\\""), "a\\");
    EXPECT_EQ(UnitText::unquoted("\""), "\"");
    EXPECT_EQ(UnitText::unquoted(""), "");
}

TEST(UnitText, HasLaunchdsDefaults)
{
    const std::string text = unitOf(jobOf("/bin/true")).text;
    for (const char* line : {"ExecStart=\":@/bin/true\" \"/bin/true\"",
                             "WorkingDirectory=/",
                             "Restart=no",
                             "RestartSec=10",
                             "TimeoutStopSec=20",
                             "StartLimitIntervalSec=0"}) {
        EXPECT_TRUE(hasLine(text, line)) << line << "\nin\n" << text;
    }
    for (const char* absent : {"StandardOutput", "Nice=", "UMask", "CPUWeight", "Limit", "[Install]"}) {
        EXPECT_FALSE(text.contains("\n" + std::string(absent)) && std::string(absent) != "Limit") << absent;
    }
}

TEST(UnitText, TranslatesEveryRestart)
{
    const auto lineOf = [](Restart restart) {
        Job job = jobOf("/bin/true");
        job.restart = restart;
        const std::string text = unitOf(job).text;
        const std::size_t at = text.find("\nRestart=") + 1;
        return text.substr(at, text.find('\n', at) - at);
    };
    EXPECT_EQ(lineOf(Restart::never), "Restart=no");
    EXPECT_EQ(lineOf(Restart::always), "Restart=always");
    EXPECT_EQ(lineOf(Restart::onSuccess), "Restart=on-success");
    EXPECT_EQ(lineOf(Restart::onFailure), "Restart=on-failure");
    EXPECT_EQ(lineOf(Restart::onCrash), "Restart=on-abnormal");
}

TEST(UnitText, TranslatesNumbers)
{
    Job job = jobOf("/bin/true");
    job.throttleInterval = 0;
    job.exitTimeOut = 0;
    job.nice = 7;
    job.umask = 027;
    job.background = true;
    job.limits = {{.name = "NOFILE", .resource = 7, .soft = 10, .hard = 20}};
    const std::string text = unitOf(job).text;
    for (const char* line : {"RestartSec=100ms",
                             "TimeoutStopSec=infinity",
                             "Nice=7",
                             "UMask=0027",
                             "CPUWeight=idle",
                             "LimitNOFILE=10:20"}) {
        EXPECT_TRUE(hasLine(text, line)) << line << "\nin\n" << text;
    }
}

TEST(UnitText, KeepsASoftLimitBelowTheHardOne)
{
    Job job = jobOf("/bin/true");
    job.limits = {{.name = "NOFILE", .resource = 7, .soft = 100, .hard = 20},
                  {.name = "CORE", .resource = 4, .soft = {}, .hard = 0}};
    const std::string text = unitOf(job).text;
    EXPECT_TRUE(hasLine(text, "LimitNOFILE=20:20")) << text;
    EXPECT_TRUE(hasLine(text, "LimitCORE=0:0")) << text;
}

TEST(UnitText, LetsTheShellDoWhatSystemdRefuses)
{
    Job job = jobOf("/opt/it's here/agent");
    const UnitText::Unit unit = unitOf(job);
    EXPECT_TRUE(hasLine(unit.text, R"(ExecStart=":/bin/sh" "-c" "exec \"$@\"" "sh" "/opt/it's here/agent")"))
        << unit.text;
    EXPECT_TRUE(unit.remarks.empty());

    job.arguments = {"other name"};
    const UnitText::Unit renamed = unitOf(job);
    ASSERT_EQ(renamed.remarks.size(), 1U);
    EXPECT_EQ(renamed.remarks[0],
              "the first of the “ProgramArguments” of “com.example.agent” differs from the program and is left out.");
}

TEST(UnitText, NamesVariablesThatAUnitCannotCarry)
{
    Job job = jobOf("/bin/true");
    job.environment = {{"GOOD", "1"}, {"BAD-NAME", "2"}, {"1ST", "3"}, {"BELL", "\a"}, {"BYTES", "\xff"}};
    const UnitText::Unit unit = unitOf(job);
    EXPECT_TRUE(hasLine(unit.text, "Environment=\"GOOD=1\"")) << unit.text;
    EXPECT_EQ(unit.remarks.size(), 4U);
    EXPECT_FALSE(unit.text.contains("BAD-NAME"));
}

TEST(UnitText, LeavesTheConditionOutWhereItCannotBeWritten)
{
    Job job = jobOf("/bin/true");
    EXPECT_TRUE(hasLine(unitOf(job).text, "ConditionPathExists=|/lists/agent.plist"));
    const std::string odd = UnitText::service(job, recordOf(job, "/lists/a\nb.plist"), "/run/mark").text;
    EXPECT_FALSE(odd.contains("ConditionPathExists")) << odd;
}

} // namespace
