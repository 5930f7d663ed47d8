// What the sample home holds of the product, and the descriptor that tells of it.
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <plist/plist.h>
#include <sys/stat.h>

#include "ManagerCore/Foundation/Descriptor.h"
#include "ManagerCore/Foundation/Identity.h"
#include "ManagerCore/Foundation/ManagerActions.h"
#include "ManagerCore/Foundation/PropertyList.h"
#include "Tests/Demo/SampleHome.h"

namespace fs = std::filesystem;
namespace Descriptor = ManagerCore::Descriptor;
namespace Proc = ManagerCore::Proc;
using ManagerCore::Identity;
using ManagerCore::ManagerActions;
using namespace TestSupport;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace
{

class DemoProduct : public SampleTest
{
protected:
    void SetUp() override { shareSample(); }

    [[nodiscard]] fs::path expanded(const std::string& path) const { return sample() / path.substr(2); }
    [[nodiscard]] Identity identity() const { return Identity::load(sample() / "zyn.toml").value_or(Identity::empty); }
    [[nodiscard]] ManagerActions actions() const { return ManagerActions::load(sample() / "zyn.toml"); }
    [[nodiscard]] std::string runZyn(const std::vector<std::string>& arguments) const
    {
        return Proc::run((sample() / ".zyn/bin/zyn").string(), arguments).stdout;
    }
};

std::vector<std::string> allPaths(const Identity& identity, const ManagerActions& actions)
{
    std::vector<std::string> paths {actions.defaultsPath, actions.serverBin, actions.serverLog, actions.modelServed};
    for (const auto* list : {&identity.appPaths,
                             &identity.binaries,
                             &identity.configDirs,
                             &identity.modelPaths,
                             &identity.modelLocations,
                             &identity.sweepDirs}) {
        paths.insert(paths.end(), list->begin(), list->end());
    }
    return paths;
}

std::vector<std::string> belowHome(std::vector<std::string> paths)
{
    for (std::string& path : paths) {
        path = path.starts_with('/') ? "~" + path : path;
    }
    return paths;
}

class PropertyListFile
{
public:
    explicit PropertyListFile(const fs::path& file)
        : tree_(ManagerCore::PropertyList::parse(read(file)))
    {
    }

    [[nodiscard]] plist_t root() const { return tree_.get(); }
    [[nodiscard]] plist_t at(const char* key) const { return plist_dict_get_item(tree_.get(), key); }

private:
    ManagerCore::PropertyList::Tree tree_;
};

std::string textOf(plist_t node)
{
    const char* text = plist_get_string_ptr(node, nullptr);
    return text != nullptr ? text : "<no text>";
}

TEST_F(DemoProduct, theDescriptorUsesEveryKey)
{
    for (const fs::path& file : {sample() / "zyn.toml", embeddedDescriptor()}) {
        const Descriptor::Map map = Descriptor::parse(read(file));
        for (const char* key : {"name",
                                "display",
                                "bundle_prefix",
                                "model_display",
                                "editor_extension_id",
                                "identity_marker",
                                "defaults_path",
                                "launch_agent",
                                "server_bin",
                                "server_port",
                                "server_log",
                                "model_served"}) {
            EXPECT_THAT(Descriptor::text(key, map), Not(IsEmpty())) << key;
        }
        for (const char* key :
             {"app_paths", "binaries", "config_dirs", "model_paths", "model_locations", "sweep_names", "sweep_dirs"}) {
            EXPECT_THAT(Descriptor::list(key, map), Not(IsEmpty())) << key;
        }
        EXPECT_EQ(map.size(), 19U);
    }
}

TEST_F(DemoProduct, theDescriptorIsTheEmbeddedOneMovedIntoTheHome)
{
    const auto loaded = Identity::load(embeddedDescriptor());
    ASSERT_TRUE(loaded.has_value());
    Identity expected = *loaded;
    expected.marker += "-sample";
    for (auto* list : {&expected.appPaths,
                       &expected.binaries,
                       &expected.configDirs,
                       &expected.modelPaths,
                       &expected.modelLocations,
                       &expected.sweepDirs}) {
        *list = belowHome(*list);
    }
    EXPECT_EQ(identity(), expected);
    ManagerActions expectedActions = ManagerActions::load(embeddedDescriptor());
    EXPECT_EQ(expectedActions.launchAgent, "com.zyn.mlx-vantor");
    expectedActions.launchAgent = "com.zyn.mlx-vantor.sample";
    expectedActions.serverPort = std::to_string(port());
    EXPECT_EQ(actions(), expectedActions);
}

TEST_F(DemoProduct, everyPathOfTheDescriptorLiesInTheHome)
{
    EXPECT_THAT(allPaths(identity(), actions()), Each(StartsWith("~/")));
    for (const fs::directory_entry& entry : fs::directory_iterator(sample() / "databases")) {
        const Descriptor::Map map = Descriptor::parse(read(entry.path()));
        EXPECT_THAT(Descriptor::text("source", map), StartsWith("~/"));
        EXPECT_THAT(Descriptor::text("dest", map), StartsWith("~/"));
    }
}

TEST_F(DemoProduct, whatTheDescriptorNamesIsThere)
{
    const Identity who = identity();
    const ManagerActions how = actions();
    for (const auto* list : {&who.appPaths, &who.configDirs}) {
        for (const std::string& path : *list) {
            EXPECT_TRUE(fs::is_directory(expanded(path))) << path;
        }
    }
    EXPECT_TRUE(fs::exists(expanded(who.binaries.front())));
    EXPECT_FALSE(fs::exists(expanded(who.modelPaths.front())));
    EXPECT_TRUE(fs::exists(expanded(who.modelPaths.back()) / "config.json"));
    EXPECT_TRUE(fs::exists(expanded(how.defaultsPath)));
    EXPECT_TRUE(fs::exists(expanded(how.serverBin)));
    EXPECT_TRUE(fs::exists(expanded(how.serverLog)));
    EXPECT_TRUE(fs::exists(expanded(how.modelServed) / "config.json"));
}

TEST_F(DemoProduct, theDatabasesAreOneInstalledAndOneNot)
{
    const Descriptor::Map orchid = Descriptor::parse(read(sample() / "databases/db-orchid.toml"));
    const Descriptor::Map quill = Descriptor::parse(read(sample() / "databases/db-quill.toml"));
    EXPECT_EQ(Descriptor::text("id", orchid), "db-orchid");
    EXPECT_EQ(treeOf(expanded(Descriptor::text("source", orchid))), treeOf(expanded(Descriptor::text("dest", orchid))));
    EXPECT_TRUE(fs::is_regular_file(expanded(Descriptor::text("source", quill))));
    EXPECT_FALSE(fs::exists(expanded(Descriptor::text("dest", quill))));
}

TEST_F(DemoProduct, aCheckFindsWhatIsOddOnPurposeAndNoError)
{
    const Proc::Out out = runInside(builtProgram("zyn-code-manager"), {"doctor", "--json"});
    EXPECT_EQ(out.code, 0) << out.stderr;
    std::vector<std::string> warned;
    const nlohmann::json findings = nlohmann::json::parse(out.stdout);
    for (const auto& finding : findings) {
        if (finding["state"] != "ok") {
            warned.push_back(finding["check"].get<std::string>() + ": " + finding["message"].get<std::string>());
        }
    }
    EXPECT_EQ(findings.size(), 20U) << out.stdout;
    EXPECT_THAT(warned,
                ElementsAre(StartsWith("executables: On the PATH “zyn” is “" + (sample() / "bin/zyn").string()
                                       + "” and not the installed “" + (sample() / ".zyn/bin/zyn").string() + "”"),
                            StartsWith("executables: The PATH holds 2 other programs called “zyn” farther back"),
                            HasSubstr("holds 2 links that lead nowhere"),
                            StartsWith("databases: The database “Quill”")));
}

TEST_F(DemoProduct, theExecutableTellsItsVersionInTwoLines)
{
    EXPECT_EQ(runZyn({"--version"}), "zyn 0.4.2\ncommit: 3f9c2ab41d7e\n");
    for (const auto& other : std::vector<std::vector<std::string>> {{}, {"--help"}, {"anything"}}) {
        EXPECT_THAT(runZyn(other), HasSubstr("usage: zyn"));
    }
}

TEST_F(DemoProduct, theFirstRunSeedsTheConfigurationAndLaterOnesKeepIt)
{
    const fs::path configuration = sample() / ".zyn/defaults.yaml";
    const std::string before = read(configuration);
    EXPECT_THAT(before, HasSubstr("\ndefault: mlx\n"));
    EXPECT_THAT(before, HasSubstr("\n  model: zyn-labs/Vantor-7B-4bit\n"));
    EXPECT_THAT(before, HasSubstr(std::to_string(port())));
    EXPECT_THAT(runZyn({"--version"}), StartsWith("zyn 0.4.2\n"));
    EXPECT_EQ(read(configuration), before);
    fs::remove(configuration);
    EXPECT_THAT(runZyn({"--version"}), StartsWith("zyn 0.4.2\n"));
    EXPECT_THAT(read(configuration), HasSubstr("\ndefault: mlx\nmlx:\n  model: zyn-labs/Vantor-7B-4bit\n"));
    write(configuration, before);
}

TEST_F(DemoProduct, aCopyElsewhereSeedsNothing)
{
    const Tree before = treeOf(home());
    const fs::path configuration = sample() / ".zyn/defaults.yaml";
    fs::rename(configuration, scratch() / "configuration");
    EXPECT_TRUE(runInside(sample() / "bin/zyn", {"--version"}).ok());
    EXPECT_TRUE(Proc::run((demoPrograms() / "zyn").string(), {"--version"}).ok());
    EXPECT_FALSE(fs::exists(configuration));
    EXPECT_EQ(treeOf(home()), before);
    fs::rename(scratch() / "configuration", configuration);
}

TEST_F(DemoProduct, theMarkerTellsTheProductsExecutablesFromNamesakes)
{
    const std::string marker = identity().marker;
    for (const char* program : {".zyn/bin/zyn",
                                ".zyn/bin/mlx-vantor",
                                "bin/zyn",
                                "opt/old/bin/zyn",
                                "opt/old/bin/mlx-vantor",
                                "Applications/Zyn.app/Contents/MacOS/Zyn"}) {
        EXPECT_THAT(read(sample() / program), HasSubstr(marker)) << program;
    }
    EXPECT_THAT(read(sample() / "opt/scripts/zyn"), Not(HasSubstr(marker)));
    EXPECT_EQ(fs::read_symlink(sample() / ".local/bin/zyn"), sample() / ".zyn/bin/zyn");
    EXPECT_EQ(Proc::run((sample() / "bin/zyn").string(), {"--version"}).stdout, "zyn 0.3.9\ncommit: 61d8aa5e0c42\n");
    EXPECT_THAT(Proc::run((sample() / "opt/old/bin/zyn").string(), {"--version"}).stdout, StartsWith("zyn 0.4.1\n"));
    EXPECT_THAT(Proc::run((sample() / "opt/scripts/zyn").string(), {}).stdout, HasSubstr("no sound device"));
}

TEST_F(DemoProduct, everyPropertyListIsWellFormed)
{
    std::size_t seen = 0;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(sample())) {
        const std::string path = entry.path().string();
        if (entry.path().extension() == ".plist" && path.find("/Projects/") == std::string::npos) {
            const PropertyListFile file(entry.path());
            EXPECT_EQ(plist_get_node_type(file.root()), PLIST_DICT) << path;
            ++seen;
        }
    }
    EXPECT_EQ(seen, 10U);
}

TEST_F(DemoProduct, theAgentNamesTheServerOfThisHome)
{
    const PropertyListFile agent(sample() / "Library/LaunchAgents/com.zyn.mlx-vantor.sample.plist");
    EXPECT_EQ(textOf(agent.at("Label")), actions().launchAgent);
    std::vector<std::string> words;
    const std::uint32_t count = plist_array_get_size(agent.at("ProgramArguments"));
    words.reserve(count);
    for (std::uint32_t index = 0; index < count; ++index) {
        words.push_back(textOf(plist_array_get_item(agent.at("ProgramArguments"), index)));
    }
    EXPECT_THAT(words,
                ElementsAre((sample() / ".zyn/bin/mlx-vantor").string(),
                            "--model",
                            (sample() / ".zyn/served-model").string(),
                            "--port",
                            std::to_string(port())));
    EXPECT_EQ(textOf(agent.at("StandardOutPath")), expanded(actions().serverLog).string());
    EXPECT_EQ(textOf(agent.at("StandardErrorPath")), expanded(actions().serverLog).string());
    EXPECT_EQ(plist_get_node_type(agent.at("RunAtLoad")), PLIST_BOOLEAN);
    EXPECT_EQ(textOf(plist_dict_get_item(agent.at("EnvironmentVariables"), "HOME")), sample().string());
    std::uint8_t onSuccess = 1;
    plist_get_bool_val(plist_dict_get_item(agent.at("KeepAlive"), "SuccessfulExit"), &onSuccess);
    EXPECT_EQ(onSuccess, 0);
}

TEST_F(DemoProduct, theAppsPreferencesAreBinary)
{
    const fs::path file = sample() / "Library/Preferences/com.zyn.desktop.plist";
    EXPECT_THAT(read(file), StartsWith("bplist00"));
    const PropertyListFile preferences(file);
    EXPECT_EQ(textOf(preferences.at("ZynServerAddress")), "http://127.0.0.1:8080");
    std::uint64_t width = 0;
    plist_get_uint_val(preferences.at("ZynWindowWidth"), &width);
    EXPECT_EQ(width, 1180U);
    EXPECT_THAT(runZyn({"preferences", file.string()}), IsEmpty());
    EXPECT_THAT(read(file), StartsWith("bplist00")) << "an existing file is never written over";
}

TEST_F(DemoProduct, theWeightsOccupyWhatTheySay)
{
    std::uintmax_t total = 0;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(sample())) {
        if (entry.is_symlink() || !entry.is_regular_file() || entry.path().extension() != ".safetensors") {
            continue;
        }
        struct stat facts {};
        ASSERT_EQ(::lstat(entry.path().c_str(), &facts), 0);
        EXPECT_EQ(facts.st_nlink, 1U) << entry.path();
        EXPECT_GE(facts.st_blocks * 512, facts.st_size) << entry.path();
        total += entry.file_size();
    }
    EXPECT_GT(total, 30'000'000U);
}

TEST_F(DemoProduct, theCrucibleHasItsCopiesAndLinks)
{
    const fs::path models = sample() / ".zyn-crucible/models";
    const fs::path vault = sample() / "Volumes/Vault/zyn-crucible/models";
    EXPECT_EQ(fs::read_symlink(sample() / ".zyn/crucible"), sample() / ".zyn-crucible");
    EXPECT_EQ(fs::read_symlink(sample() / ".zyn/served-model"), models / "zyn-labs/Vantor-7B/3_final");
    EXPECT_EQ(treeOf(models / "zyn-labs/Vantor-7B"), treeOf(vault / "zyn-labs/Vantor-7B"));
    EXPECT_EQ(fs::read_symlink(models / "zyn-labs/Vantor-Mini"), vault / "zyn-labs/Vantor-Mini");
    EXPECT_TRUE(fs::exists(vault / "zyn-labs/Vantor-Mini/3_final/config.json"));
    EXPECT_FALSE(fs::exists(vault / "zyn-labs/Vantor-Draft"));
    EXPECT_FALSE(fs::exists(sample() / "Volumes/Tape"));
    for (const char* dangling : {"zyn-labs/Vantor-Code", "atlas/Atlas-Embed"}) {
        EXPECT_TRUE(fs::is_symlink(models / dangling));
        EXPECT_FALSE(fs::exists(models / dangling));
    }
    EXPECT_TRUE(fs::exists(vault / "zyn-labs/Vantor-Code")) << "the one that can be repaired";
    EXPECT_TRUE(fs::exists(sample() / ".zyn-crucible/crucible.toml"));
}

} // namespace
