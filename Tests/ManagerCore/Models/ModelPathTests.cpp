#include "ManagerCore/Models/ModelPath.h"

#include <array>

#include <plist/plist.h>

#include "Tests/Support/Sandbox.h"

using ManagerCore::Identity;
using ManagerCore::ManagerActions;
using ManagerCore::ModelResolution;
namespace ModelPath = ManagerCore::ModelPath;
namespace fs = std::filesystem;
using TestSupport::write;

namespace
{

class ModelPathTest : public TestSupport::SandboxTest
{
protected:
    ModelPathTest()
    {
        for (const char* name :
             {"fromAgent", "served", "a/publisher/name", "b/other/second", "downloads/publisher/name"}) {
            fs::create_directories(home() / name);
        }
    }

    void writeAgent(const std::string& arguments) const
    {
        write(home() / "Library/LaunchAgents/agent.plist",
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict><key>Label</key>"
              "<string>agent</string><key>ProgramArguments</key>"
                  + arguments + "</dict></plist>");
    }

    void writeDefaults(const std::string& model) const { write(home() / "defaults", "mlx:\n  model: " + model + "\n"); }

    void writeFinalWeights(const std::string& folder) const { write(home() / folder / "config.json", "{}"); }

    [[nodiscard]] std::optional<ModelResolution> configuredIn(const std::vector<std::string>& locations) const
    {
        return ModelPath::resolve({.modelLocations = locations}, {.defaultsPath = "~/defaults"});
    }

    [[nodiscard]] std::optional<ModelResolution> at(const std::string& place, bool catalogInstalled) const
    {
        return ModelResolution {.url = home() / place, .catalogInstalled = catalogInstalled};
    }
};

const ManagerActions agentAlone {.launchAgent = "agent"};

TEST_F(ModelPathTest, theSourcesAreAskedInTheirOrder)
{
    writeAgent("<array><string>server</string><string>--model</string><string>~/fromAgent</string></array>");
    writeDefaults("org/Name-4bit");
    writeFinalWeights("store/name/3_final");
    write(home() / ".lmstudio/settings.json", R"({"downloadsFolder": "~/downloads"})");
    const Identity identity {.modelPaths = {"~/a/publisher/name", "~/b/other/second"}, .modelLocations = {"~/store"}};
    const ManagerActions actions {.defaultsPath = "~/defaults", .launchAgent = "agent", .modelServed = "~/served"};
    EXPECT_EQ(ModelPath::resolve(identity, actions), at("fromAgent", false));
    fs::remove(home() / "fromAgent");
    EXPECT_EQ(ModelPath::resolve(identity, actions), at("store/name/3_final", true));
    fs::remove_all(home() / "store");
    EXPECT_EQ(ModelPath::resolve(identity, actions), at("served", false));
    fs::remove(home() / "served");
    EXPECT_EQ(ModelPath::resolve(identity, actions), at("downloads/publisher/name", true));
    fs::remove(home() / "downloads/publisher/name");
    EXPECT_EQ(ModelPath::resolve(identity, actions), at("a/publisher/name", true));
    fs::remove(home() / "a/publisher/name");
    EXPECT_EQ(ModelPath::resolve(identity, actions), at("b/other/second", true));
    fs::remove(home() / "b/other/second");
    EXPECT_EQ(ModelPath::resolve(identity, actions), std::nullopt);
    EXPECT_EQ(ModelPath::resolve(Identity::empty, ManagerActions::empty), std::nullopt);
}

TEST_F(ModelPathTest, theAgentsModelIsTheArgumentAfterItsOption)
{
    writeAgent("<array><string>x</string><string>--model</string><string>~/served</string>"
               "<string>--model</string><string>~/fromAgent</string></array>");
    EXPECT_EQ(ModelPath::resolve({}, agentAlone), at("served", false));
    writeAgent("<array><string>--model</string></array>");
    EXPECT_EQ(ModelPath::resolve({}, agentAlone), std::nullopt);
    writeAgent("<array><string>--model=~/served</string><string>~/served</string></array>");
    EXPECT_EQ(ModelPath::resolve({}, agentAlone), std::nullopt);
    writeAgent("<array><string>--model</string><string></string></array>");
    EXPECT_EQ(ModelPath::resolve({}, agentAlone), std::nullopt);
}

TEST_F(ModelPathTest, onlyAnArrayOfStringsCounts)
{
    writeAgent("<array><string>--model</string><string>~/served</string><integer>1</integer></array>");
    EXPECT_EQ(ModelPath::resolve({}, agentAlone), std::nullopt);
    writeAgent("<string>--model ~/served</string>");
    EXPECT_EQ(ModelPath::resolve({}, agentAlone), std::nullopt);
    write(home() / "Library/LaunchAgents/agent.plist",
          "<plist version=\"1.0\"><array><string>--model</string><string>~/served</string></array></plist>");
    EXPECT_EQ(ModelPath::resolve({}, agentAlone), std::nullopt);
    writeAgent("<array><string>--model</string><string>~/served</string></array>");
    EXPECT_EQ(ModelPath::resolve({}, {.launchAgent = ""}), std::nullopt);
}

TEST_F(ModelPathTest, aBinaryPropertyListIsReadAsWell)
{
    plist_t root = plist_new_dict();
    plist_t arguments = plist_new_array();
    for (const char* argument : {"server", "--model", "~/fromAgent"}) {
        plist_array_append_item(arguments, plist_new_string(argument));
    }
    plist_dict_set_item(root, "ProgramArguments", arguments);
    char* bytes = nullptr;
    std::uint32_t size = 0;
    plist_to_bin(root, &bytes, &size);
    write(home() / "Library/LaunchAgents/agent.plist", std::string_view(bytes, size));
    std::free(bytes);
    plist_free(root);
    EXPECT_EQ(ModelPath::resolve({}, agentAlone), at("fromAgent", false));
}

TEST_F(ModelPathTest, aMalformedPropertyListHasNoSay)
{
    const std::string nested = [] {
        std::string text = "<plist version=\"1.0\">";
        for (int depth = 0; depth < 200'000; depth++) {
            text += "<array>";
        }
        return text;
    }();
    for (const std::string& bytes : {std::string(),
                                     std::string("garbage"),
                                     std::string("bplist00"),
                                     std::string("bplist00\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"),
                                     std::string("<plist><dict>"),
                                     nested,
                                     std::string(1 << 20, '\0')}) {
        write(home() / "Library/LaunchAgents/agent.plist", bytes);
        EXPECT_EQ(ModelPath::resolve({}, agentAlone), std::nullopt);
    }
}

TEST_F(ModelPathTest, theConfiguredModelIsTheFirstValueInItsBlock)
{
    const auto configured = [this](std::string_view text) {
        write(home() / "defaults", text);
        return ModelPath::configuredModel("~/defaults");
    };
    EXPECT_EQ(configured("default: mlx\nmlx:\n  port: 1\n  model: org/Name-4bit\n"), "org/Name-4bit");
    EXPECT_EQ(configured("mlx:\n  model: \"quoted\" \t\n"), "\"quoted\"");
    EXPECT_EQ(configured("mlx:\n  model:\n  model: second\n"), "second");
    EXPECT_EQ(configured("mlx:\n\n  model: after an empty line\n"), "after an empty line");
    EXPECT_EQ(configured("mlx:\n  the model: a model: b\n"), "a model: b");
    EXPECT_EQ(configured("  model: early\nmlx:\n  x: 1\n"), std::nullopt);
    EXPECT_EQ(configured("mlx:\nother:\n  model: late\n"), std::nullopt);
    EXPECT_EQ(configured("mlx:\n\tmodel: tab\n"), std::nullopt) << "a tab does not indent";
    EXPECT_EQ(configured("mlx: \n  model: x\n"), std::nullopt);
    EXPECT_EQ(configured(" mlx:\n  model: x\n"), std::nullopt);
    EXPECT_EQ(configured("mlx:\r\n  model: x\r\n"), std::nullopt) << "one line";
    EXPECT_EQ(configured("mlx:\n  model: x\xFF\n"), std::nullopt);
    EXPECT_EQ(configured(""), std::nullopt);
    EXPECT_EQ(ModelPath::configuredModel("~/none"), std::nullopt);
    EXPECT_EQ(ModelPath::configuredModel(""), std::nullopt);
}

TEST_F(ModelPathTest, modelKeys)
{
    EXPECT_EQ(ModelPath::modelKey("Org/Some-Model-7B-4bit"), "some-model-7b");
    EXPECT_EQ(ModelPath::modelKey("some-model"), "some-model");
    EXPECT_EQ(ModelPath::modelKey("a/b/Name-8BIT-dwq"), "name-8bit-dwq");
    EXPECT_EQ(ModelPath::modelKey("Name-orbit"), "name") << "the tail holds bit";
    EXPECT_EQ(ModelPath::modelKey("bit"), "bit");
    EXPECT_EQ(ModelPath::modelKey("Org/"), "");
    EXPECT_EQ(ModelPath::modelKey("GRÜN"), "grün");
}

TEST_F(ModelPathTest, finalWeightsOfTheConfiguredModelAreFoundUnderTheLocations)
{
    writeDefaults("org/Name-4bit");
    writeFinalWeights("store/deep/er/Name-8bit/3_Final");
    writeFinalWeights("store/other/3_final");
    writeFinalWeights("store/name/2_draft");
    write(home() / "store/name/3_final/no-config", "");
    EXPECT_EQ(configuredIn({"~/missing", "~/store"}), at("store/deep/er/Name-8bit/3_Final", true));
}

TEST_F(ModelPathTest, keysMayStandAnywhereInThePath)
{
    writeDefaults("name");
    writeFinalWeights("3_final/name/variant");
    EXPECT_EQ(configuredIn({"~/3_final/name"}), at("3_final/name/variant", true));
    EXPECT_EQ(configuredIn({"~/3_final"}), at("3_final/name/variant", true));
}

TEST_F(ModelPathTest, candidatesOfAllLocationsAreSortedTogether)
{
    writeDefaults("name");
    writeFinalWeights("z/name/3_final");
    writeFinalWeights("m/name/3_final/a");
    writeFinalWeights("m/name/3_final/B");
    EXPECT_EQ(configuredIn({"~/z", "~/m"}), at("m/name/3_final/B", true));
}

TEST_F(ModelPathTest, theInsidesOfAcceptedFoldersAndOfPackagesAreLeftOut)
{
    writeDefaults("name");
    writeFinalWeights("store/name/3_final");
    writeFinalWeights("store/name/3_final/!inner");
    EXPECT_EQ(configuredIn({"~/store"}), at("store/name/3_final", true));
    fs::remove_all(home() / "store");
    writeFinalWeights("store/Some.app/name/3_final");
    EXPECT_EQ(configuredIn({"~/store"}), std::nullopt);
    writeFinalWeights("store/name/3_final/Weights.bundle");
    EXPECT_EQ(configuredIn({"~/store"}), at("store/name/3_final/Weights.bundle", true))
        << "a package itself is yielded";
}

TEST_F(ModelPathTest, linksAreNoFoldersButTheLocationMayBeOne)
{
    writeDefaults("name");
    writeFinalWeights("real/name/3_final");
    TestSupport::makeLink(home() / "store/name", home() / "real/name");
    EXPECT_EQ(configuredIn({"~/store"}), std::nullopt);
    TestSupport::makeLink(home() / "link", home() / "real");
    EXPECT_EQ(configuredIn({"~/link"}), at("link/name/3_final", true));
    TestSupport::makeLink(home() / "real/loop", home() / "real");
    EXPECT_EQ(configuredIn({"~/real"}), at("real/name/3_final", true));
}

TEST_F(ModelPathTest, withoutAConfiguredModelNoLocationIsSearched)
{
    write(home() / "defaults", "default: mlx\n");
    writeFinalWeights("store/name/3_final");
    EXPECT_EQ(configuredIn({"~/store"}), std::nullopt);
}

TEST_F(ModelPathTest, lmStudiosCopiesLieUnderPublisherAndName)
{
    const auto resolvedWith = [this](std::string_view settings) {
        write(home() / ".lmstudio/settings.json", settings);
        return ModelPath::resolve({.modelPaths = {"", "/x", "~/nowhere/publisher/name/"}}, {});
    };
    EXPECT_EQ(resolvedWith(R"({"downloadsFolder": "~/downloads"})"), at("downloads/publisher/name", true));
    EXPECT_EQ(resolvedWith("{\"downloadsFolder\": \"" + (home() / "downloads").string() + "//\"}"),
              at("downloads/publisher/name", true));
    for (const char* bad : {"",
                            "[]",
                            "{",
                            "{}",
                            R"({"downloadsFolder": ""})",
                            R"({"downloadsFolder": 7})",
                            "null",
                            R"(["downloadsFolder"])"}) {
        EXPECT_EQ(resolvedWith(bad), std::nullopt) << bad;
    }
    EXPECT_EQ(resolvedWith(std::string(100'000, '[')), std::nullopt);
}

TEST_F(ModelPathTest, aFileCountsAsWellAsAFolderAndADanglingLinkDoesNot)
{
    write(home() / "weights.bin", "x");
    EXPECT_EQ(ModelPath::resolve({}, {.modelServed = "~/weights.bin"}), at("weights.bin", false));
    TestSupport::makeLink(home() / "dangling", "nowhere");
    EXPECT_EQ(ModelPath::resolve({.modelPaths = {"~/weights.bin"}}, {.modelServed = "~/dangling"}),
              at("weights.bin", true));
}

} // namespace
