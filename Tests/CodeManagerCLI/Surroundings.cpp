#include "Tests/CodeManagerCLI/Surroundings.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>

#include <gmock/gmock.h>

using TestSupport::makeLink;
using TestSupport::write;

namespace
{

namespace fs = std::filesystem;
namespace Proc = ManagerCore::Proc;

constexpr const char* marker = "marker-of-the-sample-5b1f";

constexpr const char* descriptor = R"(
name = "sample"
display = "Sample"
bundle_prefix = "com.example."
binaries = ["~/.sample/bin/sample"]
config_dirs = ["~/.sample", "~/süß 漢字"]
model_paths = ["~/.sample/models/Echo-7B-4bit"]
model_locations = ["~/from", "~/to"]
identity_marker = "marker-of-the-sample-5b1f"
sweep_names = ["stray"]
sweep_dirs = ["~/strays"]
defaults_path = "~/.sample/defaults.yaml"
launch_agent = "com.example.sample-agent"
server_port = "8088"
)";

std::string joined(const std::vector<std::string>& words)
{
    std::string line;
    for (const std::string& word : words) {
        line += " " + word;
    }
    return line;
}

std::string replaced(std::string text, const std::string& what, const std::string& by)
{
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
    return text;
}

// Times that clocks without a battery and careless archives leave behind: the first second of all, one before it, and
// one far ahead.
void setTimes(const fs::path& file, std::time_t seconds)
{
    const timespec time {.tv_sec = seconds, .tv_nsec = 0};
    const timespec times[2] {time, time}; // NOLINT(modernize-avoid-c-arrays): as the system takes them
    ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
}

} // namespace

SurroundingsTest::SurroundingsTest()
{
    write(scratch() / "surroundings.toml", descriptor);
    makeStore();
    makeStrays();
}

SurroundingsTest::Surroundings SurroundingsTest::usual() const
{
    Surroundings surroundings {.environment = environment(), .before = {}};
    surroundings.environment["CM_IDENTITY_TOML"] = scratch() / "surroundings.toml";
    surroundings.environment["ZYN_CRUCIBLE_LOCAL"] = "~/from";
    surroundings.environment["ZYN_CRUCIBLE_ROOT"] = "~/to";
    return surroundings;
}

SurroundingsTest::Out SurroundingsTest::run(const Words& words, const Surroundings& surroundings) const
{
    Words all = surroundings.before;
    all.push_back(program());
    all.insert(all.end(), words.begin(), words.end());
    return Proc::run(all.front(), Words(all.begin() + 1, all.end()), home(), surroundings.environment);
}

std::string SurroundingsTest::answers(const Surroundings& surroundings, const std::string& home) const
{
    std::string told;
    for (const Words& words : std::vector<Words> {{"status"},
                                                  {"scan"},
                                                  {"size", "from", "süß 漢字"},
                                                  {"model", "show"},
                                                  {"crucible", "check"},
                                                  {"crucible", "backup"},
                                                  {"trash", "--dry-run", "süß 漢字"}}) {
        const Out out = run(words, surroundings);
        told += "$" + joined(words) + "\n" + out.stdout + out.stderr + "exit " + std::to_string(out.code) + "\n";
    }
    return replaced(told, home, "HOME");
}

std::vector<SurroundingsTest::Change> SurroundingsTest::changes()
{
    return {
        {.words = {"crucible", "move", "from/models/größe 漢字", "--from", "from", "--to", "to"}, .done = "Moved ("},
        {.words = {"crucible", "repair"}, .done = "repaired:\n"},
        {.words = {"crucible", "backup", "--output", "from/backup"}, .done = "Written to "},
        {.words = {"crucible", "restore", "links.toml"}, .done = "restored:\n"},
        {.words = {"trash", "süß 漢字", "strays/stray"}, .done = "Moved to Trash:\n"},
    };
}

void SurroundingsTest::makeNode() const
{
    write(node() / "config.json", "{}\n");
    write(node() / "weights", std::string(300'000, 'w'));
    write(node() / "deep/er/weights", std::string(5000, 'v'));
    makeLink(node() / "link", "weights");
    setTimes(node() / "config.json", 0);
    setTimes(node() / "weights", -86400);
    setTimes(node() / "deep/er/weights", 4'102'444'800);
}

// More folders than one thread walks alone.
void SurroundingsTest::makeStore() const
{
    for (int model = 0; model < 30; model++) {
        const fs::path folder = home() / "from/models" / ("m" + std::to_string(model));
        write(folder / "3_final/weights", std::string(static_cast<std::size_t>(model) * 700, 'w'));
        makeLink(folder / "current", "3_final");
    }
    makeNode();
    makeLink(home() / "from/models/lost", "/gone/lost");
    write(home() / "to/models/lost/weights", "found again");
    write(home() / "links.toml",
          "link = \"" + (home() / "from/models/m0/current").string() + "\"\ntarget = \""
              + (home() / "from/models/m1/3_final").string() + "\"\n");
}

void SurroundingsTest::makeStrays() const
{
    write(home() / "süß 漢字/file", std::string(10'000, 'g'));
    write(home() / "Library/Caches/com.example.cache/data", std::string(100, 'c'));
    write(home() / "strays/stray", std::string("#!/bin/sh\n# ") + marker + "\n");
}

void expectSentence(const std::string& text)
{
    EXPECT_THAT(text, testing::EndsWith(".\n"));
    EXPECT_EQ(text.find("terminate"), std::string::npos) << text;
}

void expectDoneOrSentence(const Proc::Out& out)
{
    SCOPED_TRACE(std::to_string(out.code) + " " + out.stdout + out.stderr);
    EXPECT_TRUE(out.code == 0 || out.code == 1);
    if (out.code == 0) {
        EXPECT_NE(out.stdout, "");
    } else {
        expectSentence(out.stderr);
    }
}
