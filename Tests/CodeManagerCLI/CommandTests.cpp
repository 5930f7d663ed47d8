// Commands called as functions, with streams of the test's.

#include <sstream>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "CodeManagerCLI/CommandLine.h"
#include "CodeManagerCLI/Output.h"
#include "CodeManagerCLI/ScanCommand.h"
#include "CodeManagerCLI/ServiceCommand.h"
#include "CodeManagerCLI/SizeCommand.h"
#include "CodeManagerCLI/StatusCommand.h"
#include "CodeManagerCLI/TrashCommand.h"
#include "Tests/Support/Sandbox.h"

namespace
{

using namespace CodeManagerCLI;
using TestSupport::write;

class CommandTest : public TestSupport::SandboxTest
{
protected:
    CommandTest()
    {
        write(home() / "product.toml", "binaries = [\"~/tool\"]\nmodel_served = \"~/model\"\n");
        write(home() / "model", std::string(5000, 'm'));
    }

    [[nodiscard]] std::string descriptor() const { return (home() / "product.toml").string(); }

    std::ostringstream out;
    std::ostringstream err;
    Output plain {out, err, false};
    Output coloured {out, err, true};
};

TEST_F(CommandTest, StatusShowsGoodInGreenAndBadInRed)
{
    EXPECT_EQ(StatusCommand::run({.output = coloured, .identityFile = descriptor()}), 0);
    EXPECT_EQ(out.str(),
              "Status    \033[31mNot installed\033[0m\n"
              "Version   — (—)\n"
              "Backend   \033[31mstopped\033[0m\n"
              "Model     \033[32mpresent 8 KB\033[0m\n"
              "          "
                  + (home() / "model").string()
                  + "\n"
                    "Provider  —\n");
}

TEST_F(CommandTest, StatusAsJsonHasTheFieldsOfTheRecordInOrder)
{
    EXPECT_EQ(StatusCommand::run({.output = plain, .json = true, .identityFile = descriptor()}), 0);
    const Json document = Json::parse(out.str());
    std::vector<std::string> names;
    for (const auto& [name, value] : document.items()) {
        names.push_back(name);
    }
    EXPECT_EQ(names,
              (std::vector<std::string> {"installed",
                                         "version",
                                         "commit",
                                         "backendRunning",
                                         "modelPresent",
                                         "modelPath",
                                         "modelBytes",
                                         "modelCatalogInstalled",
                                         "provider"}));
    EXPECT_EQ(document["modelBytes"], 8192);
}

TEST_F(CommandTest, ScanGroupsItemsUnderHeadingsThatStandOut)
{
    write(home() / "wide.toml",
          "name = \"zyn-test\"\nconfig_dirs = [\"~/model\", \"~/small\"]\nmodel_paths = [\"~/large\"]\n");
    write(home() / "small", "x");
    write(home() / "large", std::string(1'200'000, 'x'));
    const std::string folder = home().string();
    EXPECT_EQ(ScanCommand::run({.output = coloured, .identityFile = (home() / "wide.toml").string()}), 0);
    EXPECT_EQ(out.str(),
              "\033[1m 12 KB  Configuration & Data · 2\033[0m\n"
              "  8 KB    "
                  + folder
                  + "/model\n"
                    "  4 KB    "
                  + folder
                  + "/small\n"
                    "\n"
                    "\033[1m1.2 MB  AI Model · 1\033[0m\n"
                    "1.2 MB    "
                  + folder
                  + "/large\n"
                    "\n"
                    "\033[1m1.2 MB  Total · 3\033[0m\n");
}

TEST_F(CommandTest, ScanAsJsonHasTheFieldsOfTheRecordInOrder)
{
    write(home() / "product.toml", "name = \"zyn-test\"\nconfig_dirs = [\"~/model\"]\n");
    EXPECT_EQ(ScanCommand::run({.output = plain, .json = true, .identityFile = descriptor()}), 0);
    EXPECT_EQ(out.str(),
              "[\n  {\n    \"path\": \"" + (home() / "model").string()
                  + "\",\n    \"name\": \"model\",\n    \"category\": \"Configuration & Data\",\n"
                    "    \"sizeBytes\": 8192,\n    \"humanSize\": \"8 KB\"\n  }\n]\n");
}

TEST_F(CommandTest, ACommandPrintsNothingOfItsOwnOnTheErrorStreamWhenAllIsWell)
{
    EXPECT_EQ(SizeCommand::run({.output = plain}, {(home() / "model").string()}), 0);
    EXPECT_EQ(err.str(), "");
    EXPECT_EQ(out.str(), "8 KB  " + (home() / "model").string() + "\n");
}

TEST_F(CommandTest, TheTrashRefusesPathsThatEndInDotsInADryRunToo)
{
    write(home() / "folder/inside", "x");
    const std::string refusal = " couldn’t be moved to the trash because the path must end in the folder’s own name.\n";
    EXPECT_EQ(TrashCommand::run({.output = plain}, {(home() / "folder/..").string()}, true), 1);
    EXPECT_EQ(TrashCommand::run({.output = plain}, {(home() / "folder/.").string()}, false), 1);
    EXPECT_EQ(err.str(), "Remove would fail: “..”" + refusal + "Remove failed: “.”" + refusal);
    EXPECT_TRUE(std::filesystem::exists(home() / "folder/inside"));
}

TEST_F(CommandTest, ADryRunOfTheTrashLeavesEverythingWhereItIs)
{
    EXPECT_EQ(TrashCommand::run({.output = plain}, {(home() / "model").string()}, true), 0);
    EXPECT_EQ(out.str(), "Would move to Trash:\n" + (home() / "model").string() + "\n");
    EXPECT_EQ(TestSupport::read(home() / "model"), std::string(5000, 'm'));
    EXPECT_FALSE(std::filesystem::exists(home() / ".local"));
}

TEST_F(CommandTest, AServiceWithoutAnAgentIsRefused)
{
    const Context context {.output = plain, .identityFile = descriptor()};
    EXPECT_EQ(ServiceCommand::run(context, ServiceCommand::Operation::stop, false), 1);
    EXPECT_EQ(out.str(), "");
    EXPECT_EQ(err.str(), "No launch_agent configured for Code.\n");
}

TEST_F(CommandTest, TheSameProcessCanRunOneCommandLineAfterAnother)
{
    EXPECT_EQ(runCommandLine({"size", "--json", "/missing"}, plain), 0);
    EXPECT_EQ(runCommandLine({"size", "/missing"}, plain), 0);
    EXPECT_EQ(runCommandLine({"size"}, plain), 2);
    EXPECT_EQ(out.str(),
              "[\n  {\n    \"path\": \"/missing\",\n    \"bytes\": 0,\n    \"human\": \"Zero KB\"\n  }\n]\n"
              "Zero KB  /missing\n");
    EXPECT_TRUE(err.str().starts_with("“zyn-code-manager size” needs a PATH.\n")) << err.str();
}

} // namespace
