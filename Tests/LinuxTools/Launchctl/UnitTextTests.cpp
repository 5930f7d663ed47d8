// The text of units. LaunchctlTests and SystemdBackendTests show that systemd understands it.

#include "LinuxTools/Launchctl/UnitText.h"

#include <string>

#include "Tests/Support/Sandbox.h"

namespace
{

using namespace LinuxTools;

const std::string label = "com.example.agent";

Job jobOf(const std::string& program)
{
    Job job;
    job.label = label;
    job.program = program;
    job.arguments = {program};
    return job;
}

UnitText::Unit unitOf(const Job& job)
{
    return UnitText::service(job, "/lists/100%.plist", "/run/mark").value_or(UnitText::Unit {});
}

void expectLines(const Job& job, const std::vector<std::string>& lines)
{
    const std::string text = unitOf(job).text;
    for (const std::string& line : lines) {
        EXPECT_TRUE(text.contains("\n" + line + "\n")) << line << "\nin\n" << text;
    }
}

TEST(UnitText, QuotesAnyBytesOnOneLine)
{
    EXPECT_EQ(UnitText::quote(""), R"("")");
    EXPECT_EQ(UnitText::quote("größe 漢 \"a\" \\ 'b' $"), R"("größe 漢 \"a\" \\ 'b' $")");
    EXPECT_EQ(UnitText::quote("\n\t\x01\x7f"), R"("\x0a\x09\x01\x7f")");
    EXPECT_EQ(UnitText::quote("\xff"), R"("\xff")");
}

TEST(UnitText, HasLaunchdsDefaults)
{
    const Job job = jobOf("/bin/true");
    expectLines(job,
                {"SourcePath=/lists/100%%.plist",
                 "ConditionPathExists=|/lists/100%%.plist",
                 "ConditionPathExists=|/run/mark",
                 R"(ExecStart=":@/bin/true" "/bin/true")",
                 "WorkingDirectory=/",
                 "Restart=no",
                 "RestartSec=10",
                 "TimeoutStopSec=20",
                 "StartLimitIntervalSec=0"});
    for (const char* absent : {"Standard", "Nice=", "UMask", "CPUWeight", "LimitN"}) {
        EXPECT_FALSE(unitOf(job).text.contains(absent)) << absent;
    }
}

TEST(UnitText, HasTheSettingsOfTheJob)
{
    Job job = jobOf("/bin/true");
    job.restart = "on-failure";
    job.throttleInterval = 0;
    job.exitTimeOut = 0;
    job.nice = 7;
    job.umask = 027;
    job.background = true;
    job.outputPath = "/logs/%n";
    job.errorPath = "/logs/e";
    job.limits = {{.name = "NOFILE", .resource = 7, .soft = 100, .hard = 20},
                  {.name = "CORE", .resource = 4, .soft = {}, .hard = 0}};
    expectLines(job,
                {"Restart=on-failure",
                 "RestartSec=100ms",
                 "TimeoutStopSec=infinity",
                 "Nice=7",
                 "UMask=0027",
                 "CPUWeight=idle",
                 "StandardOutput=append:/logs/%%n",
                 "StandardError=append:/logs/e",
                 "LimitNOFILE=20:20",
                 "LimitCORE=0:0"});
}

TEST(UnitText, RunsAProgramWithAQuoteInItsPathByEnv)
{
    Job job = jobOf("/opt/it's here/agent");
    expectLines(job, {R"(ExecStart=":/usr/bin/env" "/opt/it's here/agent")"});
    EXPECT_TRUE(unitOf(job).warnings.empty());
    job.arguments = {"other name"};
    EXPECT_EQ(unitOf(job).warnings,
              std::vector<std::string> {unsupportedKey(label, "ProgramArguments[0]", " for this path")});
}

TEST(UnitText, WarnsAboutValuesThatSystemdDoesNotAccept)
{
    Job job = jobOf("/bin/true");
    job.environment = {{"GOOD", "1"}, {"BAD-NAME", "2"}, {"BELL", "\a"}, {"BYTES", "\xff"}};
    job.outputPath = "/a\nb";
    job.errorPath = "/a/../b";
    EXPECT_EQ(unitOf(job).warnings,
              (std::vector<std::string> {unsupportedKey(label, "StandardOutPath", " for this path"),
                                         unsupportedKey(label, "StandardErrorPath", " for this path"),
                                         unsupportedKey(label, "EnvironmentVariables.BAD-NAME"),
                                         unsupportedKey(label, "EnvironmentVariables.BELL"),
                                         unsupportedKey(label, "EnvironmentVariables.BYTES")}));
    expectLines(job, {R"(Environment="GOOD=1")"});
}

TEST(UnitText, RefusesPathsThatSystemdDoesNotAccept)
{
    const auto expectRefused = [](const Job& job, const std::string& list, const std::string& quotedPath) {
        const auto unit = UnitText::service(job, list, "/run/mark");
        ASSERT_FALSE(unit);
        EXPECT_EQ(unit.error(), "systemd does not support the path " + quotedPath + ".");
    };
    Job job = jobOf("/bin/true");
    expectRefused(job, "/a\nb", R"("/a\x0ab")");
    expectRefused(job, "/a ", R"("/a ")");
    job.workingDirectory = "/a\\";
    expectRefused(job, "/a", R"("/a\\")");
    expectRefused(jobOf("/it's a=b"), "/a", R"("/it's a=b")");
}

} // namespace
