#include "ManagerCore/Platform/MacRules.h"

#include <map>

#include <gmock/gmock.h>
#include <unistd.h>

#include "Tests/Support/Sandbox.h"

namespace MacRules = ManagerCore::Platform::MacRules;
namespace fs = std::filesystem;
using TestSupport::write;

namespace
{

using MacRulesTest = TestSupport::SandboxTest;

// The names of some volumes by their mount points.
MacRules::NameAt names(std::map<std::string, std::string> volumes)
{
    return [volumes = std::move(volumes)](const std::string& mountPoint) {
        const auto found = volumes.find(mountPoint);
        return found == volumes.end() ? std::string() : found->second;
    };
}

constexpr const char* data = "/System/Volumes/Data";

TEST_F(MacRulesTest, theDataVolumeHasTheNameOfTheRootVolume)
{
    const auto volume = MacRules::volumeAt(data, names({{"/", "Macintosh HD"}, {data, "Data"}}));
    ASSERT_TRUE(volume);
    EXPECT_EQ(volume->name, "Macintosh HD");
    EXPECT_EQ(volume->mountPoint, data);
    EXPECT_TRUE(volume->isRoot);
}

TEST_F(MacRulesTest, withoutThatNameTheDataVolumeHasItsOwnWithoutTheSuffix)
{
    EXPECT_EQ(MacRules::volumeAt(data, names({{data, "Work - Data"}}))->name, "Work");
    EXPECT_EQ(MacRules::volumeAt(data, names({{data, "Data"}}))->name, "Data");
    EXPECT_FALSE(MacRules::volumeAt(data, names({})));
    EXPECT_FALSE(MacRules::volumeAt(data, names({{data, " - Data"}})));
}

TEST_F(MacRulesTest, otherVolumesHaveTheirOwnNames)
{
    const auto volumes = names({{"/", "Macintosh HD"}, {"/Volumes/Store - Data", "Store - Data"}});
    EXPECT_EQ(MacRules::volumeAt("/", volumes)->name, "Macintosh HD");
    EXPECT_TRUE(MacRules::volumeAt("/", volumes)->isRoot);
    const auto drive = MacRules::volumeAt("/Volumes/Store - Data", volumes);
    ASSERT_TRUE(drive);
    EXPECT_EQ(drive->name, "Store - Data");
    EXPECT_EQ(drive->mountPoint, "/Volumes/Store - Data");
    EXPECT_FALSE(drive->isRoot);
    EXPECT_FALSE(MacRules::volumeAt("/Volumes/Nameless", volumes));
}

TEST_F(MacRulesTest, theShortFormLacksPrivateWhereItExists)
{
    const std::string name = "code-manager-short-" + std::to_string(::getpid());
    write(fs::path("/tmp") / name, "");
    EXPECT_EQ(MacRules::shortForm("/private/tmp/" + name), "/tmp/" + name);
    fs::remove(fs::path("/tmp") / name);
    EXPECT_EQ(MacRules::shortForm("/private/tmp/" + name), "/private/tmp/" + name);
    EXPECT_EQ(MacRules::shortForm("/private/tmp"), "/tmp");
    EXPECT_EQ(MacRules::shortForm("/private/etc/passwd"), "/etc/passwd");
    EXPECT_EQ(MacRules::shortForm("/private/tmpx"), "/private/tmpx");
    EXPECT_EQ(MacRules::shortForm("/private/usr"), "/private/usr");
    EXPECT_EQ(MacRules::shortForm("/tmp"), "/tmp");
    EXPECT_EQ(MacRules::shortForm({}), "");
}

TEST_F(MacRulesTest, cachesAreTheSiblingOfTheTemporaryFolder)
{
    const auto own = MacRules::temporaryFolders("/var/folders/ab/T/");
    EXPECT_EQ(own.temporary.string(), "/var/folders/ab/T");
    EXPECT_EQ(own.caches.string(), "/var/folders/ab/C");
    EXPECT_FALSE(own.shared);
    const auto shared = MacRules::temporaryFolders(std::nullopt);
    EXPECT_EQ(shared.temporary, "/tmp");
    EXPECT_EQ(shared.caches, "/tmp");
    EXPECT_TRUE(shared.shared);
}

} // namespace
