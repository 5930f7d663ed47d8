#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

// A test's surroundings: a temporary home that is set before anything of the program looks for one, empty at the
// beginning of each test and removed at the end of the program.
namespace TestSupport
{

class SandboxTest : public ::testing::Test
{
protected:
    SandboxTest();
    ~SandboxTest() override;

    // The user's home, as HOME and the core see it.
    [[nodiscard]] const std::filesystem::path& home() const { return home_; }
    // A folder for everything else, beside the home.
    [[nodiscard]] const std::filesystem::path& scratch() const { return scratch_; }
    // Where the Trash of the home keeps its items.
    [[nodiscard]] std::filesystem::path trash() const;

private:
    std::filesystem::path home_;
    std::filesystem::path scratch_;
};

// Writes the file and the folders above it; fails the test when it cannot.
void write(const std::filesystem::path& file, std::string_view bytes);
void makeExecutable(const std::filesystem::path& file, std::string_view script);
void makeLink(const std::filesystem::path& link, const std::filesystem::path& destination);
std::string read(const std::filesystem::path& file);

// The program that tests run as a child; see TestChild.cpp for what it does.
std::filesystem::path testChild();
// A program of the build, by its name.
std::filesystem::path builtProgram(std::string_view name);

bool isRoot();

// An environment variable for as long as this lives.
class EnvironmentVariable
{
public:
    EnvironmentVariable(std::string name, std::optional<std::string> value);
    ~EnvironmentVariable();
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

private:
    std::string name_;
    std::optional<std::string> before_;
};

// A file system of its own from an image file, for a test that runs as root: "ext4", "xfs", "btrfs" or "tmpfs".
// `mounted` tells whether it stands; a test that needs it is skipped where it does not.
class MountedVolume
{
public:
    MountedVolume(const std::filesystem::path& mountPoint, const std::string& type, std::size_t megabytes);
    ~MountedVolume();
    MountedVolume(const MountedVolume&) = delete;
    MountedVolume& operator=(const MountedVolume&) = delete;

    [[nodiscard]] bool mounted() const { return mounted_; }
    [[nodiscard]] const std::filesystem::path& path() const { return mountPoint_; }

private:
    std::filesystem::path mountPoint_;
    std::filesystem::path image_;
    bool mounted_ = false;
};

} // namespace TestSupport
