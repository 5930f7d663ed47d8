#include "Tests/LinuxTools/Support/DittoTest.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <random>
#include <sstream>
#include <sys/xattr.h>
#include <unistd.h>

namespace TestSupport
{

namespace fs = std::filesystem;
using ManagerCore::Proc::Out;

namespace
{

std::string attributesOf(const fs::path& path)
{
    std::array<char, 4096> names {};
    const ssize_t size = ::llistxattr(path.c_str(), names.data(), names.size());
    std::map<std::string, std::string> attributes;
    for (ssize_t at = 0; at < size;) {
        const std::string name = &names[static_cast<std::size_t>(at)];
        std::array<char, 4096> value {};
        const ssize_t length = ::lgetxattr(path.c_str(), name.c_str(), value.data(), value.size());
        attributes[name] = std::string(value.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
        at += static_cast<ssize_t>(name.size()) + 1;
    }
    std::string text;
    for (const auto& [name, value] : attributes) {
        text += " " + name + "=" + value;
    }
    return text;
}

std::string contentsOf(const fs::path& path, const struct stat& status)
{
    if (S_ISREG(status.st_mode)) {
        return std::to_string(std::hash<std::string> {}(read(path)));
    }
    return S_ISLNK(status.st_mode) ? fs::read_symlink(path).string() : "";
}

} // namespace

Out DittoTest::ditto(const fs::path& source, const fs::path& destination)
{
    return ManagerCore::Proc::run(builtProgram("ditto").string(), {source.string(), destination.string()});
}

std::optional<Out> DittoTest::dittoAsNobody(const fs::path& source, const fs::path& destination)
{
    fs::permissions(scratch().parent_path(), fs::perms(0755));
    fs::permissions(scratch(), fs::perms(0777));
    const std::vector<std::string> asNobody {"--reuid=65534", "--regid=65534", "--clear-groups"};
    const std::string program = builtProgram("ditto").string();
    auto arguments = asNobody;
    arguments.insert(arguments.end(), {program, "--help"});
    if (!isRoot() || !ManagerCore::Proc::run("/usr/bin/setpriv", arguments).ok()) {
        return std::nullopt;
    }
    arguments = asNobody;
    arguments.insert(arguments.end(), {program, source.string(), destination.string()});
    return ManagerCore::Proc::run("/usr/bin/setpriv", arguments);
}

struct stat statusOf(const fs::path& path)
{
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status;
}

std::vector<std::string> namesIn(const fs::path& folder)
{
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        names.push_back(entry.path().filename().string());
    }
    std::ranges::sort(names);
    return names;
}

std::string portrait(const fs::path& folder)
{
    std::vector<fs::path> paths {folder};
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        paths.push_back(entry.path());
    }
    std::ranges::sort(paths);
    std::map<std::pair<dev_t, ino_t>, std::size_t> seen;
    std::ostringstream text;
    for (const fs::path& path : paths) {
        const struct stat status = statusOf(path);
        const std::size_t first = seen.emplace(std::pair {status.st_dev, status.st_ino}, seen.size()).first->second;
        text << path.lexically_relative(folder).string() << " " << std::oct << status.st_mode << std::dec << " "
             << status.st_uid << ":" << status.st_gid << " "
             << (S_ISDIR(status.st_mode) ? 0 : static_cast<long long>(status.st_size)) << " " << status.st_mtim.tv_sec
             << "." << status.st_mtim.tv_nsec << " #" << first << " " << contentsOf(path, status) << attributesOf(path)
             << "\n";
    }
    return text.str();
}

std::string noise(std::size_t size)
{
    std::mt19937_64 random(size);
    std::string bytes;
    bytes.reserve(size + 8);
    while (bytes.size() < size) {
        const std::uint64_t number = random();
        bytes.append(reinterpret_cast<const char*>(&number), sizeof(number));
    }
    bytes.resize(size);
    return bytes;
}

} // namespace TestSupport
