#include "ManagerCore/Platform/Platform.h"

#include <cerrno>

#include <gmock/gmock.h>

#include "ManagerCore/Foundation/Proc.h"
#include "ManagerCore/Platform/ErrorText.h"
#include "Tests/Support/Sandbox.h"

namespace Platform = ManagerCore::Platform;
namespace ErrorText = ManagerCore::Platform::ErrorText;
namespace fs = std::filesystem;

namespace
{

using PlatformTest = TestSupport::SandboxTest;

TEST_F(PlatformTest, theHomeIsLookedUpOnce)
{
    EXPECT_EQ(Platform::homeFolder(), home());
    const TestSupport::EnvironmentVariable other("HOME", "/elsewhere");
    const TestSupport::EnvironmentVariable fixed("CFFIXED_USER_HOME", "/elsewhere");
    EXPECT_EQ(Platform::homeFolder(), home());
    EXPECT_FALSE(Platform::homeFolderOf("nobody-has-this-name").has_value());
}

TEST_F(PlatformTest, theApplicationIsTheRunningProgram)
{
    EXPECT_EQ(Platform::application().filename(), "PlatformTests");
    ASSERT_TRUE(Platform::resourceFolder().has_value());
    EXPECT_TRUE(fs::is_directory(*Platform::resourceFolder() / "databases"));
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
              "The attribute “user.a” of the file “P” couldn’t be saved because it is too large for the volume.");
    EXPECT_EQ(ErrorText::attribute(ENOSPC, file, "user.a"),
              "The attribute “user.a” of the file “P” couldn’t be saved because the volume has no room for it.");
    EXPECT_EQ(ErrorText::attribute(EIO, file, "user.a"),
              "The attribute “user.a” of the file “P” couldn’t be saved (Input/output error).");
    EXPECT_EQ(ErrorText::refusedName(file), "The name “P” can’t be used on this volume.");
}

} // namespace
