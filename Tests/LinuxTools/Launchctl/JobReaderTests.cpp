#include "LinuxTools/Launchctl/JobReader.h"

#include <string>
#include <sys/resource.h>
#include <vector>

#include "Tests/LinuxTools/Support/PropertyListText.h"
#include "Tests/Support/Sandbox.h"

namespace
{

using namespace LinuxTools;
using TestSupport::PropertyListText;
using JobReaderFile = TestSupport::SandboxTest;

PropertyListText agent()
{
    PropertyListText list("com.example.agent");
    list.texts("ProgramArguments", {"/bin/agent", "serve"});
    return list;
}

Job jobIn(const PropertyListText& list)
{
    const auto job = JobReader::parse(list.xml());
    EXPECT_TRUE(job) << (job ? "" : job.error());
    return job.value_or(Job {});
}

std::string remark(const std::string& key, const std::string& why)
{
    return "the key “" + key + "” of “com.example.agent” " + why + " and is left out.";
}
const std::string unsuitable = "has an unsuitable value";
const std::string noCounterpart = "has no counterpart here";

TEST(JobReader, HasLaunchdsDefaults)
{
    const Job job = jobIn(agent());
    EXPECT_EQ(job.label, "com.example.agent");
    EXPECT_EQ(job.program, "/bin/agent");
    EXPECT_EQ(job.arguments, (std::vector<std::string> {"/bin/agent", "serve"}));
    EXPECT_EQ(job.workingDirectory, "/");
    EXPECT_FALSE(job.startsAtLoad);
    EXPECT_EQ(job.restart, Restart::never);
    EXPECT_EQ(job.throttleInterval, 10U);
    EXPECT_EQ(job.exitTimeOut, 20U);
    EXPECT_EQ(job.startInterval, std::nullopt);
    EXPECT_TRUE(job.remarks.empty());
}

TEST(JobReader, ReadsTheBinaryFormAlike)
{
    PropertyListText list = agent();
    list.dictionary("EnvironmentVariables", {{"A", "größe"}}).flag("RunAtLoad", true).number("StartInterval", 5);
    const auto job = JobReader::parse(list.binary());
    ASSERT_TRUE(job);
    EXPECT_EQ(job->arguments.size(), 2U);
    EXPECT_EQ(job->environment.at("A"), "größe");
    EXPECT_EQ(job->startInterval, 5U);
    EXPECT_TRUE(job->startsAtLoad);
}

TEST(JobReader, KeepsProgramAndFirstArgumentApart)
{
    PropertyListText list = agent();
    const Job job = jobIn(list.text("Program", "/opt/other"));
    EXPECT_EQ(job.program, "/opt/other");
    EXPECT_EQ(job.arguments.front(), "/bin/agent");

    const Job alone = jobIn(PropertyListText("a").text("Program", "/opt/other"));
    EXPECT_EQ(alone.arguments, std::vector<std::string> {"/opt/other"});
}

TEST(JobReader, CompletesPaths)
{
    PropertyListText list("a");
    list.texts("ProgramArguments", {"bin/agent"})
        .text("WorkingDirectory", "srv")
        .text("StandardOutPath", "out.log")
        .text("StandardErrorPath", "/var/err.log");
    const Job job = jobIn(list);
    EXPECT_EQ(job.workingDirectory, "/srv");
    EXPECT_EQ(job.program, "/srv/bin/agent");
    EXPECT_EQ(job.arguments.front(), "bin/agent");
    EXPECT_EQ(job.outputPath, "/srv/out.log");
    EXPECT_EQ(job.errorPath, "/var/err.log");
    EXPECT_TRUE(jobIn(PropertyListText("a").text("Program", "sh")).program.ends_with("bin/sh"));
    EXPECT_EQ(jobIn(PropertyListText("a").text("Program", "no-such-program-here")).program,
              "/usr/bin/no-such-program-here");
}

TEST(JobReader, TakesEveryFormOfKeepAlive)
{
    const auto jobWith = [](const std::string& xml) { return jobIn(agent().raw("KeepAlive", xml)); };
    EXPECT_EQ(jobWith("<true/>").restart, Restart::always);
    EXPECT_TRUE(jobWith("<true/>").startsAtLoad);
    EXPECT_EQ(jobWith("<false/>").restart, Restart::never);
    EXPECT_FALSE(jobWith("<false/>").startsAtLoad);
    EXPECT_EQ(jobWith("<dict><key>SuccessfulExit</key><false/></dict>").restart, Restart::onFailure);
    EXPECT_EQ(jobWith("<dict><key>SuccessfulExit</key><true/></dict>").restart, Restart::onSuccess);
    EXPECT_TRUE(jobWith("<dict><key>SuccessfulExit</key><true/></dict>").startsAtLoad);
    EXPECT_EQ(jobWith("<dict><key>Crashed</key><true/></dict>").restart, Restart::onCrash);
    EXPECT_FALSE(jobWith("<dict><key>Crashed</key><true/></dict>").startsAtLoad);
    EXPECT_EQ(jobWith("<dict/>").restart, Restart::never);

    const Job both = jobWith("<dict><key>Crashed</key><true/><key>SuccessfulExit</key><false/></dict>");
    EXPECT_EQ(both.restart, Restart::onFailure);
    EXPECT_TRUE(both.remarks.empty());

    const Job odd = jobWith("<dict><key>PathState</key><dict/><key>Crashed</key><false/></dict>");
    EXPECT_EQ(odd.remarks,
              (std::vector<std::string> {remark("KeepAlive.PathState", noCounterpart),
                                         remark("KeepAlive.Crashed", noCounterpart)}));
    EXPECT_EQ(jobWith("<integer>1</integer>").remarks, std::vector<std::string> {remark("KeepAlive", unsuitable)});
}

TEST(JobReader, ReadsAMaskAsANumberOrAsCDoes)
{
    EXPECT_EQ(jobIn(agent().number("Umask", 18)).umask, 022U);
    EXPECT_EQ(jobIn(agent().text("Umask", "022")).umask, 022U);
    EXPECT_EQ(jobIn(agent().text("Umask", "18")).umask, 022U);
    EXPECT_EQ(jobIn(agent().text("Umask", "0")).umask, 0U);
    for (const char* wrong : {"", "u=rwx", "09", "01000", "-1", "22 "}) {
        const Job job = jobIn(agent().text("Umask", wrong));
        EXPECT_EQ(job.umask, std::nullopt) << wrong;
        EXPECT_EQ(job.remarks, std::vector<std::string> {remark("Umask", unsuitable)}) << wrong;
    }
}

TEST(JobReader, TakesOnlyNumbersThatSuit)
{
    EXPECT_EQ(jobIn(agent().number("Nice", -20)).nice, -20);
    EXPECT_EQ(jobIn(agent().number("Nice", 20)).nice, 19);
    EXPECT_EQ(jobIn(agent().number("Nice", 21)).remarks, std::vector<std::string> {remark("Nice", unsuitable)});
    EXPECT_EQ(jobIn(agent().number("StartInterval", 0)).startInterval, std::nullopt);
    EXPECT_EQ(jobIn(agent().number("StartInterval", 1)).startInterval, 1U);
    EXPECT_EQ(jobIn(agent().number("ThrottleInterval", 0)).throttleInterval, 0U);
    EXPECT_EQ(jobIn(agent().number("ExitTimeOut", 0)).exitTimeOut, 0U);
    EXPECT_EQ(jobIn(agent().number("ExitTimeOut", -1)).exitTimeOut, 20U);
    EXPECT_EQ(jobIn(agent().raw("ExitTimeOut", "<integer>99999999999999999999</integer>")).remarks.size(), 1U);
    EXPECT_EQ(jobIn(agent().text("ExitTimeOut", "5")).remarks.size(), 1U);
    EXPECT_EQ(jobIn(agent().raw("ExitTimeOut", "<real>5</real>")).remarks.size(), 1U);
}

TEST(JobReader, KnowsTheKindsOfProcesses)
{
    EXPECT_TRUE(jobIn(agent().text("ProcessType", "Background")).background);
    EXPECT_FALSE(jobIn(agent().text("ProcessType", "Interactive")).background);
    EXPECT_TRUE(jobIn(agent().text("ProcessType", "Interactive")).remarks.empty());
    EXPECT_EQ(jobIn(agent().text("ProcessType", "Adaptive")).remarks.size(), 1U);
}

TEST(JobReader, JoinsSoftAndHardLimits)
{
    PropertyListText list = agent();
    list.raw("SoftResourceLimits",
             "<dict><key>NumberOfFiles</key><integer>10</integer><key>Bogus</key><integer>1</integer></dict>")
        .raw("HardResourceLimits",
             "<dict><key>NumberOfFiles</key><integer>20</integer><key>Core</key><string>x</string></dict>");
    const Job job = jobIn(list);
    ASSERT_EQ(job.limits.size(), 1U);
    EXPECT_EQ(job.limits[0].name, "NOFILE");
    EXPECT_EQ(job.limits[0].resource, RLIMIT_NOFILE);
    EXPECT_EQ(job.limits[0].soft, 10U);
    EXPECT_EQ(job.limits[0].hard, 20U);
    EXPECT_EQ(job.remarks,
              (std::vector<std::string> {remark("SoftResourceLimits.Bogus", noCounterpart),
                                         remark("HardResourceLimits.Core", "is no number")}));
}

TEST(JobReader, SaysThatAnAgentShouldBeDisabled)
{
    EXPECT_EQ(jobIn(agent().flag("Disabled", true)).remarks,
              std::vector<std::string> {remark("Disabled", noCounterpart)});
    EXPECT_TRUE(jobIn(agent().flag("Disabled", false)).remarks.empty());
}

TEST(JobReader, RefusesWhatIsDeeplyNested)
{
    std::string deep;
    for (int level = 0; level < 60000; level++) {
        deep += "<array>";
    }
    EXPECT_FALSE(JobReader::parse("<plist>" + deep));
    EXPECT_FALSE(JobReader::parse(agent().raw("Extra", deep).xml()));
}

TEST(JobReader, RefusesEveryTruncation)
{
    const std::string xml = agent().flag("RunAtLoad", true).xml();
    for (std::size_t size = 0; size + 30 < xml.size(); size++) {
        const auto job = JobReader::parse(std::string_view(xml).substr(0, size));
        EXPECT_TRUE(job || job.error().ends_with(".")) << size;
    }
    const std::string binary = agent().binary();
    for (std::size_t size = 0; size < binary.size(); size++) {
        EXPECT_FALSE(JobReader::parse(std::string_view(binary).substr(0, size))) << size;
    }
}

TEST_F(JobReaderFile, TellsWhyAFileCannotBeRead)
{
    EXPECT_EQ(JobReader::readBytes(home() / "none").error(), "The file “none” doesn’t exist.");
    TestSupport::write(home() / "large", std::string((1 << 20) + 1, ' '));
    EXPECT_EQ(JobReader::readBytes(home() / "large").error(),
              "The file “large” couldn’t be opened because it is too large.");
    EXPECT_FALSE(JobReader::readBytes(home()));
    TestSupport::write(home() / "file", "bytes");
    EXPECT_EQ(JobReader::readBytes(home() / "file"), "bytes");
}

} // namespace
