#include "ManagerCore/Inventory/Scanner.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "ManagerCore/Foundation/Size.h"
#include "Tests/Support/Permissions.h"
#include "Tests/Support/Sandbox.h"

namespace Scanner = ManagerCore::Scanner;
namespace fs = std::filesystem;
using ManagerCore::FoundItem;
using ManagerCore::Identity;
using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::EnvironmentVariable;
using TestSupport::makeLink;
using TestSupport::write;

namespace
{

const std::string marker = "identity-marker-7d41c0e9";

// An item as a test names it: its category's title and its path, "~" for the home.
struct Named {
    std::string category;
    std::string path;

    bool operator==(const Named&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Named& item)
    {
        return out << item.category << ": " << item.path;
    }
};

class ScannerTest : public TestSupport::SandboxTest
{
protected:
    ScannerTest() { fs::create_directories(temporary()); }

    [[nodiscard]] fs::path temporary() const { return scratch() / "temporary"; }
    [[nodiscard]] fs::path library(const std::string& rest) const { return home() / "Library" / rest; }

    // The product of most tests: a name and nothing declared.
    static Identity product()
    {
        Identity identity;
        identity.name = "zyn";
        identity.bundlePrefix = "com.zyn.";
        return identity;
    }

    // The same with executables that are looked for.
    static Identity sweptProduct()
    {
        Identity identity = product();
        identity.marker = marker;
        identity.sweepNames = {"zyn", "mlx-vantor"};
        return identity;
    }

    [[nodiscard]] std::vector<FoundItem> items(const Identity& identity,
                                               const std::optional<std::string>& searchPath = std::nullopt) const
    {
        const EnvironmentVariable path("PATH", searchPath);
        const EnvironmentVariable folder("TMPDIR", temporary());
        return Scanner::scan(identity);
    }

    [[nodiscard]] std::vector<Named> scan(const Identity& identity,
                                          const std::optional<std::string>& searchPath = std::nullopt) const
    {
        std::vector<Named> named;
        for (const FoundItem& item : items(identity, searchPath)) {
            named.push_back({std::string(title(item.category)), shortened(item.path())});
        }
        return named;
    }

    [[nodiscard]] std::string shortened(const std::string& path) const
    {
        for (const auto& [folder, letter] : {std::pair(home().string(), "~"), {scratch().string(), "$"}}) {
            if (path.starts_with(folder)) {
                return letter + path.substr(folder.size());
            }
        }
        return path;
    }

    // An executable of the product, this large in blocks of 4096, and one of somebody else's.
    static void writeMarked(const fs::path& file, std::size_t blocks = 1)
    {
        write(file, (marker + std::string(blocks * 4096, 'x')).substr(0, blocks * 4096));
    }
    static void writeForeign(const fs::path& file) { write(file, std::string(100, 'x')); }
    static void writeBlocks(const fs::path& file, std::size_t blocks) { write(file, std::string(blocks * 4096, 'x')); }
};

// ---- declared locations ----

TEST_F(ScannerTest, anEmptyHomeHoldsNothing)
{
    EXPECT_THAT(scan(product()), IsEmpty());
    EXPECT_THAT(scan(Identity::empty), IsEmpty());
}

TEST_F(ScannerTest, everyDeclaredLocationThatExistsIsFoundUnderItsCategory)
{
    Identity identity = product();
    identity.appPaths = {"~/Applications/Zyn.app", "/Missing.app"};
    identity.binaries = {"~/.zyn/bin/zyn", (scratch() / "tool").string()};
    identity.configDirs = {"~/.zyn", "~/.missing"};
    identity.modelPaths = {"~/models/Vantor"};
    identity.modelLocations = {"~/store"};
    for (const char* place : {"Applications/Zyn.app/Contents/Info.plist",
                              ".zyn/bin/zyn",
                              "models/Vantor/weights",
                              "store/weights",
                              "Library/Application Support/zyn/state",
                              "Library/Logs/zyn/log"}) {
        writeBlocks(home() / place, 1);
    }
    writeBlocks(scratch() / "tool", 2);
    writeBlocks(home() / ".zyn/more", 1);
    EXPECT_THAT(scan(identity),
                ElementsAre(Named {"Application", "~/Applications/Zyn.app"},
                            Named {"Executables", "$/tool"},
                            Named {"Executables", "~/.zyn/bin/zyn"},
                            Named {"Configuration & Data", "~/.zyn"},
                            Named {"Configuration & Data", "~/Library/Application Support/zyn"},
                            Named {"Logs", "~/Library/Logs/zyn"},
                            Named {"AI Model", "~/models/Vantor"},
                            Named {"AI Model", "~/store"}));
}

TEST_F(ScannerTest, aTildeIsTheHomeOnlyAloneOrBeforeASlash)
{
    Identity identity = product();
    identity.configDirs = {"~", "~zyn", "~root/.zyn"};
    writeBlocks(home() / "zyn", 1);
    EXPECT_THAT(scan(identity), ElementsAre(Named {"Configuration & Data", "~"}));
}

TEST_F(ScannerTest, aRelativePathIsTakenFromTheWorkingFolder)
{
    Identity identity = product();
    identity.configDirs = {"data of zyn", ""};
    writeBlocks(scratch() / "data of zyn/file", 1);
    const fs::path before = fs::current_path();
    fs::current_path(scratch());
    const std::vector<Named> found = scan(identity);
    fs::current_path(before);
    EXPECT_THAT(found, ElementsAre(Named {"Configuration & Data", "$/data of zyn"}));
}

TEST_F(ScannerTest, aPathThatIsNamedTwiceIsListedOnceUnderItsFirstCategory)
{
    Identity identity = product();
    identity.appPaths = {"~/thing", "~/thing", "~//thing/"};
    identity.binaries = {"~/thing", "~/tool"};
    identity.configDirs = {"~/tool", "~/Library/Application Support/zyn", "~/Library/Logs/zyn", "~/Library/Caches/zyn"};
    identity.modelPaths = {"~/tool", "~/model"};
    identity.modelLocations = {"~/model"};
    for (const char* place : {"thing",
                              "tool",
                              "model",
                              "Library/Application Support/zyn/file",
                              "Library/Logs/zyn/file",
                              "Library/Caches/zyn/file"}) {
        writeBlocks(home() / place, 1);
    }
    EXPECT_THAT(scan(identity),
                ElementsAre(Named {"Application", "~/thing"},
                            Named {"Executables", "~/tool"},
                            Named {"Configuration & Data", "~/Library/Application Support/zyn"},
                            Named {"Configuration & Data", "~/Library/Caches/zyn"},
                            Named {"Configuration & Data", "~/Library/Logs/zyn"},
                            Named {"AI Model", "~/model"}));
}

TEST_F(ScannerTest, aDanglingLinkIsNotListedAndOneThatLeadsSomewhereIsListedItself)
{
    Identity identity = product();
    identity.appPaths = {"~/dangling.app", "~/loop.app", "~/linked.app", "~/file.app"};
    makeLink(home() / "dangling.app", "nowhere");
    makeLink(home() / "loop.app", "loop.app");
    writeBlocks(scratch() / "real/file", 3);
    makeLink(home() / "linked.app", scratch() / "real");
    makeLink(home() / "file.app", scratch() / "real/file");
    const std::vector<FoundItem> found = items(identity);
    EXPECT_THAT(scan(identity),
                ElementsAre(Named {"Application", "~/linked.app"}, Named {"Application", "~/file.app"}));
    EXPECT_EQ(found.front().sizeBytes, 3 * 4096);
    EXPECT_EQ(found.back().sizeBytes, 0);
}

TEST_F(ScannerTest, aModelLocationThatIsALinkIsListedWhereItLeads)
{
    Identity identity = product();
    identity.modelLocations = {"~/.zyn/crucible", "~/plain", "~/dangling", "~/chain", "~/missing"};
    writeBlocks(scratch() / "store/weights", 5);
    makeLink(home() / ".zyn/crucible", scratch() / "store");
    writeBlocks(home() / "plain/weights", 4);
    makeLink(home() / "dangling", scratch() / "nowhere");
    makeLink(home() / "chain", scratch() / "second"); // only its first level is read
    makeLink(scratch() / "second", scratch() / "third");
    writeBlocks(scratch() / "third/weights", 3);
    EXPECT_THAT(
        scan(identity),
        ElementsAre(Named {"AI Model", "$/store"}, Named {"AI Model", "~/plain"}, Named {"AI Model", "$/second"}));
}

TEST_F(ScannerTest, aRelativeLinkIsResolvedAgainstItsFolder)
{
    Identity identity = product();
    identity.modelPaths = {"~/stores/one"};
    identity.modelLocations = {"~/.zyn/one", "~/.zyn/two", "~/far/three"};
    writeBlocks(home() / "stores/one/weights", 3);
    writeBlocks(home() / "stores/two/weights", 2);
    makeLink(home() / ".zyn/one", "../stores/./one"); // the model path above
    makeLink(home() / ".zyn/two", "../stores/two/");
    // Behind a linked folder ".." is the real folder's parent, not the one that the name suggests.
    writeBlocks(scratch() / "real/three/weights", 1);
    fs::create_directories(scratch() / "real/deep");
    fs::create_directories(home() / "three");
    makeLink(home() / "far", scratch() / "real/deep");
    makeLink(scratch() / "real/deep/three", "../three");
    EXPECT_THAT(scan(identity),
                ElementsAre(Named {"AI Model", "~/stores/one"},
                            Named {"AI Model", "~/stores/two"},
                            Named {"AI Model", "$/real/three"}));
}

TEST_F(ScannerTest, aNameWithAZeroByteNamesNothing)
{
    Identity identity = product();
    identity.name = std::string("\0zyn", 4);
    identity.configDirs = {std::string("~/kept\0x", 8)};
    identity.sweepNames = {std::string("kept\0x", 6)};
    identity.marker = marker;
    identity.sweepDirs = {"~"};
    writeMarked(home() / "kept");
    writeBlocks(library("Application Support/other/file"), 1);
    writeBlocks(library("Logs/other/file"), 1);
    EXPECT_THAT(scan(identity), IsEmpty());
}

TEST_F(ScannerTest, anEmptyIdentityStillNamesTheTwoFoldersThemselves)
{
    Identity identity;
    identity.name = "";
    identity.display = "";
    EXPECT_THAT(scan(identity), IsEmpty());
    writeBlocks(library("Application Support/other/file"), 2);
    writeBlocks(library("Logs/other/file"), 1);
    writeBlocks(library("Caches/other"), 1);
    EXPECT_THAT(
        scan(identity),
        ElementsAre(Named {"Configuration & Data", "~/Library/Application Support"}, Named {"Logs", "~/Library/Logs"}));
}

// ---- sweeps of folders ----

TEST_F(ScannerTest, namesInTheLibraryBelongByPrefixByNameAndByNameWithADot)
{
    for (const char* folder :
         {"Caches", "HTTPStorages", "WebKit", "Preferences", "Saved Application State", "LaunchAgents"}) {
        for (const char* name : {"com.zyn.desktop", "com.zyn.", "zyn", "zyn.plist"}) {
            write(library(folder) / name, "x");
        }
        for (const char* name : {"zyn-old",
                                 "zynthian",
                                 "zyn2",
                                 "Zyn",
                                 "ZYN.plist",
                                 "com.zyn",
                                 "com.zynthian.engine",
                                 "Com.zyn.desktop",
                                 "org.com.zyn.desktop",
                                 ".zyn",
                                 " zyn"}) {
            write(library(folder) / name, "x");
        }
    }
    std::vector<Named> expected;
    for (const auto& [title, folder] : {std::pair("Caches", "Caches"),
                                        {"HTTP Storage & WebKit", "HTTPStorages"},
                                        {"HTTP Storage & WebKit", "WebKit"},
                                        {"Preferences", "Preferences"},
                                        {"Saved Application State", "Saved Application State"},
                                        {"Launch Agents", "LaunchAgents"}}) {
        for (const char* name : {"com.zyn.", "com.zyn.desktop", "zyn", "zyn.plist"}) {
            expected.push_back({title, std::string("~/Library/") + folder + "/" + name});
        }
    }
    EXPECT_EQ(scan(product()), expected);
}

TEST_F(ScannerTest, withoutABundlePrefixOnlyTheNameCounts)
{
    Identity identity = product();
    identity.bundlePrefix = "";
    for (const char* name : {"com.zyn.desktop", "other", "zyn", "zyn.http"}) {
        write(library("Caches") / name, "x");
    }
    EXPECT_THAT(scan(identity),
                ElementsAre(Named {"Caches", "~/Library/Caches/zyn"}, Named {"Caches", "~/Library/Caches/zyn.http"}));
}

TEST_F(ScannerTest, aProductWhoseNameBeginsAnothersLeavesThatOneAlone)
{
    const Identity shorter = product();
    Identity longer = product();
    longer.name = "zyn-studio";
    longer.bundlePrefix = "com.zyn-studio.";
    for (const char* folder : {"Application Support", "Logs", "Caches", "Preferences"}) {
        for (const char* name : {"zyn", "zyn-studio"}) {
            write(library(folder) / name / "file", "x");
        }
    }
    write(library("Preferences/com.zyn-studio.desktop.plist"), "x");
    for (const Named& item : scan(shorter)) {
        EXPECT_TRUE(item.path.ends_with("/zyn")) << item.path;
    }
    for (const Named& item : scan(longer)) {
        EXPECT_NE(item.path.find("zyn-studio"), std::string::npos) << item.path;
    }
    EXPECT_EQ(scan(shorter).size(), 4U);
    EXPECT_EQ(scan(longer).size(), 5U);
}

TEST_F(ScannerTest, namesAreComparedAsTextsAndNotAsBytes)
{
    Identity identity = product();
    identity.name = "Caf\u00E9"; // composed
    identity.bundlePrefix = "com.cafe\u0301."; // decomposed
    identity.editorExtensionId = "labs.caf\u00E9";
    for (const char* name : {"Cafe\u0301",
                             "Caf\u00E9.plist",
                             "Cafe\u0301.plist",
                             "com.caf\u00E9.desktop",
                             "com.cafe\u0301.\xFF",
                             "Cafe",
                             "Cafe\u0301s",
                             "Cafe\u0301.\u0301plist",
                             "com.caf\u00E9.\xFF",
                             "com.cafe.desktop"}) {
        write(library("Caches") / name, "x");
    }
    write(home() / ".vscode/extensions/labs.cafe\u0301-1.2.3/package.json", "{}");
    write(home() / ".vscode/extensions/labs.cafe-1.2.3/package.json", "{}");
    EXPECT_THAT(
        scan(identity),
        testing::UnorderedElementsAre(Named {"Caches", "~/Library/Caches/Cafe\u0301"},
                                      Named {"Caches", "~/Library/Caches/Caf\u00E9.plist"},
                                      Named {"Caches", "~/Library/Caches/Cafe\u0301.plist"},
                                      Named {"Caches", "~/Library/Caches/com.caf\u00E9.desktop"},
                                      Named {"Caches", "~/Library/Caches/com.cafe\u0301.\xFF"},
                                      Named {"Editor Extensions", "~/.vscode/extensions/labs.cafe\u0301-1.2.3"}));
}

TEST_F(ScannerTest, aNameEndsWithAWholeCharacter)
{
    Identity identity = product();
    identity.name = "cafe";
    identity.bundlePrefix = "com.cafe";
    identity.editorExtensionId = "labs.cafe";
    for (const char* name : {"cafe\u0301", "cafe.\u0301plist", "com.cafe\u0301.desktop", "com.cafe.\u00E9"}) {
        write(library("Caches") / name, "x");
    }
    write(home() / ".vscode/extensions/labs.cafe\u0301-1.2.3/package.json", "{}");
    EXPECT_THAT(scan(identity), ElementsAre(Named {"Caches", "~/Library/Caches/com.cafe.\u00E9"}));
}

TEST_F(ScannerTest, withAnEmptyNameHiddenEntriesAreTheOnesThatMatch)
{
    Identity identity;
    identity.name = "";
    write(library("Caches/.hidden"), "x");
    write(library("Caches/shown"), "x");
    EXPECT_THAT(scan(identity), ElementsAre(Named {"Caches", "~/Library/Caches/.hidden"}));
}

TEST_F(ScannerTest, aFolderThatCannotBeListedGivesNothing)
{
    write(library("Caches"), "a file where a folder should be");
    makeLink(library("WebKit"), "nowhere");
    makeLink(library("HTTPStorages"), "HTTPStorages");
    fs::create_directories(library("Preferences"));
    ASSERT_EQ(::mkfifo(library("LaunchAgents").c_str(), 0600), 0);
    write(library("Saved Application State/zyn"), "x");
    EXPECT_THAT(scan(product()),
                ElementsAre(Named {"Saved Application State", "~/Library/Saved Application State/zyn"}));
}

TEST_F(ScannerTest, whatMayNotBeListedGivesNothing)
{
    const TestSupport::PermissionsHold hold;
    write(library("Caches/zyn"), "x");
    write(library("WebKit/zyn"), "x");
    fs::permissions(library("Caches"), fs::perms::none);
    EXPECT_THAT(scan(product()), ElementsAre(Named {"HTTP Storage & WebKit", "~/Library/WebKit/zyn"}));
    fs::permissions(library("Caches"), fs::perms::owner_all);
}

TEST_F(ScannerTest, aSweptFolderThatIsALinkIsListedUnderItsOwnPath)
{
    writeBlocks(scratch() / "elsewhere/zyn/file", 1);
    makeLink(library("Caches"), scratch() / "elsewhere");
    EXPECT_THAT(scan(product()), ElementsAre(Named {"Caches", "~/Library/Caches/zyn"}));
}

TEST_F(ScannerTest, aDanglingEntryOfASweptFolderIsNotListed)
{
    makeLink(library("Caches/zyn"), "nowhere");
    makeLink(library("Caches/zyn.link"), scratch());
    EXPECT_THAT(scan(product()), ElementsAre(Named {"Caches", "~/Library/Caches/zyn.link"}));
}

TEST_F(ScannerTest, oddNamesAreFoundAsTheyAre)
{
    Identity identity = product();
    identity.configDirs = {"~/con\nfig", "~/caf\xE9"};
    identity.editorExtensionId = "pub\xFFlisher";
    writeBlocks(home() / "con\nfig", 2);
    writeBlocks(home() / "caf\xE9", 1);
    write(library("Caches") / "zyn.new\nline", "x");
    write(library("Caches") / "zyn.\xFF\xFE", "x");
    write(library("Caches") / "com.zyn. quote\"'", "x");
    write(home() / ".vscode/extensions/x.pub\xFFlisher-1", "x");
    EXPECT_THAT(scan(identity),
                ElementsAre(Named {"Configuration & Data", "~/con\nfig"},
                            Named {"Configuration & Data", "~/caf\xE9"},
                            Named {"Caches", "~/Library/Caches/com.zyn. quote\"'"},
                            Named {"Caches", "~/Library/Caches/zyn.new\nline"},
                            Named {"Caches", "~/Library/Caches/zyn.\xFF\xFE"},
                            Named {"Editor Extensions", "~/.vscode/extensions/x.pub\xFFlisher-1"}));
}

#ifndef __APPLE__ // where the system says which folders these are
TEST_F(ScannerTest, theUsersCacheAndTemporaryFoldersHoldContainers)
{
    writeBlocks(home() / ".cache/com.zyn.desktop/file", 3);
    writeBlocks(home() / ".cache/zyn-old/file", 1);
    writeBlocks(temporary() / "zyn.lock", 2);
    writeBlocks(temporary() / "zyn", 1);
    writeBlocks(temporary() / "other", 1);
    EXPECT_THAT(scan(product()),
                ElementsAre(Named {"Containers", "~/.cache/com.zyn.desktop"},
                            Named {"Containers", "$/temporary/zyn.lock"},
                            Named {"Containers", "$/temporary/zyn"}));
    const EnvironmentVariable caches("XDG_CACHE_HOME", scratch() / "caches");
    writeBlocks(scratch() / "caches/zyn", 9);
    EXPECT_EQ(scan(product()).front(), (Named {"Containers", "$/caches/zyn"}));
}

TEST_F(ScannerTest, theLibrarysCachesComeBeforeTheContainers)
{
    const EnvironmentVariable caches("XDG_CACHE_HOME", library("Caches"));
    write(library("Caches/zyn"), "x");
    EXPECT_THAT(scan(product()), ElementsAre(Named {"Caches", "~/Library/Caches/zyn"}));
}

TEST_F(ScannerTest, inASharedFolderOnlyTheUsersOwnEntriesCount)
{
    if (!TestSupport::isRoot()) {
        GTEST_SKIP() << "giving files to another user takes root";
    }
    write(temporary() / "zyn.own", "x");
    write(temporary() / "zyn.foreign", "x");
    write(temporary() / "zyn.folder/own", "x");
    makeLink(temporary() / "zyn.link", temporary() / "zyn.own"); // another's link to a file of one's own
    makeLink(temporary() / "zyn.mine", temporary() / "zyn.foreign");
    constexpr uid_t other = 12345;
    for (const char* name : {"zyn.foreign", "zyn.folder", "zyn.link"}) {
        ASSERT_EQ(::lchown((temporary() / name).c_str(), other, other), 0);
    }
    EXPECT_THAT(scan(product()),
                ElementsAre(Named {"Containers", "$/temporary/zyn.own"}, Named {"Containers", "$/temporary/zyn.mine"}));
}
#endif

TEST_F(ScannerTest, editorExtensionsBelongByTheirIdentifierAnywhereInTheName)
{
    Identity identity = product();
    identity.editorExtensionId = "publisher.product";
    for (const char* editor : {".vscode", ".cursor", ".windsurf", ".vscode-oss", ".vscodium"}) {
        write(home() / editor / "extensions/publisher.product-1.2.3/package.json", "{}");
        write(home() / editor / "extensions/other.publisher.products/package.json", "{}");
        write(home() / editor / "extensions/Publisher.Product-1.2.3/package.json", "{}");
        write(home() / editor / "extensions/publisher-product/package.json", "{}");
        write(home() / editor / "zyn/publisher.product", "not in the folder of extensions");
    }
    write(home() / ".emacs/extensions/publisher.product-1.2.3/package.json", "{}");
    std::vector<Named> expected;
    for (const char* editor : {".cursor", ".vscode", ".vscode-oss", ".vscodium", ".windsurf"}) {
        for (const char* name : {"other.publisher.products", "publisher.product-1.2.3"}) {
            expected.push_back({"Editor Extensions", std::string("~/") + editor + "/extensions/" + name});
        }
    }
    EXPECT_THAT(scan(identity), testing::UnorderedElementsAreArray(expected));
    identity.editorExtensionId = "";
    EXPECT_THAT(scan(identity), IsEmpty());
}

// ---- executables on the search path ----

TEST_F(ScannerTest, aCopyOnTheSearchPathIsFoundByItsMarker)
{
    writeMarked(scratch() / "bin/zyn", 2);
    writeMarked(scratch() / "bin/mlx-vantor");
    writeMarked(scratch() / "bin/other");
    writeForeign(scratch() / "sbin/zyn");
    writeMarked(scratch() / "off the path/zyn");
    EXPECT_THAT(scan(sweptProduct(), (scratch() / "bin").string() + ":" + (scratch() / "sbin").string()),
                ElementsAre(Named {"Executables", "$/bin/zyn"}, Named {"Executables", "$/bin/mlx-vantor"}));
}

TEST_F(ScannerTest, sweepFoldersAreSearchedBesideThePath)
{
    Identity identity = sweptProduct();
    identity.sweepDirs = {"~/bin", (scratch() / "opt").string(), "~"};
    writeMarked(home() / "bin/zyn", 4);
    writeMarked(scratch() / "opt/zyn", 3);
    writeMarked(home() / "zyn", 2);
    const std::vector<Named> expected {
        {"Executables", "~/bin/zyn"}, {"Executables", "$/opt/zyn"}, {"Executables", "~/zyn"}};
    EXPECT_EQ(scan(identity), expected); // PATH is not set
    EXPECT_EQ(scan(identity, ""), expected);
    EXPECT_EQ(scan(identity, (home() / "bin").string()), expected);
    identity.sweepDirs = {};
    EXPECT_THAT(scan(identity), IsEmpty());
}

TEST_F(ScannerTest, anEmptySweepFolderIsNotTheRoot)
{
    Identity identity = sweptProduct();
    writeMarked(scratch() / "bin/zyn");
    identity.sweepNames = {(scratch() / "bin/zyn").string().substr(1)};
    identity.sweepDirs = {""};
    EXPECT_THAT(scan(identity, ":"), IsEmpty());
    identity.sweepDirs = {"/"};
    EXPECT_THAT(scan(identity), ElementsAre(Named {"Executables", "$/bin/zyn"}));
}

TEST_F(ScannerTest, aTildeInThePathVariableIsNoHome)
{
    writeMarked(home() / "bin/zyn");
    EXPECT_THAT(scan(sweptProduct(), "~/bin"), IsEmpty());
}

TEST_F(ScannerTest, withoutAMarkerOrWithoutNamesNothingIsSearched)
{
    writeMarked(scratch() / "bin/zyn");
    Identity identity = sweptProduct();
    identity.marker = "";
    EXPECT_THAT(scan(identity, (scratch() / "bin").string()), IsEmpty());
    identity = sweptProduct();
    identity.sweepNames = {};
    EXPECT_THAT(scan(identity, (scratch() / "bin").string()), IsEmpty());
}

TEST_F(ScannerTest, theDeclaredExecutableIsLeftToItsDeclaration)
{
    Identity identity = sweptProduct();
    identity.binaries = {"~/.zyn/bin/zyn", "~/.zyn/bin/gone"};
    writeMarked(home() / ".zyn/bin/zyn");
    makeLink(scratch() / "absolute/zyn", home() / ".zyn/bin/zyn");
    makeLink(home() / "relative/zyn", "../.zyn/bin/zyn");
    makeLink(home() / "relative/mlx-vantor", "./../.zyn/./bin/zyn");
    const std::string path = (scratch() / "absolute").string() + ":" + (home() / "relative").string() + ":"
        + (home() / ".zyn/bin").string();
    EXPECT_THAT(scan(identity, path), ElementsAre(Named {"Executables", "~/.zyn/bin/zyn"}));
}

TEST_F(ScannerTest, aDeclaredLinkIsPassedOverByItsOwnPath)
{
    Identity identity = sweptProduct();
    identity.binaries = {"~/bin/zyn"};
    writeMarked(scratch() / "build/old");
    makeLink(home() / "bin/zyn", scratch() / "build/old");
    EXPECT_THAT(scan(identity, (home() / "bin").string()), ElementsAre(Named {"Executables", "~/bin/zyn"}));
}

TEST_F(ScannerTest, aLinkToAnotherBuildIsListedAtItsTarget)
{
    Identity identity = sweptProduct();
    identity.binaries = {"~/.zyn/bin/zyn"};
    writeMarked(home() / ".zyn/bin/zyn", 3);
    writeMarked(scratch() / "build/zyn-0.3", 2);
    writeForeign(scratch() / "build/stranger");
    makeLink(scratch() / "bin/zyn", scratch() / "build/zyn-0.3");
    makeLink(scratch() / "bin/mlx-vantor", scratch() / "build/stranger");
    EXPECT_THAT(scan(identity, (scratch() / "bin").string()),
                ElementsAre(Named {"Executables", "~/.zyn/bin/zyn"}, Named {"Executables", "$/build/zyn-0.3"}));
}

TEST_F(ScannerTest, onlyTheFirstLevelOfALinkIsRead)
{
    writeMarked(scratch() / "build/real");
    makeLink(scratch() / "build/current", scratch() / "build/real");
    makeLink(scratch() / "bin/zyn", scratch() / "build/current");
    EXPECT_THAT(scan(sweptProduct(), (scratch() / "bin").string()),
                ElementsAre(Named {"Executables", "$/build/current"}));
}

TEST_F(ScannerTest, linksToOneFileGiveOneItem)
{
    writeMarked(scratch() / "build/zyn");
    makeLink(scratch() / "a/zyn", scratch() / "build/zyn");
    makeLink(scratch() / "b/zyn", "../build/zyn");
    makeLink(scratch() / "b/mlx-vantor", scratch() / "build/zyn");
    const std::string path = (scratch() / "a").string() + ":" + (scratch() / "b").string();
    EXPECT_THAT(scan(sweptProduct(), path), ElementsAre(Named {"Executables", "$/build/zyn"}));
    EXPECT_THAT(scan(sweptProduct(), path + ":" + (scratch() / "build").string()),
                ElementsAre(Named {"Executables", "$/build/zyn"}));
}

TEST_F(ScannerTest, twoHardLinksAreTwoPathsAndTwoItems)
{
    writeMarked(scratch() / "a/zyn");
    fs::create_directories(scratch() / "b");
    fs::create_hard_link(scratch() / "a/zyn", scratch() / "b/zyn");
    EXPECT_THAT(scan(sweptProduct(), (scratch() / "a").string() + ":" + (scratch() / "b").string()),
                ElementsAre(Named {"Executables", "$/a/zyn"}, Named {"Executables", "$/b/zyn"}));
}

TEST_F(ScannerTest, whatIsNoFileOnTheSearchPathIsPassedOver)
{
    Identity identity = sweptProduct();
    identity.sweepNames = {"fifo", "folder", "device", "dangling", "loop", "self", "", ".", "..", "zyn"};
    const fs::path bin = scratch() / "bin";
    write(bin / "folder/zyn", marker);
    ASSERT_EQ(::mkfifo((bin / "fifo").c_str(), 0600), 0);
    makeLink(bin / "device", "/dev/zero");
    makeLink(bin / "dangling", "nowhere");
    makeLink(bin / "loop", "self");
    makeLink(bin / "self", "loop");
    writeMarked(bin / "zyn");
    EXPECT_THAT(scan(identity, bin.string()), ElementsAre(Named {"Executables", "$/bin/zyn"}));
}

TEST_F(ScannerTest, aSearchPathMayBeFullOfWhatIsNoFolder)
{
    writeMarked(scratch() / "bin/zyn");
    writeMarked(scratch() / "link to/zyn", 2);
    write(scratch() / "file", "x");
    makeLink(scratch() / "loop", "loop");
    makeLink(scratch() / "linked", "link to");
    ASSERT_EQ(::mkfifo((scratch() / "fifo").c_str(), 0600), 0);
    const std::string bin = (scratch() / "bin").string();
    std::string path = "::" + bin + ":" + bin + "/:" + bin + "::/nonexistent:relative/none:.:..";
    for (const char* name : {"file", "loop", "fifo", "none", "linked"}) {
        path += ":" + (scratch() / name).string();
    }
    path += ":" + std::string(5000, 'p') + ":/\xFF\xFE:/new\nline:";
    EXPECT_THAT(scan(sweptProduct(), path),
                ElementsAre(Named {"Executables", "$/linked/zyn"}, Named {"Executables", "$/bin/zyn"}));
}

TEST_F(ScannerTest, anUnreadableFolderOfTheSearchPathContributesNothing)
{
    const TestSupport::PermissionsHold hold;
    writeMarked(scratch() / "closed/zyn");
    writeMarked(scratch() / "open/zyn");
    writeMarked(scratch() / "open/mlx-vantor");
    fs::permissions(scratch() / "closed", fs::perms::none);
    fs::permissions(scratch() / "open/mlx-vantor", fs::perms::none);
    EXPECT_THAT(scan(sweptProduct(), (scratch() / "closed").string() + ":" + (scratch() / "open").string()),
                ElementsAre(Named {"Executables", "$/open/zyn"}));
    fs::permissions(scratch() / "closed", fs::perms::owner_all);
}

TEST_F(ScannerTest, aRelativeFolderOfTheSearchPathLiesInTheWorkingFolder)
{
    writeMarked(scratch() / "tools/zyn");
    const fs::path before = fs::current_path();
    fs::current_path(scratch());
    const std::vector<Named> found = scan(sweptProduct(), "tools:" + (scratch() / "tools").string());
    fs::current_path(before);
    EXPECT_THAT(found, ElementsAre(Named {"Executables", "$/tools/zyn"}));
}

TEST_F(ScannerTest, twoHundredFoldersAreSearched)
{
    std::string path;
    std::vector<Named> expected;
    for (int folder = 0; folder < 200; folder++) {
        const std::string name = std::to_string(1000 + folder);
        if (folder % 3 == 0) {
            writeMarked(scratch() / name / "zyn");
            expected.push_back({"Executables", "$/" + name + "/zyn"});
        } else if (folder % 3 == 1) {
            writeForeign(scratch() / name / "zyn");
        }
        path.insert(0, (scratch() / name).string() + ":");
    }
    EXPECT_EQ(scan(sweptProduct(), path), expected);
}

TEST_F(ScannerTest, anExecutableThatSomethingElseClaimsFirstKeepsThatCategory)
{
    Identity identity = sweptProduct();
    identity.configDirs = {"~/bin/zyn"};
    identity.modelPaths = {"~/bin/mlx-vantor"};
    writeMarked(home() / "bin/zyn");
    writeMarked(home() / "bin/mlx-vantor");
    EXPECT_THAT(scan(identity, (home() / "bin").string()),
                ElementsAre(Named {"Configuration & Data", "~/bin/zyn"}, Named {"AI Model", "~/bin/mlx-vantor"}));
}

// ---- sizes and order ----

TEST_F(ScannerTest, eachItemIsMeasuredAsASizeAlwaysIs)
{
    Identity identity = product();
    identity.configDirs = {"~/.zyn", "~/.zyn/deep", "~/file", "~/fifo"};
    for (int file = 0; file < 300; file++) {
        writeBlocks(home() / ".zyn/deep" / std::to_string(file % 50) / std::to_string(file), 1);
    }
    writeBlocks(home() / ".zyn/more", 7);
    writeBlocks(home() / "file", 2);
    ASSERT_EQ(::mkfifo((home() / "fifo").c_str(), 0600), 0);
    const std::vector<FoundItem> found = items(identity);
    ASSERT_EQ(found.size(), 4U);
    for (const FoundItem& item : found) {
        EXPECT_EQ(item.sizeBytes, ManagerCore::Size::of(item.url)) << item.path();
    }
    EXPECT_EQ(found[0].sizeBytes, 307 * 4096);
    EXPECT_EQ(found[1].sizeBytes, 300 * 4096);
    EXPECT_EQ(found[2].sizeBytes, 2 * 4096);
    EXPECT_EQ(found[3].sizeBytes, 0);
}

TEST_F(ScannerTest, itemsStandByCategoryThenFromTheLargestThenByPath)
{
    Identity identity = product();
    identity.modelPaths = {"~/model"};
    writeBlocks(home() / "model", 100);
    writeBlocks(library("Logs/zyn/file"), 50);
    const std::pair<const char*, std::size_t> sizes[]
        = {{"zyn.c", 2}, {"zyn.a", 2}, {"zyn.b", 2}, {"zyn.small", 1}, {"zyn.large", 9}, {"zyn.none", 0}, {"zyn", 0}};
    for (const auto& [name, blocks] : sizes) {
        writeBlocks(library("Preferences") / name, blocks);
    }
    std::vector<Named> expected;
    for (const char* name : {"zyn.large", "zyn.a", "zyn.b", "zyn.c", "zyn.small", "zyn", "zyn.none"}) {
        expected.push_back({"Preferences", std::string("~/Library/Preferences/") + name});
    }
    expected.push_back({"Logs", "~/Library/Logs/zyn"});
    expected.push_back({"AI Model", "~/model"});
    EXPECT_EQ(scan(identity), expected);
}

TEST_F(ScannerTest, aFewDescriptorsAreEnough)
{
    Identity identity = sweptProduct();
    identity.sweepDirs = {"~/bin"};
    writeMarked(home() / "bin/zyn");
    for (int folder = 0; folder < 400; folder++) {
        const std::string name = "zyn." + std::to_string(folder % 20);
        writeBlocks(library("Caches") / name / std::to_string(folder) / "deep/file", 1);
    }
    const std::vector<FoundItem> expected = items(identity);
    ASSERT_EQ(expected.size(), 21U);
    rlimit before {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit few {.rlim_cur = 24, .rlim_max = before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    const std::vector<FoundItem> found = items(identity);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(found, expected);
}

TEST_F(ScannerTest, aScanChangesNothingAndSaysTheSameEachTime)
{
    Identity identity = sweptProduct();
    identity.configDirs = {"~/.zyn"};
    for (int file = 0; file < 40; file++) {
        writeBlocks(home() / ".zyn" / std::to_string(file) / "file", 1);
        writeBlocks(library("Caches/com.zyn.") / std::to_string(file), 1);
        writeMarked(scratch() / "bin" / std::to_string(file) / "zyn");
        identity.sweepDirs.push_back((scratch() / "bin" / std::to_string(file)).string());
    }
    const std::vector<FoundItem> first = items(identity);
    EXPECT_EQ(first.size(), 42U);
    for (int round = 0; round < 10; round++) {
        ASSERT_EQ(items(identity), first);
    }
}

} // namespace
