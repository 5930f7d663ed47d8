#include "ManagerCore/Platform/Platform.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <sys/resource.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "ManagerCore/Foundation/Proc.h"
#include "ManagerCore/Platform/ErrorText.h"
#include "ManagerCore/Platform/Posix.h"
#include "Tests/Support/Permissions.h"
#include "Tests/Support/Sandbox.h"

namespace Platform = ManagerCore::Platform;
namespace ErrorText = ManagerCore::Platform::ErrorText;
namespace Posix = ManagerCore::Platform::Posix;
namespace fs = std::filesystem;

namespace
{

using PlatformTest = TestSupport::SandboxTest;

TEST_F(PlatformTest, aPipeIsClosedInNewPrograms)
{
    std::array<Platform::UniqueFd, 2> ends;
    ASSERT_TRUE(Platform::makePipe(ends));
    EXPECT_EQ(::write(ends[1].get(), "x", 1), 1);
    for (const Platform::UniqueFd& end : ends) {
        EXPECT_EQ(::fcntl(end.get(), F_GETFD), FD_CLOEXEC);
    }
}

TEST_F(PlatformTest, devicesOfOpenFilesAreCompared)
{
    const Platform::UniqueFd folder(::open(home().c_str(), O_RDONLY));
    const Platform::UniqueFd other(::open("/dev/null", O_RDONLY));
    EXPECT_TRUE(Posix::areOnOneDevice(folder.get(), folder.get()));
    EXPECT_FALSE(Posix::areOnOneDevice(folder.get(), other.get()));
    EXPECT_FALSE(Posix::areOnOneDevice(folder.get(), -1));
}

TEST_F(PlatformTest, aCloneThatForbidsWritingIsOpenedForReading)
{
    const TestSupport::PermissionsHold hold;
    TestSupport::write(scratch() / "file", "x");
    TestSupport::makeLink(scratch() / "link", "file");
    const Platform::UniqueFd folder(::open(scratch().c_str(), O_RDONLY));
    const auto accessOf = [&folder](const char* name) {
        const Platform::UniqueFd file(Posix::openClone(folder.get(), name));
        return file.isOpen() ? ::fcntl(file.get(), F_GETFL) & O_ACCMODE : -1;
    };
    EXPECT_EQ(accessOf("file"), O_RDWR);
    fs::permissions(scratch() / "file", fs::perms::owner_read);
    EXPECT_EQ(accessOf("file"), O_RDONLY);
    EXPECT_EQ(accessOf("link"), -1);
}

TEST_F(PlatformTest, theHomeIsLookedUpOnce)
{
    EXPECT_EQ(Platform::homeFolder(), home());
    const TestSupport::EnvironmentVariable other("HOME", "/elsewhere");
    const TestSupport::EnvironmentVariable fixed("CFFIXED_USER_HOME", "/elsewhere");
    EXPECT_EQ(Platform::homeFolder(), home());
    EXPECT_FALSE(Platform::homeFolderOf("nobody-has-this-name").has_value());
}

TEST_F(PlatformTest, theHomeIsTheFirstFolderThatIsNamed)
{
    EXPECT_EQ(Posix::firstFolder({"/first", "/second"}), "/first");
    EXPECT_EQ(Posix::firstFolder({std::nullopt, "", "/users/me//"}).string(), "/users/me");
    EXPECT_EQ(Posix::firstFolder({"relative/"}), fs::current_path() / "relative");
    EXPECT_EQ(Posix::firstFolder({"/"}).string(), "/");
    EXPECT_EQ(Posix::firstFolder({std::nullopt, ""}), "/");
}

// The soft and the hard limit of open files while this lives.
class DescriptorLimits
{
public:
    DescriptorLimits(rlim_t soft, rlim_t hard)
    {
        ::getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit limits {.rlim_cur = soft, .rlim_max = hard};
        set_ = ::setrlimit(RLIMIT_NOFILE, &limits) == 0;
    }
    ~DescriptorLimits() { ::setrlimit(RLIMIT_NOFILE, &before_); }
    DescriptorLimits(const DescriptorLimits&) = delete;
    DescriptorLimits& operator=(const DescriptorLimits&) = delete;

    [[nodiscard]] bool areSet() const { return set_; }
    static rlim_t soft()
    {
        rlimit now {};
        ::getrlimit(RLIMIT_NOFILE, &now);
        return now.rlim_cur;
    }
    static rlim_t hard()
    {
        rlimit now {};
        ::getrlimit(RLIMIT_NOFILE, &now);
        return now.rlim_max;
    }

private:
    rlimit before_ {};
    bool set_ = false;
};

TEST_F(PlatformTest, aLowLimitOfOpenFilesIsRaised)
{
    {
        const DescriptorLimits few(256, DescriptorLimits::hard());
        Platform::prepareProcess();
        EXPECT_EQ(DescriptorLimits::soft(), 1024U);
    }
    const DescriptorLimits many(2000, DescriptorLimits::hard());
    Platform::prepareProcess();
    EXPECT_EQ(DescriptorLimits::soft(), 2000U) << "a higher one is kept";
}

TEST_F(PlatformTest, theLimitOfOpenFilesIsRaisedNoFurtherThanAllowed)
{
    if (!TestSupport::isRoot()) {
        GTEST_SKIP() << "only root can restore a hard limit";
    }
    const DescriptorLimits few(256, 512);
    ASSERT_TRUE(few.areSet());
    Platform::prepareProcess();
    EXPECT_EQ(DescriptorLimits::soft(), 512U);
    EXPECT_EQ(DescriptorLimits::hard(), 512U);
}

TEST_F(PlatformTest, anEmptyHomeVariableIsRemoved)
{
    {
        const TestSupport::EnvironmentVariable empty("HOME", "");
        Platform::prepareProcess();
        EXPECT_EQ(std::getenv("HOME"), nullptr);
    }
    Platform::prepareProcess();
    EXPECT_STREQ(std::getenv("HOME"), home().c_str());
}

using Platform::FileKind;

TEST_F(PlatformTest, aFoldersEntriesAreReadOnce)
{
    TestSupport::write(scratch() / "folder/file", "");
    TestSupport::write(scratch() / "folder/.hidden/file", "");
    TestSupport::makeLink(scratch() / "folder/link", "nowhere");
    const int descriptor = ::open((scratch() / "folder").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    std::map<std::string, FileKind> found;
    const auto collect = [&found](std::string_view name, FileKind kind) { found.emplace(name, kind); };
    EXPECT_TRUE(Platform::readFolder(descriptor, collect));
    EXPECT_THAT(found,
                testing::UnorderedElementsAre(testing::Pair("file", FileKind::file),
                                              testing::Pair(".hidden", FileKind::folder),
                                              testing::Pair("link", FileKind::link)));
    EXPECT_EQ(::faccessat(descriptor, "file", F_OK, 0), 0) << "the descriptor is still the caller's";
    ::close(descriptor);
}

TEST_F(PlatformTest, aReadersDescriptorServesDuringAndAfterReading)
{
    TestSupport::write(scratch() / "folder/file", "");
    const int descriptor = ::open((scratch() / "folder").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    {
        Platform::FolderReader reader {Platform::UniqueFd(descriptor)};
        EXPECT_EQ(reader.fd(), descriptor) << "the folder is not opened again";
        EXPECT_TRUE(reader.read([&reader](std::string_view name, FileKind) {
            EXPECT_EQ(::faccessat(reader.fd(), std::string(name).c_str(), F_OK, 0), 0);
        }));
        EXPECT_EQ(::faccessat(reader.fd(), "file", F_OK, 0), 0);
    }
    EXPECT_EQ(::fcntl(descriptor, F_GETFD), -1) << "closed with the reader";
}

TEST_F(PlatformTest, anUnreadReaderClosesItsDescriptor)
{
    const int descriptor = ::open(scratch().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    {
        const Platform::FolderReader reader {Platform::UniqueFd(descriptor)};
    }
    EXPECT_EQ(::fcntl(descriptor, F_GETFD), -1);
}

TEST_F(PlatformTest, readingReportsWhatIsNoOpenFolder)
{
    const auto nothing = [](std::string_view, FileKind) { FAIL(); };
    TestSupport::write(scratch() / "file", "");
    Platform::FolderReader file {Platform::UniqueFd(::open((scratch() / "file").c_str(), O_RDONLY | O_CLOEXEC))};
    EXPECT_FALSE(file.read(nothing));
    EXPECT_EQ(errno, ENOTDIR);
    Platform::FolderReader missing {Platform::UniqueFd(::open((scratch() / "none").c_str(), O_RDONLY | O_CLOEXEC))};
    EXPECT_FALSE(missing.read(nothing));
    EXPECT_EQ(errno, ENOENT) << "that of opening";
    EXPECT_FALSE(Platform::readFolder(-1, nothing));
    EXPECT_EQ(errno, EBADF);
}

TEST_F(PlatformTest, theApplicationIsTheRunningProgram)
{
    EXPECT_EQ(Platform::application().filename(), "PlatformTests");
    ASSERT_TRUE(Platform::resourceFolder().has_value());
    EXPECT_TRUE(fs::is_directory(*Platform::resourceFolder() / "databases"));
}

TEST_F(PlatformTest, aProgramInABundleIsTheBundle)
{
    EXPECT_EQ(Posix::applicationOf("/A/Some App.app/Contents/MacOS/some"), "/A/Some App.app");
    EXPECT_EQ(Posix::applicationOf("/A/Some App/Contents/MacOS/some"), "/A/Some App/Contents/MacOS/some");
    EXPECT_EQ(Posix::applicationOf("/A/Some.app/Contents/Helpers/some"), "/A/Some.app/Contents/Helpers/some");
    EXPECT_EQ(Posix::applicationOf("/usr/local/bin/some"), "/usr/local/bin/some");
    EXPECT_EQ(Posix::applicationOf("/some"), "/some");
}

TEST_F(PlatformTest, resourcesAreTheBundlesOrBesideBin)
{
    const fs::path inBundle = scratch() / "Some.app/Contents";
    const fs::path installed = scratch() / "installed";
    EXPECT_FALSE(Posix::resourcesOf(installed / "bin/some"));
    fs::create_directories(inBundle / "Resources");
    fs::create_directories(installed / "share/code-manager");
    EXPECT_EQ(Posix::resourcesOf(inBundle / "MacOS/some"), inBundle / "Resources");
    EXPECT_EQ(Posix::resourcesOf(installed / "bin/some"), installed / "share/code-manager");
}

TEST_F(PlatformTest, theVolumeOfAPlace)
{
    const auto root = Platform::volumeOf("/");
    ASSERT_TRUE(root.has_value());
    EXPECT_TRUE(root->isRoot);
    EXPECT_FALSE(root->name.empty());
    EXPECT_FALSE(Platform::volumeOf(scratch() / "none").has_value());
    EXPECT_FALSE(Platform::volumeOf({}).has_value());
}

TEST(ErrorTexts, areSentencesThatNameTheFile)
{
    const fs::path file = "/folder/P";
    EXPECT_EQ(
        ErrorText::saving(EEXIST, file),
        "The file “P” couldn’t be saved in the folder “folder” because a file with the same name already exists.");
    EXPECT_EQ(ErrorText::saving(ENOENT, file), "The file “P” doesn’t exist.");
    EXPECT_EQ(ErrorText::saving(EACCES, file),
              "You don’t have permission to save the file “P” in the folder “folder”.");
    EXPECT_EQ(ErrorText::saving(EPERM, file), ErrorText::saving(EACCES, file));
    EXPECT_EQ(ErrorText::saving(EROFS, file), "You can’t save the file “P” because the volume is read only.");
    EXPECT_EQ(ErrorText::saving(ENOSPC, file), "The file “P” couldn’t be saved because the volume is full.");
    EXPECT_EQ(ErrorText::saving(EDQUOT, file),
              "The file “P” couldn’t be saved because your disk quota on the volume is used up.");
    EXPECT_EQ(ErrorText::saving(EIO, file),
              "The file “P” couldn’t be saved in the folder “folder” (Input/output error).");
    EXPECT_EQ(ErrorText::saving(EIO, "/P"), "The file “P” couldn’t be saved in the folder “/” (Input/output error).");
    EXPECT_EQ(ErrorText::trashing(ENOENT, file), "The file “P” doesn’t exist.");
    EXPECT_EQ(ErrorText::trashing(ENOTSUP, file, "V"),
              "“P” couldn’t be moved to the trash because the volume “V” doesn’t have one.");
    EXPECT_EQ(ErrorText::trashing(EACCES, file),
              "“P” couldn’t be moved to the trash because you don’t have permission to access it.");
    EXPECT_EQ(ErrorText::trashing(ENOSPC, file), "“P” couldn’t be moved to the trash because the volume is full.");
    EXPECT_EQ(ErrorText::trashing(EDQUOT, file),
              "“P” couldn’t be moved to the trash because your disk quota on the volume is used up.");
    EXPECT_EQ(ErrorText::makingTrash(EDQUOT, file, "/T"), ErrorText::trashing(EDQUOT, file));
    EXPECT_EQ(ErrorText::makingTrash(EACCES, file, "/T"),
              "“P” couldn’t be moved to the trash because the folder “/T” couldn’t be made or opened (Permission "
              "denied).");
    EXPECT_EQ(ErrorText::trashing(EIO, "/folder/P//"), ErrorText::trashing(EIO, file));
    EXPECT_EQ(ErrorText::trashing(EIO, "/"), "“/” couldn’t be moved to the trash (Input/output error).");
    EXPECT_EQ(ErrorText::missing(""), "The file “” doesn’t exist.");
    EXPECT_EQ(ErrorText::reading(EACCES, file),
              "The file “P” couldn’t be opened because you don’t have permission to view it.");
    EXPECT_EQ(ErrorText::reading(EIO, file), "The file “P” couldn’t be opened (Input/output error).");
    EXPECT_EQ(ErrorText::launching(ENOMEM, file), "The file “P” couldn’t be run (Cannot allocate memory).");
    EXPECT_EQ(ErrorText::attribute(E2BIG, file, "user.a"),
              "The attribute “user.a” of the file “P” couldn’t be copied because it is too large for the volume.");
    EXPECT_EQ(ErrorText::attribute(ENOSPC, file, "user.a"),
              "The attribute “user.a” of the file “P” couldn’t be copied because it is too large for the volume.");
    EXPECT_EQ(ErrorText::attribute(EIO, file, "user.a"),
              "The attribute “user.a” of the file “P” couldn’t be copied (Input/output error).");
    EXPECT_EQ(ErrorText::refusedName(file), "The name “P” can’t be used on this volume.");
}

} // namespace
