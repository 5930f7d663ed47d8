// The shipped program in surroundings that nobody would wish it: what does not matter must not change an answer, and
// what does must end in a sentence, with nothing lost.

#include <algorithm>
#include <functional>
#include <string>

#include <gmock/gmock.h>
#include <pwd.h>
#include <unistd.h>

#include "Tests/CodeManagerCLI/Surroundings.h"
#include "Tests/ManagerCore/Crucible/SampleTree.h"

using testing::AnyOf;
using testing::HasSubstr;
using TestSupport::makeLink;
using TestSupport::read;
using TestSupport::write;

namespace
{

namespace fs = std::filesystem;
namespace Proc = ManagerCore::Proc;

// ---- what does not matter ----

struct Variant {
    const char* name;
    std::function<void(std::map<std::string, std::string>& environment, const fs::path& scratch)> vary;
    std::vector<std::string> before = {};
};

// A path of as many folders, which exist.
std::string manyFolders(const fs::path& scratch, int count)
{
    std::string path;
    for (int folder = 0; folder < count; folder++) {
        const fs::path place = scratch / "path" / std::to_string(folder);
        fs::create_directories(place);
        path += place.string() + ":";
    }
    return path;
}

// As long as the system lets a variable be: 128 KiB with its name and the zero byte at its end.
std::string longestPath(const fs::path& scratch)
{
    constexpr std::size_t longest = (std::size_t {128} << 10U) - sizeof "PATH=";
    std::string path;
    while (path.size() < longest) {
        path += scratch.string() + "/" + std::to_string(path.size()) + ":";
    }
    return path.substr(0, longest);
}

// A locale of eight bits, made for the occasion where the system has what it takes.
bool makeEightBitLocale(const fs::path& scratch)
{
    fs::create_directories(scratch / "locales");
    return Proc::run("/usr/bin/localedef",
                     {"-c", "-i", "de_DE", "-f", "ISO-8859-1", scratch / "locales/de_DE.ISO-8859-1"})
        .ok();
}

const std::vector<std::string> fewDescriptors {"/bin/bash", "-c", "ulimit -n 32; exec \"$0\" \"$@\""};

std::vector<Variant> variants()
{
    return {
        {.name = "NoTemporaryFolder", .vary = [](auto& environment, const auto&) { environment.erase("TMPDIR"); }},
        {.name = "MissingTemporaryFolder",
         .vary = [](auto& environment, const auto& scratch) { environment["TMPDIR"] = scratch / "nowhere"; }},
        {.name = "NoPath", .vary = [](auto& environment, const auto&) { environment.erase("PATH"); }},
        {.name = "EmptyPath", .vary = [](auto& environment, const auto&) { environment["PATH"] = ""; }},
        {.name = "PathOf200Folders",
         .vary = [](auto& environment, const auto& scratch) { environment["PATH"] = manyFolders(scratch, 200); }},
        {.name = "LongestPath",
         .vary = [](auto& environment, const auto& scratch) { environment["PATH"] = longestPath(scratch); }},
        {.name = "OddPath",
         .vary
         = [](auto& environment, const auto&) { environment["PATH"] = "::.:../..:bin:/dev/null:~:\xFF:/usr/bin:"; }},
        {.name = "PlainLocale", .vary = [](auto& environment, const auto&) { environment["LC_ALL"] = "C"; }},
        {.name = "UnknownLocale",
         .vary = [](auto& environment, const auto&) { environment["LC_ALL"] = "xx_XX.KOI8-R"; }},
        {.name = "EightBitLocale",
         .vary =
             [](auto& environment, const auto& scratch) {
                 environment["LOCPATH"] = scratch / "locales";
                 environment["LC_ALL"] = "de_DE.ISO-8859-1";
             }},
        {.name = "FewDescriptors", .vary = [](auto&, const auto&) {}, .before = fewDescriptors},
    };
}

void PrintTo(const Variant& variant, std::ostream* stream) { *stream << variant.name; }

class WhatDoesNotMatter : public SurroundingsTest, public ::testing::WithParamInterface<Variant>
{
};

TEST_P(WhatDoesNotMatter, ChangesNoAnswerAndHindersNoChange)
{
    if (GetParam().name == std::string("EightBitLocale") && !makeEightBitLocale(scratch())) {
        GTEST_SKIP() << "this system cannot make a locale";
    }
    Surroundings varied = usual();
    GetParam().vary(varied.environment, scratch());
    varied.before = GetParam().before;
    EXPECT_EQ(answers(varied), answers(usual()));

    const auto weights = SampleTree::contents(node());
    for (const Change& change : changes()) {
        const Out out = run(change.words, varied);
        SCOPED_TRACE(change.words[1] + ": " + std::to_string(out.code) + " " + out.stdout + out.stderr);
        EXPECT_TRUE(out.ok());
        EXPECT_THAT(out.stdout, HasSubstr(change.done));
        EXPECT_EQ(out.stderr, "");
    }
    EXPECT_EQ(fs::read_symlink(node()), copy());
    EXPECT_EQ(SampleTree::contents(copy()), weights);
    EXPECT_EQ(read(home() / "from/models/lost/weights"), "found again");
    EXPECT_EQ(fs::read_symlink(home() / "from/models/m0/current"), home() / "from/models/m1/3_final");
    EXPECT_EQ(read(trash() / "süß 漢字/file"), std::string(10'000, 'g'));
}

INSTANTIATE_TEST_SUITE_P(Surroundings, WhatDoesNotMatter, ::testing::ValuesIn(variants()), [](const auto& info) {
    return std::string(info.param.name);
});

TEST_F(SurroundingsTest, ScriptsRunWithoutASearchPath)
{
    write(home() / "project/build.command", "echo \"built in ${HOME##*/}\"\n");
    Surroundings varied = usual();
    varied.environment.erase("PATH");
    const Out out = run({"install", "cli", "--project", "project"}, varied);
    EXPECT_THAT(out.stdout, HasSubstr("built in home\n")) << out.stderr;
    EXPECT_TRUE(out.ok());
}

// Too few for what runs at once; a desktop starts its applications so.
TEST_F(SurroundingsTest, ALowLimitOfOpenFilesIsRaisedAndScriptsInheritThat)
{
    write(home() / "project/build.command", "echo \"$(ulimit -Sn) files\"\n");
    Surroundings varied = usual();
    varied.before = {"/bin/bash", "-c", "ulimit -Sn 256; exec \"$0\" \"$@\""};
    EXPECT_THAT(run({"install", "cli", "--project", "project"}, varied).stdout, HasSubstr("1024 files\n"));
    varied.before = {"/bin/bash", "-c", "ulimit -Sn 3000; exec \"$0\" \"$@\""};
    EXPECT_THAT(run({"install", "cli", "--project", "project"}, varied).stdout, HasSubstr("3000 files\n"));
}

TEST_F(SurroundingsTest, WhatIsTooLongToHandOnIsToldAsThat)
{
    write(home() / "project/build.command", "echo built\n");
    Surroundings varied = usual();
    varied.environment["PATH"] = longestPath(scratch());
    expectDoneOrSentence(run({"install", "cli", "--project", "project"}, varied));
}

// ---- homes ----

// Runs what follows with the folder `$1` standing at `$2` as well, for nobody else.
std::vector<std::string> withMount(const std::string& script, const std::vector<std::string>& operands)
{
    std::vector<std::string> words {"/usr/bin/unshare", "--mount", "--propagation", "private", "/bin/sh", "-e", "-c"};
    words.push_back(script);
    words.emplace_back("sh");
    words.insert(words.end(), operands.begin(), operands.end());
    return words;
}

TEST_F(SurroundingsTest, WithoutAHomeItIsTheUsersOwn)
{
    if (!TestSupport::isRoot()) {
        GTEST_SKIP() << "standing in for the user’s own home takes root";
    }
    const passwd* user = ::getpwuid(::getuid());
    ASSERT_NE(user, nullptr);
    const std::string own = user->pw_dir;
    Surroundings without = usual();
    without.environment.erase("HOME");
    without.before = withMount(R"(mount --bind "$1" "$2"; cd "$2"; shift 2; exec "$@")", {home(), own});
    EXPECT_EQ(answers(without, own), answers(usual()));
    without.environment["HOME"] = "";
    EXPECT_EQ(answers(without, own), answers(usual()));
    const Out out = run({"trash", "süß 漢字"}, without); // with the empty one
    EXPECT_EQ(out.stdout, "Moved to Trash:\n" + own + "/süß 漢字\n") << out.stderr;
    EXPECT_EQ(read(trash() / "süß 漢字/file"), std::string(10'000, 'g'));
}

TEST_F(SurroundingsTest, AHomeThatIsALinkIsAsGoodAsAnother)
{
    const fs::path link = scratch() / "home of a link";
    makeLink(link, home());
    Surroundings linked = usual();
    linked.environment["HOME"] = link;
    linked.before = {"/usr/bin/env", "-C", link};
    const auto asLinked = [&link](std::string text, const std::string& real) {
        for (auto at = text.find(real); at != std::string::npos; at = text.find(real)) {
            text.replace(at, real.size(), "HOME");
        }
        return text;
    };
    EXPECT_EQ(asLinked(answers(linked, link), home()), answers(usual()));
    const Out out = run({"trash", link / "süß 漢字"}, linked);
    EXPECT_TRUE(out.ok()) << out.stderr;
    EXPECT_EQ(read(trash() / "süß 漢字/file"), std::string(10'000, 'g'));
    EXPECT_TRUE(fs::is_symlink(link));
}

// Nothing is where the home should be, or something that is no folder.
class NoHome : public SurroundingsTest, public ::testing::WithParamInterface<const char*>
{
};

TEST_P(NoHome, EveryCommandAnswersAndNothingIsLost)
{
    const fs::path place = scratch() / GetParam();
    write(scratch() / "file", "no folder");
    makeLink(scratch() / "loop", scratch() / "loop");
    Surroundings without = usual();
    without.environment["HOME"] = place;
    for (const Words& words : std::vector<Words> {{"status"},
                                                  {"scan"},
                                                  {"model", "show"},
                                                  {"crucible", "show"},
                                                  {"crucible", "check"},
                                                  {"crucible", "backup"},
                                                  {"database", "list"}}) {
        const Out out = run(words, without);
        EXPECT_EQ(out.code, 0) << words.front() << " " << out.stdout << out.stderr;
    }
    for (const Words& words : std::vector<Words> {{"service", "start"},
                                                  {"seed"},
                                                  {"model", "install"},
                                                  {"model", "uninstall"},
                                                  {"crucible", "set-root", "from"},
                                                  {"crucible", "serve", "~/to"}}) {
        const Out out = run(words, without);
        EXPECT_EQ(out.code, 1) << words.front() << " " << out.stdout;
        EXPECT_NE(out.stderr, "") << words.front();
    }
    const Out out = run({"trash", "süß 漢字"}, without);
    EXPECT_EQ(out.code, 1);
    EXPECT_THAT(out.stderr,
                testing::StartsWith("Remove failed: “süß 漢字” couldn’t be moved to the trash because the folder “"
                                    + place.string() + "/.local/share/Trash” couldn’t be made or opened ("));
    EXPECT_TRUE(fs::exists(home() / "süß 漢字/file"));
    std::error_code error;
    EXPECT_FALSE(fs::is_directory(place, error)) << "may only be away for now";
    EXPECT_EQ(read(scratch() / "file"), "no folder");
}

INSTANTIATE_TEST_SUITE_P(Surroundings,
                         NoHome,
                         ::testing::Values("nowhere/at/all", "file", "loop"),
                         [](const auto& info) {
                             return std::string(info.param).substr(0, std::string(info.param).find('/'));
                         });

// What is told of a link that could not be moved away to make room for another.
constexpr const char* linkStays = "because a file with the same name already exists.";

TEST_F(SurroundingsTest, InAHomeThatCannotBeWrittenToNothingChanges)
{
    if (!TestSupport::isRoot()) {
        GTEST_SKIP() << "making a home that nobody can write to takes root";
    }
    Surroundings readOnly = usual();
    readOnly.before
        = withMount(R"(mount --bind "$1" "$1"; mount -o remount,bind,ro "$1"; cd "$1"; shift; exec "$@")", {home()});
    EXPECT_EQ(answers(readOnly), answers(usual()));
    const auto before = SampleTree::contents(home());
    for (const Change& change : changes()) {
        const Out out = run(change.words, readOnly);
        SCOPED_TRACE(change.words[1] + ": " + out.stdout + out.stderr);
        EXPECT_EQ(out.code, 1);
        EXPECT_EQ(out.stdout, "");
        EXPECT_THAT(out.stderr, AnyOf(HasSubstr("because the volume is read only."), HasSubstr(linkStays)));
        expectSentence(out.stderr);
    }
    EXPECT_EQ(SampleTree::contents(home()), before);
}

TEST_F(SurroundingsTest, OnAFullDriveNothingIsLostAndWithRoomAgainAllIsDone)
{
    const TestSupport::MountedVolume drive(scratch() / "drive", "tmpfs", 4);
    if (!drive.mounted()) {
        GTEST_SKIP() << "a drive to fill takes root";
    }
    const fs::path place = drive.path() / "home";
    ASSERT_TRUE(Proc::run("/bin/cp", {"-a", home(), place}).ok());
    ASSERT_TRUE(
        Proc::run("/bin/sed", {"-i", "s|" + home().string() + "|" + place.string() + "|g", place / "links.toml"}).ok());
    Surroundings full = usual();
    full.environment["HOME"] = place;
    full.before = {"/usr/bin/env", "-C", place};
    Proc::run("/bin/dd", {"if=/dev/zero", "of=" + (drive.path() / "filling").string(), "bs=4096"});
    ASSERT_EQ(fs::space(place).available, 0U);
    EXPECT_EQ(answers(full, place), answers(usual()));

    const fs::path moved = place / fs::relative(node(), home());
    const auto weights = SampleTree::contents(node());
    std::vector<Change> refused;
    for (const Change& change : changes()) {
        const Out out = run(change.words, full);
        SCOPED_TRACE(change.words[1]);
        expectDoneOrSentence(out);
        if (!out.ok()) {
            EXPECT_THAT(out.stderr, AnyOf(HasSubstr("because the volume is full."), HasSubstr(linkStays)));
            refused.push_back(change);
        }
    }
    EXPECT_FALSE(refused.empty());
    EXPECT_EQ(SampleTree::contents(moved), weights);
    EXPECT_EQ(read(place / "süß 漢字/file"), std::string(10'000, 'g'));

    fs::remove(drive.path() / "filling");
    for (const Change& change : refused) {
        const Out out = run(change.words, full);
        EXPECT_TRUE(out.ok()) << change.words[1] << ": " << out.stderr;
    }
    EXPECT_EQ(SampleTree::contents(place / fs::relative(copy(), home())), weights);
}

} // namespace
