// Each file of Golden is a command line and what it must come to, to the letter. UPDATE_GOLDEN=1 rewrites them.
//
//   # what the case shows
//   --- system     (optional) the one system that it holds for: linux or macos
//   --- setup      (optional) shell lines that must succeed
//   --- command    shell lines, run by bash in the home
//   --- exit
//   --- stdout
//   --- stderr
//
// "$HOME" and "$SCRATCH" in the outputs stand for the test's folders.

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ManagerCore/Foundation/Proc.h"
#include "ManagerCore/Foundation/Text.h"
#include "Tests/CodeManagerCLI/Installation.h"

namespace
{

namespace fs = std::filesystem;
namespace Proc = ManagerCore::Proc;

#ifdef __APPLE__
constexpr const char* thisSystem = "macos\n";
#else
constexpr const char* thisSystem = "linux\n";
#endif

// The sections by name; what stands above the first is under "".
using Case = std::map<std::string, std::string>;

Case readCase(const fs::path& file)
{
    Case sections;
    std::ifstream stream(file);
    std::string* current = &sections[""];
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with("--- ")) {
            current = &sections[line.substr(4)];
        } else {
            *current += line + "\n";
        }
    }
    return sections;
}

std::string section(const Case& sections, const std::string& name)
{
    const auto found = sections.find(name);
    return found == sections.end() ? std::string() : found->second;
}

void writeCase(const fs::path& file, const Case& sections)
{
    std::ofstream stream(file, std::ios::trunc);
    stream << sections.at("");
    for (const char* name : {"system", "setup", "command", "exit", "stdout", "stderr"}) {
        if (sections.contains(name)) {
            stream << "--- " << name << "\n" << sections.at(name);
        }
    }
}

std::string replaced(std::string text, const std::string& what, const std::string& by)
{
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
    return text;
}

std::vector<std::string> caseNames()
{
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(GOLDEN_FOLDER)) {
        names.push_back(entry.path().stem().string());
    }
    std::ranges::sort(names);
    return names;
}

class GoldenTest : public InstallationTest, public ::testing::WithParamInterface<std::string>
{
protected:
    [[nodiscard]] Proc::Out bash(const std::string& script) const
    {
        return Proc::run("/bin/bash", {"-c", "exec </dev/null\n" + script}, home(), environment());
    }

    [[nodiscard]] std::string portable(const std::string& text) const
    {
        const std::string plain = replaced(replaced(text, home(), "$HOME"), scratch(), "$SCRATCH");
        return plain.empty() || plain.ends_with('\n') ? plain : plain + "\n(no line feed at the end)\n";
    }
};

TEST_P(GoldenTest, CommandLineComesToWhatTheFileSays)
{
    const fs::path file = fs::path(GOLDEN_FOLDER) / (GetParam() + ".txt");
    const Case expected = readCase(file);
    if (expected.contains("system") && expected.at("system") != thisSystem) {
        GTEST_SKIP() << "holds for " << expected.at("system");
    }
    const Proc::Out setup = bash("set -e\n" + section(expected, "setup"));
    ASSERT_TRUE(setup.ok()) << setup.stderr;

    const Proc::Out out = bash(expected.at("command"));

    Case actual = expected;
    actual["exit"] = std::to_string(out.code) + "\n";
    actual["stdout"] = portable(out.stdout);
    actual["stderr"] = portable(out.stderr);
    if (std::getenv("UPDATE_GOLDEN") != nullptr) {
        writeCase(file, actual);
        return;
    }
    EXPECT_EQ(section(actual, "exit"), section(expected, "exit"));
    EXPECT_EQ(section(actual, "stdout"), section(expected, "stdout"));
    EXPECT_EQ(section(actual, "stderr"), section(expected, "stderr"));
}

INSTANTIATE_TEST_SUITE_P(Golden, GoldenTest, ::testing::ValuesIn(caseNames()), [](const auto& info) {
    return replaced(info.param, "-", "_");
});

} // namespace
