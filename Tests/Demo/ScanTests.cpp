// What the manager finds of the sample product, and what it leaves to its neighbours.
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "Tests/Demo/SampleHome.h"

namespace fs = std::filesystem;
namespace Proc = ManagerCore::Proc;
using namespace TestSupport;

namespace
{

using Found = std::vector<std::pair<std::string, std::string>>; // category, path below the home

class DemoScan : public SampleTest
{
protected:
    void SetUp() override { shareSample(); }

    [[nodiscard]] nlohmann::json scan() const
    {
        const Proc::Out out = runInside(builtProgram("zyn-code-manager"), {"scan", "--json"});
        EXPECT_EQ(out.stderr, "");
        return nlohmann::json::parse(out.stdout, nullptr, false);
    }

    [[nodiscard]] std::string belowHome(const std::string& path) const
    {
        const std::string home = sample().string() + "/";
        return path.starts_with(home) ? path.substr(home.size()) : path;
    }
};

TEST_F(DemoScan, findsEverythingOfTheProductAndNothingOfItsNeighbours)
{
    Found found;
    for (const nlohmann::json& item : scan()) {
        found.emplace_back(item.at("category"), belowHome(item.at("path")));
    }
#ifdef __APPLE__
    std::erase_if(found, [](const auto& item) { return item.first == "Containers"; }); // the system's own folders
#endif
    const Found expected {
        {"Application", "Applications/Zyn Preview.app"},
        {"Application", "Applications/Zyn.app"},
        {"Executables", ".zyn/bin/zyn"},
        {"Executables", "bin/zyn"},
        {"Executables", "opt/zyn-0.4.1/bin/mlx-vantor"},
        {"Executables", "opt/zyn-0.4.1/bin/zyn"},
        {"Configuration & Data", ".config/zyn"},
        {"Configuration & Data", ".zyn"},
        {"Configuration & Data", ".zyn-code"},
        {"Configuration & Data", "Library/Application Support/zyn"},
        {"Caches", "Library/Caches/com.zyn.desktop"},
        {"Caches", "Library/Caches/com.zyn.mlx-vantor"},
        {"Caches", "Library/Caches/com.zyn.updater"},
        {"Caches", "Library/Caches/zyn"},
        {"Caches", "Library/Caches/zyn.http"},
#ifndef __APPLE__
        {"Containers", ".cache/com.zyn.desktop"},
        {"Containers", ".cache/zyn"},
        {"Containers", "tmp/com.zyn.desktop.scratch"},
        {"Containers", "tmp/zyn.lock"},
#endif
        {"HTTP Storage & WebKit", "Library/HTTPStorages/com.zyn.desktop"},
        {"HTTP Storage & WebKit", "Library/HTTPStorages/com.zyn.desktop.binarycookies"},
        {"HTTP Storage & WebKit", "Library/WebKit/com.zyn.desktop"},
        {"Preferences", "Library/Preferences/com.zyn.desktop.plist"},
        {"Preferences", "Library/Preferences/com.zyn.updater.plist"},
        {"Preferences", "Library/Preferences/zyn.plist"},
        {"Saved Application State", "Library/Saved Application State/com.zyn.desktop.savedState"},
        {"Logs", "Library/Logs/zyn"},
        {"Launch Agents", "Library/LaunchAgents/com.zyn.mlx-vantor.sample.plist"},
        {"Editor Extensions", ".cursor/extensions/zyn-labs.zyn-code-1.3.0-universal"},
        {"Editor Extensions", ".vscode-oss/extensions/zyn-labs.zyn-code-1.3.0"},
        {"Editor Extensions", ".vscode/extensions/zyn-labs.zyn-code-1.2.3"},
        {"AI Model", ".lmstudio/models/zyn-labs/Vantor-7B-4bit"},
        {"AI Model", ".zyn-crucible"},
        {"AI Model", "Volumes/Vault/zyn-crucible"},
    };
    EXPECT_THAT(found, testing::UnorderedElementsAreArray(expected));
}

TEST_F(DemoScan, changesNothing)
{
    const Tree before = treeOf(sample());
    ASSERT_FALSE(scan().empty());
    EXPECT_EQ(treeOf(sample()), before);
}

TEST_F(DemoScan, groupsWhatItFindsUnderTitlesWithTotals)
{
    const Proc::Out out = runInside(builtProgram("zyn-code-manager"), {"scan"});
    EXPECT_THAT(out.stdout, testing::HasSubstr("  Application · 2\n"));
    EXPECT_THAT(out.stdout, testing::HasSubstr("  AI Model · 3\n"));
    EXPECT_THAT(out.stdout, testing::ContainsRegex("\n *[0-9.]+ MB  Total · [0-9]+\n$"));
}

} // namespace
