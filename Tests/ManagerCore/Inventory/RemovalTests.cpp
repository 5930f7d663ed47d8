// What a scan finds, moved to the Trash: tries to make that touch anything but the items themselves.

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "ManagerCore/Foundation/Remover.h"
#include "ManagerCore/Inventory/Scanner.h"
#include "Tests/Support/Sandbox.h"

namespace Remover = ManagerCore::Remover;
namespace Scanner = ManagerCore::Scanner;
namespace fs = std::filesystem;
using ManagerCore::FoundItem;
using ManagerCore::Identity;
using testing::Contains;
using testing::Not;
using TestSupport::EnvironmentVariable;
using TestSupport::makeLink;
using TestSupport::read;
using TestSupport::write;

namespace
{

const std::string marker = "identity-marker-7d41c0e9";

// Every entry below a folder by its path: what it is, its mode and its bytes or its destination.
using Snapshot = std::map<std::string, std::string>;

std::string contentsOf(const fs::directory_entry& entry)
{
    struct stat facts {};
    EXPECT_EQ(::lstat(entry.path().c_str(), &facts), 0) << entry.path();
    const std::string mode = std::to_string(facts.st_mode) + " ";
    if (entry.is_symlink()) {
        return mode + fs::read_symlink(entry.path()).string();
    }
    return entry.is_regular_file() ? mode + read(entry.path()) : mode;
}

Snapshot snapshotOf(const fs::path& folder)
{
    Snapshot all;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
        all.emplace(entry.path().string(), contentsOf(entry));
    }
    return all;
}

bool liesIn(const std::string& path, const std::string& folder)
{
    return path == folder || path.starts_with(folder + "/");
}

Snapshot without(Snapshot all, const std::set<std::string>& paths)
{
    std::erase_if(all, [&paths](const auto& entry) {
        return std::ranges::any_of(paths, [&entry](const std::string& path) { return liesIn(entry.first, path); });
    });
    return all;
}

std::vector<fs::path> urlsOf(const std::vector<FoundItem>& items)
{
    std::vector<fs::path> urls;
    for (const FoundItem& item : items) {
        urls.push_back(item.url);
    }
    return urls;
}

class RemovalTest : public TestSupport::SandboxTest
{
protected:
    RemovalTest()
    {
        fs::create_directories(home() / ".cache");
        makeInstallation();
        makeNeighbours();
    }

    [[nodiscard]] static Identity product()
    {
        Identity identity;
        identity.name = "zyn";
        identity.bundlePrefix = "com.zyn.";
        identity.appPaths = {"~/Applications/Zyn.app"};
        identity.binaries = {"~/.zyn/bin/zyn"};
        identity.configDirs = {"~/.zyn", "~/.config/zyn"};
        identity.modelPaths = {"~/models/Vantor"};
        identity.modelLocations = {"~/.zyn/crucible"};
        identity.editorExtensionId = "zyn-labs.zyn";
        identity.marker = marker;
        identity.sweepNames = {"zyn"};
        identity.sweepDirs = {"~/bin", "~/.local/bin"};
        return identity;
    }

    [[nodiscard]] std::vector<FoundItem> scan(const Identity& identity = product()) const
    {
        const EnvironmentVariable path("PATH", std::nullopt);
        const EnvironmentVariable folder("TMPDIR", home() / "tmp");
        return Scanner::scan(identity);
    }

    [[nodiscard]] std::vector<std::string> found(const Identity& identity = product()) const
    {
        std::vector<std::string> paths;
        for (const FoundItem& item : scan(identity)) {
            paths.push_back(item.path());
        }
        return paths;
    }

    // Everything in the home and beside it but what the Trash keeps for itself.
    [[nodiscard]] Snapshot everything() const
    {
        Snapshot all = snapshotOf(home());
        all.merge(snapshotOf(scratch()));
        return without(std::move(all), {(home() / ".Trash").string(), (home() / ".local/share").string()});
    }

private:
    void makeInstallation() const
    {
        write(home() / "Applications/Zyn.app/Contents/Info.plist", "app");
        write(home() / ".zyn/bin/zyn", marker);
        write(home() / ".zyn/settings", "settings");
        makeLink(home() / ".zyn/crucible", scratch() / "drive/crucible");
        write(scratch() / "drive/crucible/weights", "weights");
        write(home() / ".config/zyn/config", "config");
        write(home() / "models/Vantor/weights", "more weights");
        write(home() / "bin/zyn", "old " + marker);
        makeLink(home() / ".local/bin/zyn", scratch() / "builds/zyn-0.3");
        write(scratch() / "builds/zyn-0.3", "older " + marker);
        write(home() / "Library/Application Support/zyn/state", "state");
        write(home() / "Library/Logs/zyn/log", "log");
        write(home() / "Library/Caches/com.zyn.desktop/cache", "cache");
        makeLink(home() / "Library/Caches/zyn", scratch() / "cache of others");
        write(home() / "Library/Preferences/com.zyn.desktop.plist", "preferences");
        write(home() / ".vscode/extensions/zyn-labs.zyn-1.0/package.json", "{}");
        write(home() / "tmp/zyn.lock", "lock");
        write(home() / ".cache/zyn/shaders", "shaders");
    }

    void makeNeighbours() const
    {
        write(scratch() / "cache of others/precious", "precious");
        write(home() / "Library/Application Support/zynthian/state", "not the product's");
        write(home() / "Library/Caches/zyn-old/cache", "not the product's");
        write(home() / "Documents/letter", "dear");
        write(home() / "tmp/other.lock", "not the product's");
        write(home() / "bin/other", marker);
        makeLink(home() / "Documents/link", home() / ".zyn");
    }
};

TEST_F(RemovalTest, nothingButTheChosenItemsChanges)
{
    const std::vector<FoundItem> items = scan();
    ASSERT_GE(items.size(), 15U);
    for (const std::size_t parity : {0U, 1U}) {
        const Snapshot before = everything();
        std::vector<fs::path> chosen;
        std::set<std::string> gone;
        for (std::size_t index = parity; index < items.size(); index += 2) {
            if (fs::exists(items[index].url)) { // what lay in an item that was moved went with it
                chosen.push_back(items[index].url);
                gone.insert(items[index].path());
            }
        }
        for (const Remover::Result& result : Remover::trash(chosen)) {
            const bool wentWithAnother = std::ranges::any_of(
                gone, [&result](const std::string& path) { return path != result.path && liesIn(result.path, path); });
            EXPECT_TRUE(result.trashed || wentWithAnother) << result.path << ": " << result.error.value_or("");
        }
        EXPECT_EQ(everything(), without(before, gone));
    }
}

TEST_F(RemovalTest, whatIsMovedLiesWholeInTheTrash)
{
    const std::vector<FoundItem> items = scan();
    const Snapshot before = everything();
    const auto app = std::ranges::find(items, "Zyn.app", &FoundItem::name);
    ASSERT_NE(app, items.end());
    ASSERT_TRUE(Remover::trash({app->url}).front().trashed);
    EXPECT_EQ(read(trash() / "Zyn.app/Contents/Info.plist"), "app");
    // Put back by hand, everything is as it was.
    fs::rename(trash() / "Zyn.app", app->url);
    EXPECT_EQ(everything(), before);
    EXPECT_EQ(scan(), items);
}

TEST_F(RemovalTest, everythingAtOnceLeavesTheNeighboursAndNothingToFind)
{
    const Snapshot before = everything();
    const std::vector<FoundItem> items = scan();
    std::set<std::string> gone;
    for (const FoundItem& item : items) {
        gone.insert(item.path());
    }
    Remover::trash(urlsOf(items));
    EXPECT_THAT(found(), testing::IsEmpty());
    EXPECT_EQ(everything(), without(before, gone));
    EXPECT_EQ(read(scratch() / "cache of others/precious"), "precious");
}

TEST_F(RemovalTest, aLinkGoesAloneAndItsTargetStaysUntouched)
{
    const std::vector<FoundItem> items = scan();
    const fs::path link = home() / "Library/Caches/zyn";
    ASSERT_THAT(urlsOf(items), Contains(link));
    const Snapshot before = everything();
    struct stat target {};
    ASSERT_EQ(::stat((scratch() / "cache of others/precious").c_str(), &target), 0);
    ASSERT_TRUE(Remover::trash({link}).front().trashed);
    EXPECT_EQ(everything(), without(before, {link.string()}));
    EXPECT_EQ(fs::read_symlink(trash() / "zyn"), scratch() / "cache of others");
    struct stat after {};
    ASSERT_EQ(::stat((scratch() / "cache of others/precious").c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, target.st_ino);
    EXPECT_EQ(after.st_ctime, target.st_ctime);
}

TEST_F(RemovalTest, aStoreThatALinkLeadsToGoesItselfAndTheLinkStays)
{
    const std::vector<FoundItem> items = scan();
    const fs::path store = scratch() / "drive/crucible";
    ASSERT_THAT(urlsOf(items), Contains(store));
    const Snapshot before = everything();
    ASSERT_TRUE(Remover::trash({store}).front().trashed);
    EXPECT_EQ(everything(), without(before, {store.string()}));
    EXPECT_TRUE(fs::is_symlink(home() / ".zyn/crucible"));
    EXPECT_THAT(found(), Not(Contains(store.string())));
}

TEST_F(RemovalTest, anItemThatALinkHasReplacedSinceTheScanIsMovedAsThatLink)
{
    const std::vector<FoundItem> items = scan();
    write(scratch() / "precious/data", "precious");
    const fs::path folder = home() / "models/Vantor";
    const fs::path file = home() / "bin/zyn";
    fs::rename(folder, scratch() / "kept folder");
    fs::rename(file, scratch() / "kept file");
    makeLink(folder, scratch() / "precious");
    makeLink(file, scratch() / "precious/data");
    const Snapshot before = everything();
    for (const fs::path& path : {folder, file}) {
        ASSERT_THAT(urlsOf(items), Contains(path));
        EXPECT_TRUE(Remover::trash({path}).front().trashed);
    }
    EXPECT_EQ(everything(), without(before, {folder.string(), file.string()}));
    EXPECT_EQ(fs::read_symlink(trash() / "Vantor"), scratch() / "precious");
    EXPECT_EQ(fs::read_symlink(trash() / "zyn"), scratch() / "precious/data");
    EXPECT_EQ(read(scratch() / "precious/data"), "precious");
}

TEST_F(RemovalTest, anItemThatHasVanishedSinceTheScanIsReportedAndTheOthersAreMoved)
{
    const std::vector<FoundItem> items = scan();
    fs::remove_all(home() / "Library/Logs/zyn");
    const std::vector<Remover::Result> results = Remover::trash({home() / "Applications/Zyn.app",
                                                                 home() / "Library/Logs/zyn",
                                                                 home() / "Library/Preferences/com.zyn.desktop.plist"});
    EXPECT_TRUE(results[0].trashed);
    EXPECT_FALSE(results[1].trashed);
    EXPECT_EQ(results[1].error, "The file “zyn” doesn’t exist.");
    EXPECT_TRUE(results[2].trashed);
    EXPECT_EQ(scan().size(), items.size() - 3);
}

#ifndef __APPLE__

// As root only an immutable file, or a full or read-only volume, stays where it is.
class StubbornFile
{
public:
    explicit StubbornFile(fs::path file)
        : file_(std::move(file))
        , stands_(TestSupport::isRoot() && run("chattr +i"))
    {
    }
    ~StubbornFile() { EXPECT_TRUE(!stands_ || run("chattr -i")); }
    StubbornFile(const StubbornFile&) = delete;
    StubbornFile& operator=(const StubbornFile&) = delete;
    [[nodiscard]] bool stands() const { return stands_; }

private:
    [[nodiscard]] bool run(const std::string& command) const
    {
        return std::system((command + " '" + file_.string() + "' 2>/dev/null").c_str()) == 0;
    }

    fs::path file_;
    bool stands_;
};

TEST_F(RemovalTest, anItemThatMayNotBeMovedIsReportedAndFoundAgain)
{
    const std::vector<FoundItem> items = scan();
    const fs::path app = home() / "Applications/Zyn.app";
    const fs::path preferences = home() / "Library/Preferences/com.zyn.desktop.plist";
    const fs::path fixed = home() / "bin/zyn";
    const StubbornFile stubborn(fixed);
    if (!stubborn.stands()) {
        GTEST_SKIP() << "making a file immutable takes root and a file system that knows it";
    }
    const Snapshot before = everything();
    const std::vector<Remover::Result> results = Remover::trash({app, fixed, preferences});
    EXPECT_TRUE(results[0].trashed);
    EXPECT_FALSE(results[1].trashed);
    EXPECT_EQ(results[1].error, "“zyn” couldn’t be moved to the trash because you don’t have permission to access it.");
    EXPECT_TRUE(results[2].trashed);
    EXPECT_EQ(everything(), without(before, {app.string(), preferences.string()}));
    EXPECT_THAT(found(), Contains(fixed.string()));
    EXPECT_EQ(scan().size(), items.size() - 2);
}

// Writes until nothing more fits, and makes files until there is no room for another.
void fill(const fs::path& volume)
{
    const std::string piece(65536, 'f');
    for (const std::size_t size : {piece.size(), std::size_t {1024}, std::size_t {1}}) {
        const int file = ::open((volume / ("filler" + std::to_string(size))).c_str(), O_CREAT | O_WRONLY, 0600);
        while (::write(file, piece.data(), size) == static_cast<ssize_t>(size)) { }
        ::fsync(file);
        ::close(file);
    }
}

// With and without a Trash that was there before.
class FullVolumeTest : public RemovalTest, public testing::WithParamInterface<bool>
{
};

TEST_P(FullVolumeTest, keepsItsItemsAndTheOthersAreMoved)
{
    const TestSupport::MountedVolume volume(scratch() / "small drive", "ext4", 8);
    if (!volume.mounted()) {
        GTEST_SKIP() << "mounting a volume takes root";
    }
    if (GetParam()) {
        write(volume.path() / "earlier", "x");
        ASSERT_TRUE(Remover::trash({volume.path() / "earlier"}).front().trashed);
    }
    const fs::path kept = volume.path() / "models/zyn";
    write(kept / "weights", "weights");
    Identity identity = product();
    identity.modelPaths.push_back(kept.string());
    fill(volume.path());
    const std::vector<FoundItem> items = scan(identity);
    ASSERT_THAT(urlsOf(items), Contains(kept));
    const Snapshot before = snapshotOf(volume.path());

    const fs::path app = home() / "Applications/Zyn.app";
    const fs::path logs = home() / "Library/Logs/zyn";
    const std::vector<Remover::Result> results = Remover::trash({app, kept, logs});
    EXPECT_TRUE(results[0].trashed);
    EXPECT_FALSE(results[1].trashed);
    EXPECT_EQ(results[1].error, "“zyn” couldn’t be moved to the trash because the volume is full.");
    EXPECT_TRUE(results[2].trashed);
    EXPECT_EQ(snapshotOf(volume.path()), before);
    EXPECT_THAT(found(identity), Contains(kept.string()));
    EXPECT_EQ(scan(identity).size(), items.size() - 2);
}

INSTANTIATE_TEST_SUITE_P(Trash, FullVolumeTest, testing::Bool(), [](const auto& info) {
    return info.param ? "thatWasThere" : "thatIsNotThereYet";
});

TEST_F(RemovalTest, aFullVolumeKeepsALinkThatIsReachedThroughItself)
{
    const TestSupport::MountedVolume volume(scratch() / "small drive", "ext4", 8);
    if (!volume.mounted()) {
        GTEST_SKIP() << "mounting a volume takes root";
    }
    write(volume.path() / "earlier", "x");
    ASSERT_TRUE(Remover::trash({volume.path() / "earlier"}).front().trashed);
    const fs::path link = volume.path() / "here";
    fs::create_symlink(".", link);
    fill(volume.path());
    const Snapshot before = snapshotOf(volume.path());
    const Remover::Result result = Remover::trash({link / "here"}).front();
    EXPECT_FALSE(result.trashed);
    EXPECT_EQ(result.error, "“here” couldn’t be moved to the trash because the volume is full.");
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(snapshotOf(volume.path()), before);
}

TEST_F(RemovalTest, aReadOnlyVolumeKeepsItsItemsAndTheOthersAreMoved)
{
    const TestSupport::MountedVolume volume(scratch() / "drive of old", "ext4", 8);
    if (!volume.mounted()) {
        GTEST_SKIP() << "mounting a volume takes root";
    }
    const fs::path kept = volume.path() / "zyn";
    write(kept / "weights", "weights");
    ASSERT_EQ(std::system(("mount -o remount,ro '" + volume.path().string() + "'").c_str()), 0);
    Identity identity = product();
    identity.modelPaths.push_back(kept.string());
    ASSERT_THAT(found(identity), Contains(kept.string()));
    const fs::path app = home() / "Applications/Zyn.app";
    const std::vector<Remover::Result> results = Remover::trash({kept, app});
    EXPECT_FALSE(results[0].trashed);
    EXPECT_THAT(results[0].error.value_or(""), testing::StartsWith("“zyn” couldn’t be moved to the trash"));
    EXPECT_TRUE(results[1].trashed);
    EXPECT_EQ(read(kept / "weights"), "weights");
    EXPECT_THAT(found(identity), Contains(kept.string()));
}

#endif

} // namespace
