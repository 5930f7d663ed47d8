#include "Tests/ManagerCore/Doctor/DoctorTest.h"

#include <algorithm>
#include <map>
#include <sys/stat.h>

#include "Tests/Support/Permissions.h"

namespace fs = std::filesystem;
using namespace ManagerCore::Doctor;
using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::makeExecutable;
using TestSupport::makeLink;
using TestSupport::write;

namespace
{

constexpr const char* description = R"([identity]
name = "zyn"
display = "Zyn"
bundle_prefix = "com.zyn."
editor_extension_id = "zyn-labs.zyn-code"
identity_marker = "marker"
app_paths = ["/Applications/Zyn.app"]
binaries = [
    "~/bin/zyn", # the first that exists
    "~/opt/zyn",
]
config_dirs = ["~/.zyn"]
sweep_names = ["zyn"]
sweep_dirs = ["~/bin"]
model_display = "Vantor"
model_paths = ["~/models/Vantor"]
model_locations = ["~/crucible"]
defaults_path = "~/defaults.yaml"
launch_agent = "com.zyn.test"
server_bin = "~/bin/server"
server_port = "8080"
server_log = "~/server.log"
model_served = "~/served"
)";

std::string replaced(std::string text, const std::string& what, const std::string& by)
{
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
    return text;
}

} // namespace

DoctorTest::DoctorTest()
{
    write(descriptor(), description);
    makeExecutable(home() / "bin/zyn", "#!/bin/sh\necho zyn 1\n");
    makeExecutable(home() / "bin/server", "#!/bin/sh\n");
    writeAgent("com.zyn.test",
               "<key>ProgramArguments</key><array><string>" + (home() / "bin/server").string() + "</string></array>");
    write(home() / "store/models/vantor/weights", "w");
    makeLink(home() / "store/models/alias", home() / "store/models/vantor");
    makeLink(home() / "crucible", home() / "store");
    makeLink(home() / "served", home() / "store/models/vantor");
    for (const char* const script : {"zyn-v8/build.command",
                                     "zyn-v8/desktop/build.command",
                                     "mlx-vantor/build.command",
                                     "install-models/install-one-model.command",
                                     "install-models/uninstall-model.command"}) {
        makeExecutable(work() / script, "#!/bin/bash\n");
    }
    write(work() / "install-models/catalog/org/one/model.toml", "release = \"yes\"\nrepo = \"org/One\"\n");
    write(databases() / "a.toml", "id = \"a\"\nname = \"A\"\nsource = \"~/sources/a\"\ndest = \"~/installed/a\"\n");
    write(home() / "sources/a", "a");
    write(home() / "installed/a", "a");
}

Subject DoctorTest::subject() const
{
    return {.descriptor = descriptor(),
            .identity = ManagerCore::Identity::load(descriptor()).value_or(ManagerCore::Identity::empty),
            .actions = ManagerCore::ManagerActions::load(descriptor()),
            .projectDir = projectDir_};
}

std::vector<Finding> DoctorTest::examine() const { return ManagerCore::Doctor::examine(subject()); }

std::vector<std::string> DoctorTest::said(const std::string& check) const
{
    std::vector<std::string> found;
    for (const Finding& finding : examine()) {
        if (finding.check == check) {
            found.push_back(std::string(word(finding.state)) + ": " + plain(finding.message));
        }
    }
    return found;
}

std::string DoctorTest::plain(std::string message) const
{
    return replaced(replaced(std::move(message), work().string(), "work"), home().string(), "~");
}

fs::path DoctorTest::agent() const { return home() / "Library/LaunchAgents/com.zyn.test.plist"; }

void DoctorTest::redescribe(const std::string& part, const std::string& by) const
{
    const std::string before = TestSupport::read(descriptor());
    ASSERT_NE(before.find(part), std::string::npos) << part;
    write(descriptor(), replaced(before, part, by));
}

void DoctorTest::writeAgent(const std::string& label, const std::string& entries) const
{
    write(agent(),
          "<plist version=\"1.0\"><dict><key>Label</key><string>" + label + "</string>" + entries + "</dict></plist>");
}

namespace
{

// Every entry below a folder with the time of its last change, to see that nothing was touched.
std::map<std::string, std::string> stateOf(const fs::path& folder)
{
    std::map<std::string, std::string> state;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        state[entry.path().string()] = entry.is_symlink()
            ? fs::read_symlink(entry.path()).string()
            : std::to_string(fs::last_write_time(entry.path()).time_since_epoch().count());
    }
    return state;
}

TEST_F(DoctorTest, AProductThatHasEverythingIsFine)
{
    std::vector<std::string> checks;
    for (const Finding& finding : examine()) {
        EXPECT_EQ(finding.state, State::ok) << finding.message;
        EXPECT_TRUE(finding.message.ends_with('.')) << finding.message;
        if (checks.empty() || checks.back() != finding.check) {
            checks.push_back(finding.check);
        }
    }
    EXPECT_THAT(
        checks,
        ElementsAre(
            "descriptor", "executables", "agent file", "links", "project folder", "scripts", "catalog", "databases"));
}

TEST_F(DoctorTest, NothingIsChangedAndNothingIsStarted)
{
    makeExecutable(home() / "bin/zyn", "#!/bin/sh\ntouch \"$HOME/was-started\"\n");
    const auto before = stateOf(scratch());
    const auto homeBefore = stateOf(home());
    EXPECT_FALSE(examine().empty());
    EXPECT_EQ(stateOf(scratch()), before);
    EXPECT_EQ(stateOf(home()), homeBefore);
}

TEST_F(DoctorTest, OnAMachineThatHasNothingOfTheProductNothingIsAnError)
{
    for (const char* const name : {"bin", "store", "crucible", "served", "Library", "sources", "installed"}) {
        fs::remove_all(home() / name);
    }
    projectDir_.clear();
    bool warned = false;
    for (const Finding& finding : examine()) {
        EXPECT_NE(finding.state, State::error) << finding.message;
        EXPECT_TRUE(finding.state != State::warning || finding.message.find(": ") != std::string::npos)
            << "it does not say what to do: " << finding.message;
        warned = warned || finding.state == State::warning;
    }
    EXPECT_TRUE(warned);
    EXPECT_THAT(said("scripts"), IsEmpty());
    EXPECT_THAT(said("catalog"), IsEmpty());
}

TEST_F(DoctorTest, EverythingMayBeSomethingElse)
{
    const std::vector<fs::path> places {descriptor(),
                                        home() / "bin/zyn",
                                        home() / "bin/server",
                                        agent(),
                                        home() / "store",
                                        home() / "crucible",
                                        home() / "served",
                                        project(),
                                        work() / "zyn-v8/build.command",
                                        work() / "install-models",
                                        work() / "install-models/catalog",
                                        work() / "install-models/catalog/org/one/model.toml",
                                        databases(),
                                        databases() / "a.toml"};
    const auto kinds = {+[](const fs::path& place) { ASSERT_EQ(::mkfifo(place.c_str(), 0600), 0); },
                        +[](const fs::path& place) { fs::create_directory(place); },
                        +[](const fs::path& place) { makeLink(place, place); },
                        +[](const fs::path& place) { makeLink(place, "/dev/zero"); },
                        +[](const fs::path& place) { write(place, std::string("\xFF\x00\xFE[[[", 6)); },
                        +[](const fs::path& place) {
                            write(place, "");
                            fs::resize_file(place, std::uintmax_t {3} << 30U);
                        }};
    for (const fs::path& place : places) {
        const fs::path kept = place.string() + ".kept";
        fs::rename(place, kept);
        for (const auto make : kinds) {
            make(place);
            for (const Finding& finding : examine()) {
                EXPECT_TRUE(finding.message.ends_with('.')) << finding.message;
            }
            fs::remove(place);
        }
        fs::rename(kept, place);
    }
}

TEST_F(DoctorTest, OfVeryManyFindingsTheWorstAreListed)
{
    for (int index = 100; index < 160; index++) {
        const std::string id = std::to_string(index);
        write(databases() / (id + ".toml"),
              "id = \"" + id + "\"\nsource = \"~/sources/a\"\ndest = \"~/installed/" + id + "\"\n");
    }
    write(databases() / "z.toml", "nothing\n");
    const auto sentences = said("databases");
    ASSERT_EQ(sentences.size(), 21U);
    EXPECT_EQ(sentences.front(),
              "error: The database descriptor “" + (databases() / "z.toml").string() + "” gives no id: give it one.");
    EXPECT_EQ(sentences.back(),
              "warning: 42 more findings of this kind are not shown: fix those above and check again.");
}

TEST_F(DoctorTest, AreCounted)
{
    const auto found = [](State state) { return Finding {.check = {}, .state = state, .message = {}}; };
    EXPECT_EQ(summary({}), "");
    EXPECT_EQ(summary({found(State::ok), found(State::ok)}), "2 ok");
    EXPECT_EQ(summary({found(State::ok), found(State::error), found(State::warning)}), "1 error, 1 warning, 1 ok");
    EXPECT_EQ(summary({found(State::error), found(State::error)}), "2 errors");
}

} // namespace
