// What the manager finds of the sample product.
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "Tests/Demo/SampleHome.h"

using namespace TestSupport;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

class DemoProduct : public SampleTest
{
protected:
    void SetUp() override { shareSample(); }

    [[nodiscard]] nlohmann::json manage(const std::string& command) const
    {
        const auto out = runInside(builtProgram("zyn-code-manager"), {command, "--json"});
        EXPECT_TRUE(out.ok()) << out.stderr;
        return nlohmann::json::parse(out.stdout, nullptr, false);
    }
};

TEST_F(DemoProduct, theDescriptorNamesOnlyPathsInTheHome)
{
    const std::string identity = manage("identity").dump();
    EXPECT_THAT(identity, HasSubstr("\"~/Applications/Zyn.app\""));
    EXPECT_THAT(identity, testing::Not(HasSubstr("\"/")));
    EXPECT_THAT(identity, HasSubstr("-sample\""));
    EXPECT_THAT(identity, HasSubstr("\"com.zyn.mlx-vantor.sample\""));
    EXPECT_THAT(identity, HasSubstr("\"" + std::to_string(port) + "\""));
    for (const fs::directory_entry& database : fs::directory_iterator(sample / "databases")) {
        EXPECT_THAT(read(database.path()), testing::Not(HasSubstr("= \"/")));
    }
    const EnvironmentVariable root("ZYN_CRUCIBLE_ROOT", "/elsewhere");
    EXPECT_THAT(runInside("/usr/bin/env", {}).stdout, testing::Not(HasSubstr("ZYN_CRUCIBLE_")));
}

TEST_F(DemoProduct, aCheckFindsTheIntendedWarnings)
{
    std::vector<std::string> warnings;
    for (const auto& finding : manage("doctor")) {
        if (finding["state"] != "ok") {
            warnings.push_back(finding["check"].get<std::string>() + ": " + finding["message"].get<std::string>());
        }
    }
    EXPECT_THAT(warnings,
                testing::ElementsAre(StartsWith("executables: On the PATH “zyn” is “" + (sample / "bin/zyn").string()),
                                     StartsWith("executables: The PATH holds 2 other programs called “zyn”"),
                                     HasSubstr("holds 2 links that lead nowhere"),
                                     StartsWith("databases: The database “Quill”")));
}

TEST_F(DemoProduct, aScanFindsTheProductAndNoOtherProgram)
{
    const Tree before = treeOf(sample);
    std::map<std::string, std::string> found;
    for (const auto& item : manage("scan")) {
        const std::string path = fs::path(item["path"].get<std::string>()).lexically_relative(sample).string();
        found[item["category"].get<std::string>()] += path + "|";
    }
#ifdef __APPLE__
    found.erase("Containers"); // the system's own folders
#else
    EXPECT_EQ(found.extract("Containers").mapped(),
              ".cache/com.zyn.desktop|.cache/zyn|tmp/com.zyn.desktop.scratch|tmp/zyn.lock|");
#endif
    const std::map<std::string, std::string> expected {
        {"Application", "Applications/Zyn Preview.app|Applications/Zyn.app|"},
        {"Executables", "opt/zyn-0.4.1/bin/mlx-vantor|.zyn/bin/zyn|bin/zyn|opt/zyn-0.4.1/bin/zyn|"},
        {"Configuration & Data", ".zyn|Library/Application Support/zyn|.zyn-code|.config/zyn|"},
        {"Caches",
         "Library/Caches/com.zyn.mlx-vantor|Library/Caches/com.zyn.updater|Library/Caches/com.zyn.desktop|"
         "Library/Caches/zyn|Library/Caches/zyn.http|"},
        {"HTTP Storage & WebKit",
         "Library/WebKit/com.zyn.desktop|Library/HTTPStorages/com.zyn.desktop|"
         "Library/HTTPStorages/com.zyn.desktop.binarycookies|"},
        {"Preferences",
         "Library/Preferences/com.zyn.desktop.plist|Library/Preferences/com.zyn.updater.plist|"
         "Library/Preferences/zyn.plist|"},
        {"Saved Application State", "Library/Saved Application State/com.zyn.desktop.savedState|"},
        {"Logs", "Library/Logs/zyn|"},
        {"Launch Agents", "Library/LaunchAgents/com.zyn.mlx-vantor.sample.plist|"},
        {"Editor Extensions",
         ".cursor/extensions/zyn-labs.zyn-code-1.3.0-universal|.vscode-oss/extensions/zyn-labs.zyn-code-1.3.0|"
         ".vscode/extensions/zyn-labs.zyn-code-1.2.3|"},
        {"AI Model", "Volumes/Vault/zyn-crucible|.zyn-crucible|.lmstudio/models/zyn-labs/Vantor-7B-4bit|"}};
    EXPECT_EQ(found, expected);
    EXPECT_EQ(treeOf(sample), before);
}

} // namespace
