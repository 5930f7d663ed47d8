// What is kept beside the contents.

#include "LinuxTools/Ditto/Attributes.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/mount.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "Tests/LinuxTools/Support/DittoTest.h"

namespace
{

using namespace TestSupport;
using ManagerCore::Proc::Out;
namespace fs = std::filesystem;

using DittoAttributes = DittoTest;

const Out done {0, "", ""};

int setAttribute(const fs::path& path, const std::string& name, const std::string& value)
{
    return ::lsetxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0);
}

std::string attribute(const fs::path& path, const std::string& name)
{
    std::array<char, 4096> value {};
    const ssize_t size = ::lgetxattr(path.c_str(), name.c_str(), value.data(), value.size());
    return size < 0 ? "(absent)" : std::string(value.data(), static_cast<std::size_t>(size));
}

// An access list as the kernel takes it: the owner, one user, the group, the mask, all others.
std::string accessList(unsigned user)
{
    std::string list("\x02\0\0\0", 4);
    const auto entry = [&list](unsigned tag, unsigned permissions, unsigned identifier) {
        for (const unsigned value : {tag, permissions}) {
            list += static_cast<char>(value);
            list += static_cast<char>(value >> 8U);
        }
        for (unsigned shift = 0; shift < 32; shift += 8) {
            list += static_cast<char>(identifier >> shift);
        }
    };
    entry(0x01, 6, ~0U);
    entry(0x02, 4, user);
    entry(0x04, 4, ~0U);
    entry(0x10, 6, ~0U);
    entry(0x20, 0, ~0U);
    return list;
}

TEST_F(DittoAttributes, AreKeptOnFilesAndFolders)
{
    write(source() / "folder/file", "x");
    const std::string bytes = std::string("any\0bytes\xff", 10);
    ASSERT_EQ(setAttribute(source() / "folder/file", "user.name", bytes), 0);
    ASSERT_EQ(setAttribute(source() / "folder/file", "user.empty", ""), 0);
    ASSERT_EQ(setAttribute(source() / "folder", "user.of a folder", "value"), 0);
    ASSERT_EQ(setAttribute(source(), "user.of the root", "value"), 0);
    EXPECT_EQ(ditto(source(), destination()), done);
    EXPECT_EQ(attribute(destination() / "folder/file", "user.name"), bytes);
    EXPECT_EQ(attribute(destination() / "folder/file", "user.empty"), "");
    EXPECT_EQ(attribute(destination() / "folder", "user.of a folder"), "value");
    EXPECT_EQ(attribute(destination(), "user.of the root"), "value");
}

TEST_F(DittoAttributes, AreKeptOnFilesThatTheirOwnerMayNotWrite)
{
    write(source(), "x");
    ASSERT_EQ(setAttribute(source(), "user.name", "value"), 0);
    fs::permissions(source(), fs::perms(0444));
    const auto out = dittoAsNobody(source(), destination());
    if (!out) {
        GTEST_SKIP() << "Only root can become another user.";
    }
    EXPECT_EQ(*out, done);
    EXPECT_EQ(attribute(destination(), "user.name"), "value");
    EXPECT_EQ(statusOf(destination()).st_mode & 07777U, 0444U);
}

TEST_F(DittoAttributes, OfLinksAreTheLinksOwn)
{
    write(source() / "file", "x");
    makeLink(source() / "link", "file");
    if (setAttribute(source() / "link", "trusted.name", "of the link") != 0) {
        GTEST_SKIP() << "Only root gives links attributes.";
    }
    ASSERT_EQ(::lchown((source() / "link").c_str(), 1234, 4321), 0);
    const timespec times[] = {{.tv_sec = 1000, .tv_nsec = 1}, {.tv_sec = 2000, .tv_nsec = 123456789}};
    ASSERT_EQ(::utimensat(AT_FDCWD, (source() / "link").c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
    EXPECT_EQ(ditto(source(), destination()), done);
    EXPECT_EQ(attribute(destination() / "link", "trusted.name"), "of the link");
    EXPECT_EQ(attribute(destination() / "file", "trusted.name"), "(absent)");
    EXPECT_EQ(statusOf(destination() / "link").st_uid, 1234U);
    EXPECT_EQ(statusOf(destination() / "link").st_gid, 4321U);
    EXPECT_EQ(statusOf(destination() / "link").st_mtim.tv_nsec, 123456789);
    EXPECT_NE(statusOf(destination() / "file").st_uid, 1234U);
}

TEST_F(DittoAttributes, IncludeAccessLists)
{
    write(source() / "file", "x");
    const std::string list = accessList(1234);
    if (setAttribute(source() / "file", "system.posix_acl_access", list) != 0) {
        GTEST_SKIP() << "The file system here knows no access lists.";
    }
    ASSERT_EQ(setAttribute(source(), "system.posix_acl_default", list), 0);
    write(source() / "plain", "x"); // takes the folder's over
    ASSERT_EQ(::lremovexattr((source() / "plain").c_str(), "system.posix_acl_access"), 0);
    fs::permissions(source() / "plain", fs::perms(0604));
    EXPECT_EQ(ditto(source(), destination()), done);
    EXPECT_EQ(attribute(destination() / "file", "system.posix_acl_access"), list);
    EXPECT_EQ(attribute(destination(), "system.posix_acl_default"), list);
    EXPECT_EQ(portrait(destination()), portrait(source()));
}

// What the folder around gives to all that is new in it is not the source's.
TEST_F(DittoAttributes, AreNotTakenFromTheDestinationsFolder)
{
    write(source() / "folder/file", "x");
    write(source() / "second/file", "x");
    fs::permissions(source() / "folder/file", fs::perms(0640));
    fs::create_directories(destination());
    if (setAttribute(destination(), "system.posix_acl_default", accessList(1234)) != 0) {
        GTEST_SKIP() << "The file system here knows no access lists.";
    }
    EXPECT_EQ(ditto(source(), destination()), done);
    EXPECT_EQ(portrait(destination() / "folder"), portrait(source() / "folder"));
    EXPECT_EQ(attribute(destination() / "folder", "system.posix_acl_default"), "(absent)");
    EXPECT_EQ(attribute(destination() / "folder/file", "system.posix_acl_access"), "(absent)");
}

TEST_F(DittoAttributes, IncludeOwnersForRoot)
{
    if (!isRoot()) {
        GTEST_SKIP() << "Only root gives files away.";
    }
    write(source() / "file", "x");
    ASSERT_EQ(::chown((source() / "file").c_str(), 1234, 4321), 0);
    fs::permissions(source() / "file", fs::perms(06755)); // which a change of owner takes away
    ASSERT_EQ(::chown(source().c_str(), 4321, 1234), 0);
    EXPECT_EQ(ditto(source(), destination()), done);
    EXPECT_EQ(portrait(destination()), portrait(source()));
    EXPECT_EQ(statusOf(destination() / "file").st_mode & 07777U, 06755U);
    EXPECT_EQ(statusOf(destination() / "file").st_uid, 1234U);
}

TEST_F(DittoAttributes, DropPowersWhoseOwnerIsLost)
{
    write(source(), "#!/bin/sh\n");
    fs::permissions(source(), fs::perms(06755));
    const auto out = dittoAsNobody(source(), destination());
    if (!out) {
        GTEST_SKIP() << "Only root can become another user.";
    }
    EXPECT_EQ(*out, done);
    EXPECT_EQ(statusOf(destination()).st_uid, 65534U);
    EXPECT_EQ(statusOf(destination()).st_mode & 07777U, 0755U);
}

TEST_F(DittoAttributes, KeepTimesToTheNanosecond)
{
    write(source() / "file", "x");
    const timespec times[] = {{.tv_sec = 1, .tv_nsec = 987654321}, {.tv_sec = -5, .tv_nsec = 123456789}};
    ASSERT_EQ(::utimensat(AT_FDCWD, (source() / "file").c_str(), times, 0), 0);
    ASSERT_EQ(::utimensat(AT_FDCWD, source().c_str(), times, 0), 0);
    EXPECT_EQ(ditto(source(), destination()), done);
    for (const char* name : {"file", "."}) {
        EXPECT_EQ(statusOf(destination() / name).st_mtim.tv_sec, -5);
        EXPECT_EQ(statusOf(destination() / name).st_mtim.tv_nsec, 123456789);
    }
}

TEST_F(DittoAttributes, SayOnceThatTheVolumeHasNoRoomForThem)
{
    const auto volume = scratch() / "volume";
    fs::create_directories(volume);
    if (::mount("ramfs", volume.c_str(), "ramfs", 0, nullptr) != 0) {
        GTEST_SKIP() << "A volume can only be mounted as root.";
    }
    write(source() / "a", "a");
    write(source() / "b", "b");
    ASSERT_EQ(setAttribute(source() / "a", "user.name", "x"), 0);
    ASSERT_EQ(setAttribute(source() / "b", "user.name", "x"), 0);
    const Out out = ditto(source(), volume / "copy");
    EXPECT_EQ(out, (Out {0, "", "ditto: Some attributes, of the file “a” first, can’t be kept on its new volume.\n"}));
    EXPECT_EQ(read(volume / "copy/b"), "b");
    EXPECT_EQ(::umount(volume.c_str()), 0);
}

} // namespace
