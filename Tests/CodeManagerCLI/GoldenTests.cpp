// Each case in the files of Golden is a test of command lines and their exact output:
//
//   === setup NAME
//   shell lines
//
//   === CASE (SETUP...): description
//   < further shell lines for the setup
//   $ shell lines, run by bash in the home
//   standard output
//   2> standard error
//   [exit status, if not 0 or if nothing was printed]
//
// A case may have several commands. They run in the same home, each with the exported variables of the setups. As a
// setup, "linux" or "macos" restricts a case to that system. "$HOME" and "$SCRATCH" in the output are the test's
// folders. A backslash precedes lines of output that would be read as something else. UPDATE_GOLDEN=1 writes the actual
// output.

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>

#include <gtest/gtest.h>

#include "ManagerCore/Foundation/Proc.h"
#include "ManagerCore/Platform/UniqueFd.h"
#include "Tests/CodeManagerCLI/Installation.h"

namespace
{

namespace fs = std::filesystem;
namespace Proc = ManagerCore::Proc;

#ifdef __APPLE__
constexpr std::string_view thisSystem = "macos", otherSystem = "linux";
#else
constexpr std::string_view thisSystem = "linux", otherSystem = "macos";
#endif

struct Step {
    std::string command;
    std::string output; // in the form of the file
};

struct Case {
    std::string header;
    std::string name; // "setup NAME" for a setup
    std::vector<std::string> setups;
    std::string setup;
    std::vector<Step> steps;
};

bool isSetup(const Case& item) { return item.name.starts_with("setup "); }

Case parseHeader(const std::string& line)
{
    static const std::regex form(R"(=== (setup [^ ]+|[^ :]+)(?: \(([^)]*)\))?(?:: .*)?)");
    std::smatch match;
    if (!std::regex_match(line, match, form)) {
        return {.header = line, .name = "invalid_header", .setups = {line}}; // a setup that does not exist
    }
    Case item {.header = line, .name = match[1]};
    std::istringstream words(match[2]);
    for (std::string word; words >> word;) {
        item.setups.push_back(word);
    }
    return item;
}

void parseLine(Case& item, const std::string& line)
{
    if (isSetup(item)) {
        item.setup += line + "\n";
    } else if (line.starts_with("< ")) {
        item.setup += line.substr(2) + "\n";
    } else if (line.starts_with("$ ")) {
        if (item.steps.empty() || !item.steps.back().output.empty()) {
            item.steps.emplace_back();
        }
        item.steps.back().command += line.substr(2) + "\n";
    } else if (!item.steps.empty()) {
        item.steps.back().output += line + "\n";
    }
}

std::vector<Case> readCases(const fs::path& file)
{
    std::vector<Case> cases;
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with("=== ")) {
            cases.push_back(parseHeader(line));
        } else if (!cases.empty() && !line.empty()) {
            parseLine(cases.back(), line);
        }
    }
    return cases;
}

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string prefixLines(const std::string& text, std::string_view prefix)
{
    std::string lines;
    for (const std::string& line : linesOf(text)) {
        lines.append(prefix).append(line).append("\n");
    }
    return lines;
}

std::string format(const Case& item)
{
    std::string text = item.header + "\n" + (isSetup(item) ? item.setup : prefixLines(item.setup, "< "));
    for (const Step& step : item.steps) {
        text += prefixLines(step.command, "$ ") + step.output;
    }
    return text;
}

std::string escape(const std::string& output)
{
    static const std::regex reserved(R"((\$ |< |2>|\[\d+\]$|=== |\\|$))");
    std::string lines;
    for (const std::string& line : linesOf(output)) {
        const bool escaped = std::regex_search(line, reserved, std::regex_constants::match_continuous);
        lines.append(escaped ? "\\" : "").append(line).append("\n");
    }
    return lines;
}

std::string replaceAll(std::string text, const std::string& what, const std::string& by)
{
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
    return text;
}

std::string exportsOf(const std::string& setup)
{
    std::string lines;
    for (const std::string& line : linesOf(setup)) {
        lines += line.starts_with("export ") ? line + "\n" : "";
    }
    return lines;
}

class GoldenTest : public InstallationTest
{
public:
    GoldenTest(fs::path file, std::string name)
        : file_(std::move(file))
        , name_(std::move(name))
    {
    }

private:
    void TestBody() override
    {
        const std::vector<Case> cases = readCases(file_);
        Case actual = find(cases, name_);
        std::string setup;
        for (const std::string& name : actual.setups) {
            if (name == otherSystem) {
                GTEST_SKIP() << "only for " << name;
            }
            setup += name == thisSystem ? "" : find(cases, "setup " + name).setup;
        }
        setup += actual.setup;
        const Proc::Out prepared = bash("set -e\n" + setup);
        ASSERT_TRUE(prepared.ok()) << prepared.stderr;
        ASSERT_FALSE(actual.steps.empty()) << "The case has no command.";
        for (Step& step : actual.steps) {
            const std::string output = outputOf(bash(exportsOf(setup) + step.command));
            if (std::getenv("UPDATE_GOLDEN") == nullptr) {
                EXPECT_EQ(output, step.output) << "of: " << step.command;
            }
            step.output = output;
        }
        if (std::getenv("UPDATE_GOLDEN") != nullptr) {
            update(actual);
        }
    }

    [[nodiscard]] static Case find(const std::vector<Case>& cases, const std::string& name)
    {
        EXPECT_EQ(std::ranges::count(cases, name, &Case::name), 1) << name;
        const auto found = std::ranges::find(cases, name, &Case::name);
        return found == cases.end() ? Case() : *found;
    }

    [[nodiscard]] Proc::Out bash(const std::string& script) const
    {
        return Proc::run("/bin/bash", {"-c", "exec </dev/null\n" + script}, home(), environment());
    }

    [[nodiscard]] std::string portable(const std::string& text) const
    {
        const std::string plain = replaceAll(replaceAll(text, home(), "$HOME"), scratch(), "$SCRATCH");
        return plain.empty() || plain.ends_with('\n') ? plain : plain + "\n(no line feed at the end)\n";
    }

    [[nodiscard]] std::string outputOf(const Proc::Out& out) const
    {
        std::string text = escape(portable(out.stdout)) + prefixLines(portable(out.stderr), "2> ");
        if (out.code != 0 || text.empty()) {
            text += "[" + std::to_string(out.code) + "]\n";
        }
        return text;
    }

    // Tests that run in parallel change the same file: each changes its own case under a lock.
    void update(const Case& changed) const
    {
        const ManagerCore::Platform::UniqueFd lock(::open(GOLDEN_FOLDER, O_RDONLY | O_CLOEXEC));
        ASSERT_EQ(::flock(lock.get(), LOCK_EX), 0);
        const fs::path temporary = file_.string() + ".new";
        std::ofstream stream(temporary);
        std::string separator;
        for (const Case& item : readCases(file_)) {
            stream << separator << format(item.name == name_ ? changed : item);
            separator = "\n";
        }
        stream.close();
        fs::rename(temporary, file_);
    }

    fs::path file_;
    std::string name_;
};

// Registered as Golden.FILE.CASE.
bool registerCases()
{
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(GOLDEN_FOLDER)) {
        if (entry.path().extension() == ".txt") {
            files.push_back(entry.path());
        }
    }
    std::ranges::sort(files);
    for (const fs::path& file : files) {
        for (const Case& item : readCases(file)) {
            if (!isSetup(item)) {
                const auto make = [file, name = item.name] { return new GoldenTest(file, name); };
                ::testing::RegisterTest(("Golden." + file.stem().string()).c_str(),
                                        item.name.c_str(),
                                        nullptr,
                                        nullptr,
                                        __FILE__,
                                        __LINE__,
                                        make);
            }
        }
    }
    return true;
}

[[maybe_unused]] const bool registered = registerCases();

} // namespace
