#include "LinuxTools/Launchctl/JobParser.h"

#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "Tests/LinuxTools/Support/PropertyListText.h"

namespace
{

using namespace LinuxTools;
using TestSupport::PropertyListText;

const std::string label = "com.example.agent";

PropertyListText agent()
{
    PropertyListText list(label);
    list.texts("ProgramArguments", {"/bin/agent", "serve"});
    return list;
}

Job parsed(const PropertyListText& list)
{
    const auto job = JobParser::parse(list.xml());
    EXPECT_TRUE(job) << (job ? "" : job.error());
    return job.value_or(Job {});
}

using Warnings = std::vector<std::string>;
std::string unsupported(const std::string& key) { return unsupportedKey(label, key); }
Warnings badValue(const std::string& key)
{
    return {"The value of the key “" + key + "” of “" + label + "” is not supported."};
}

TEST(JobParser, UsesLaunchdsDefaults)
{
    const Job job = parsed(agent());
    EXPECT_EQ(job.label, label);
    EXPECT_EQ(job.program, "/bin/agent");
    EXPECT_EQ(job.arguments, (std::vector<std::string> {"/bin/agent", "serve"}));
    EXPECT_EQ(job.workingDirectory, "/");
    EXPECT_FALSE(job.runAtLoad);
    EXPECT_EQ(job.restart, "no");
    EXPECT_EQ(job.throttleInterval, 10U);
    EXPECT_EQ(job.exitTimeOut, 20U);
    EXPECT_EQ(job.startInterval, std::nullopt);
    EXPECT_EQ(job.warnings, Warnings {});
}

TEST(JobParser, ReadsBinaryPropertyLists)
{
    PropertyListText list = agent();
    list.dictionary("EnvironmentVariables", {{"A", "größe"}}).flag("RunAtLoad", true).number("StartInterval", 5);
    const auto job = JobParser::parse(list.binary());
    ASSERT_TRUE(job);
    EXPECT_EQ(job->arguments.size(), 2U);
    EXPECT_EQ(job->environment.at("A"), "größe");
    EXPECT_EQ(job->startInterval, 5U);
    EXPECT_TRUE(job->runAtLoad);
}

TEST(JobParser, RefusesAPropertyListWithoutAJob)
{
    const auto error = [](const std::string& bytes) {
        const auto job = JobParser::parse(bytes);
        return job ? "none" : job.error();
    };
    for (const char* malformed : {"", "no property list", "bplist00", "<plist><array/></plist>"}) {
        EXPECT_EQ(error(malformed), "The property list is malformed.") << malformed;
    }
    EXPECT_EQ(error("<plist><dict/></plist>"), "The property list has no label.");
    EXPECT_EQ(error(PropertyListText("").xml()), "The property list has no label.");
    EXPECT_EQ(error(PropertyListText(std::string(300, 'x')).xml()), "The label of the property list is too long.");
    EXPECT_EQ(error(PropertyListText(label).xml()), "The property list of “" + label + "” has no program.");
    EXPECT_EQ(error(PropertyListText(label).texts("ProgramArguments", {""}).xml()),
              "The property list of “" + label + "” has no program.");
    EXPECT_EQ(error(PropertyListText(label).texts("ProgramArguments", {}).xml()), badValue("ProgramArguments")[0]);
    EXPECT_EQ(error(PropertyListText(label).raw("ProgramArguments", "<array><true/></array>").xml()),
              badValue("ProgramArguments")[0]);
    EXPECT_EQ(error(agent().number("Program", 1).xml()), badValue("Program")[0]);
}

TEST(JobParser, ReadsTheProgramApartFromTheArguments)
{
    const Job job = parsed(agent().text("Program", "/opt/other"));
    EXPECT_EQ(job.program, "/opt/other");
    EXPECT_EQ(job.arguments.front(), "/bin/agent");
    EXPECT_EQ(parsed(PropertyListText(label).text("Program", "/opt/other")).arguments,
              std::vector<std::string> {"/opt/other"});
}

TEST(JobParser, MakesPathsAbsolute)
{
    PropertyListText list(label);
    list.texts("ProgramArguments", {"bin/agent"})
        .text("StandardOutPath", "out.log")
        .text("StandardErrorPath", "/var/err.log")
        .text("WorkingDirectory", "srv");
    const Job job = parsed(list);
    EXPECT_EQ(job.workingDirectory, "/srv");
    EXPECT_EQ(job.program, "/srv/bin/agent");
    EXPECT_EQ(job.arguments.front(), "bin/agent");
    EXPECT_EQ(job.outputPath, "/srv/out.log");
    EXPECT_EQ(job.errorPath, "/var/err.log");
    EXPECT_EQ(parsed(PropertyListText(label).text("Program", "no-such-program")).program, "/usr/bin/no-such-program");
}

TEST(JobParser, ReadsKeepAlive)
{
    const auto jobWith = [](const std::string& xml) { return parsed(agent().raw("KeepAlive", xml)); };
    const auto expect = [&](const std::string& xml, const std::string& restart, bool runAtLoad) {
        const Job job = jobWith(xml);
        EXPECT_EQ(job.restart, restart) << xml;
        EXPECT_EQ(job.runAtLoad, runAtLoad) << xml;
        EXPECT_EQ(job.warnings, Warnings {}) << xml;
    };
    expect("<true/>", "always", true);
    expect("<false/>", "no", false);
    expect("<dict/>", "no", false);
    expect("<dict><key>SuccessfulExit</key><false/></dict>", "on-failure", true);
    expect("<dict><key>SuccessfulExit</key><true/></dict>", "on-success", true);
    expect("<dict><key>Crashed</key><true/></dict>", "on-abnormal", false);
    expect("<dict><key>Crashed</key><true/><key>SuccessfulExit</key><false/></dict>", "on-failure", true);

    EXPECT_EQ(jobWith("<dict><key>Crashed</key><true/><key>SuccessfulExit</key><true/></dict>").warnings,
              Warnings {unsupported("KeepAlive.Crashed")});
    EXPECT_EQ(jobWith("<dict><key>PathState</key><dict/><key>Crashed</key><false/></dict>").warnings,
              (Warnings {unsupported("KeepAlive.PathState"), unsupported("KeepAlive.Crashed")}));
    EXPECT_EQ(jobWith("<integer>1</integer>").warnings, badValue("KeepAlive"));
}

TEST(JobParser, ReadsEnvironmentVariables)
{
    const Job job = parsed(agent().raw("EnvironmentVariables",
                                       "<dict><key>GOOD</key><string>1</string><key>A=B</key><string>2</string>"
                                       "<key></key><string>3</string><key>NUMBER</key><integer>4</integer></dict>"));
    EXPECT_EQ(job.environment, (std::map<std::string, std::string> {{"GOOD", "1"}}));
    EXPECT_EQ(job.warnings,
              (Warnings {unsupported("EnvironmentVariables.A=B"),
                         unsupported("EnvironmentVariables."),
                         unsupported("EnvironmentVariables.NUMBER")}));
}

TEST(JobParser, ReadsTheUmaskAsNumberOrOctalText)
{
    EXPECT_EQ(parsed(agent().number("Umask", 18)).umask, 022U);
    EXPECT_EQ(parsed(agent().text("Umask", "022")).umask, 022U);
    EXPECT_EQ(parsed(agent().text("Umask", "18")).umask, 022U);
    EXPECT_EQ(parsed(agent().text("Umask", "0")).umask, 0U);
    for (const char* wrong : {"", "u=rwx", "09", "01000", "-1", "22 "}) {
        const Job job = parsed(agent().text("Umask", wrong));
        EXPECT_EQ(job.umask, std::nullopt) << wrong;
        EXPECT_EQ(job.warnings, badValue("Umask")) << wrong;
    }
}

TEST(JobParser, ChecksNumbers)
{
    EXPECT_EQ(parsed(agent().number("Nice", -20)).nice, ::geteuid() == 0 ? std::optional(-20) : std::nullopt);
    EXPECT_EQ(parsed(agent().number("Nice", 20)).nice, 19);
    EXPECT_EQ(parsed(agent().number("Nice", 21)).warnings, badValue("Nice"));
    if (::geteuid() == 0 && ::seteuid(1) == 0) {
        EXPECT_EQ(parsed(agent().number("Nice", -1)).warnings, badValue("Nice")) << "only root may";
        EXPECT_EQ(::seteuid(0), 0);
    }
    EXPECT_EQ(parsed(agent().number("StartInterval", 0)).warnings, badValue("StartInterval"));
    EXPECT_EQ(parsed(agent().number("StartInterval", 1)).startInterval, 1U);
    EXPECT_EQ(parsed(agent().number("ThrottleInterval", 0)).throttleInterval, 0U);
    EXPECT_EQ(parsed(agent().number("ExitTimeOut", 0)).exitTimeOut, 0U);
    for (const char* wrong : {"<integer>-1</integer>",
                              "<integer>99999999999999999999</integer>",
                              "<string>5</string>",
                              "<real>5</real>",
                              "<true/>"}) {
        const Job job = parsed(agent().raw("ExitTimeOut", wrong));
        EXPECT_EQ(job.exitTimeOut, 20U) << wrong;
        EXPECT_EQ(job.warnings, badValue("ExitTimeOut")) << wrong;
    }
}

TEST(JobParser, ReadsFlagsAndTexts)
{
    EXPECT_TRUE(parsed(agent().text("ProcessType", "Background")).background);
    EXPECT_FALSE(parsed(agent().text("ProcessType", "Interactive")).background);
    EXPECT_EQ(parsed(agent().text("ProcessType", "Interactive")).warnings, Warnings {});
    EXPECT_EQ(parsed(agent().text("ProcessType", "Adaptive")).warnings, badValue("ProcessType"));
    EXPECT_EQ(parsed(agent().flag("Disabled", true)).warnings, Warnings {unsupported("Disabled")});
    EXPECT_EQ(parsed(agent().flag("Disabled", false)).warnings, Warnings {});
    EXPECT_EQ(parsed(agent().text("RunAtLoad", "yes")).warnings, badValue("RunAtLoad"));
    EXPECT_EQ(parsed(agent().text("StandardOutPath", "")).warnings, badValue("StandardOutPath"));
}

TEST(JobParser, ReadsResourceLimits)
{
    const Job job = parsed(
        agent()
            .raw("SoftResourceLimits",
                 "<dict><key>NumberOfFiles</key><integer>10</integer><key>Bogus</key><integer>1</integer></dict>")
            .raw("HardResourceLimits",
                 "<dict><key>NumberOfFiles</key><integer>20</integer><key>Core</key><string>x</string></dict>"));
    ASSERT_EQ(job.limits.size(), 1U);
    EXPECT_EQ(job.limits[0].name, "NOFILE");
    EXPECT_EQ(job.limits[0].resource, RLIMIT_NOFILE);
    EXPECT_EQ(job.limits[0].soft, 10U);
    EXPECT_EQ(job.limits[0].hard, 20U);
    EXPECT_EQ(job.warnings,
              (Warnings {unsupported("SoftResourceLimits.Bogus"), unsupported("HardResourceLimits.Core")}));
}

} // namespace
