#include "Tests/ManagerCore/Crucible/SampleTree.h"

#include <fcntl.h>
#include <fstream>
#include <functional>
#include <iterator>
#include <string_view>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "Tests/Support/Sandbox.h"

namespace SampleTree
{

namespace
{

namespace fs = std::filesystem;

std::string someBytes(std::int64_t count, unsigned seed)
{
    std::string bytes(static_cast<std::size_t>(count), '\0');
    std::uint64_t state = seed * 2654435761U + 1;
    for (char& byte : bytes) {
        state = state * 6364136223846793005U + 1442695040888963407U;
        byte = static_cast<char>(state >> 56U);
    }
    return bytes;
}

// Links can have none of their users', and these are for root alone: a copy may lack them.
void setAttributeOfLink([[maybe_unused]] const fs::path& link)
{
#ifndef __APPLE__
    ::lsetxattr(link.c_str(), "trusted.origin", "elsewhere", 9, 0);
#endif
}

// Where the system and the volume have them.
void setAttribute(const fs::path& path, const std::string& name, const std::string& value)
{
#ifdef __APPLE__
    ::setxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0, 0);
#else
    ::setxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0);
#endif
}

std::string attributesOf([[maybe_unused]] const fs::path& path)
{
    std::string text;
#ifndef __APPLE__
    std::string names(65536, '\0');
    const ssize_t size = ::llistxattr(path.c_str(), names.data(), names.size());
    std::map<std::string, std::string> sorted;
    for (ssize_t at = 0; at < size;) {
        const std::string name = names.c_str() + at;
        std::string value(65536, '\0');
        const ssize_t length = ::lgetxattr(path.c_str(), name.c_str(), value.data(), value.size());
        if (name.starts_with("user.")) {
            sorted[name] = value.substr(0, length > 0 ? static_cast<std::size_t>(length) : 0);
        }
        at += static_cast<ssize_t>(name.size()) + 1;
    }
    for (const auto& [name, value] : sorted) {
        text += " " + name + "=" + std::to_string(std::hash<std::string> {}(value));
    }
#endif
    return text;
}

// What each file holds, by its number: several names of one are read once.
using Sums = std::map<std::pair<dev_t, ino_t>, std::size_t>;

std::size_t sumOfFile(const fs::path& path)
{
    std::size_t sum = 0;
    std::string piece(1 << 20, '\0');
    std::ifstream stream(path, std::ios::binary);
    while (stream.read(piece.data(), static_cast<std::streamsize>(piece.size())) || stream.gcount() > 0) {
        sum = sum * 31 + std::hash<std::string_view> {}({piece.data(), static_cast<std::size_t>(stream.gcount())});
    }
    return sum;
}

std::size_t sumOfFile(const fs::path& path, const struct stat& facts, Sums& sums)
{
    const auto [sum, isNew] = sums.try_emplace({facts.st_dev, facts.st_ino}, 0);
    if (isNew) {
        sum->second = sumOfFile(path);
    }
    return sum->second;
}

std::string describe(const fs::path& path, Sums& sums)
{
    struct stat facts {};
    if (::lstat(path.c_str(), &facts) != 0) {
        return "missing";
    }
    const std::string time = std::to_string(facts.st_mtime);
    const std::string mode = std::to_string(facts.st_mode);
    if (S_ISLNK(facts.st_mode)) {
        return "link " + time + " to " + fs::read_symlink(path).string();
    }
    std::string text = mode + " " + time + attributesOf(path);
    if (S_ISREG(facts.st_mode)) {
        text += " " + std::to_string(facts.st_size) + " " + std::to_string(sumOfFile(path, facts, sums));
    }
    return text;
}

} // namespace

Contents contents(const fs::path& root)
{
    Sums sums;
    Contents found {{"", describe(root, sums)}};
    std::error_code error;
    for (fs::recursive_directory_iterator entry(root, error), end; !error && entry != end; entry.increment(error)) {
        found[entry->path().lexically_relative(root).string()] = describe(entry->path(), sums);
    }
    return found;
}

void writeWithHoles(const fs::path& file,
                    std::int64_t length,
                    const std::vector<std::pair<std::int64_t, std::int64_t>>& stretches)
{
    fs::create_directories(file.parent_path());
    const int descriptor = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    ASSERT_EQ(::ftruncate(descriptor, length), 0);
    for (const auto& [offset, count] : stretches) {
        const std::string bytes = someBytes(count, static_cast<unsigned>(offset));
        ASSERT_EQ(::pwrite(descriptor, bytes.data(), bytes.size(), offset), count) << file;
    }
    ::close(descriptor);
}

void make(const fs::path& root, std::int64_t bytes)
{
    TestSupport::write(root / "config.json", "{}\n");
    TestSupport::write(root / "weights.safetensors", someBytes(bytes, 7));
    TestSupport::write(root / "nested/deep/er/part \"1\" of\n2", someBytes(70000, 8));
    TestSupport::write(root / "nested/caf\xE9", someBytes(4097, 9));
    TestSupport::write(root / "empty", "");
    fs::create_directories(root / "an empty folder");
    writeWithHoles(root / "holes", 1 << 20, {{0, 4096}, {300000, 65536}, {(1 << 20) - 4096, 4096}});
    fs::create_hard_link(root / "weights.safetensors", root / "nested/second name");
    TestSupport::makeLink(root / "link", "nested/deep");
    TestSupport::makeLink(root / "dangling", "/Volumes/Gone/" + std::string(200, 'x'));
    setAttributeOfLink(root / "link");
    setAttribute(root / "config.json", "user.origin", "somewhere");
    setAttribute(root / "nested", "user.folder", std::string(300, 'v'));
    fs::permissions(root / "config.json", static_cast<fs::perms>(0640));
    const auto past = fs::file_time_type::clock::now() - std::chrono::hours(1000);
    fs::last_write_time(root / "weights.safetensors", past);
    fs::last_write_time(root / "nested/deep", past);
    fs::last_write_time(root, past);
}

void makeLarge(const fs::path& file, std::int64_t bytes)
{
    fs::create_directories(file.parent_path());
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    std::string piece = someBytes(1 << 20, 3);
    for (std::int64_t done = 0; done < bytes; done += static_cast<std::int64_t>(piece.size())) {
        piece[0] = static_cast<char>(done >> 20);
        stream.write(piece.data(), static_cast<std::streamsize>(piece.size()));
    }
    stream.close();
    ASSERT_TRUE(stream.good()) << file;
}

std::uint64_t sumOf(const fs::path& root)
{
    std::uint64_t sum = 0;
    std::map<std::string, fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        files.emplace(entry.path().lexically_relative(root).string(), entry.path());
    }
    for (const auto& [name, path] : files) {
        sum = sum * 31 + std::hash<std::string> {}(name);
        sum = sum * 31 + sumOfFile(path);
    }
    return sum;
}

void makeRandom(const fs::path& root, std::mt19937& random)
{
    const auto upTo = [&random](std::int64_t count) {
        return static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(count));
    };
    std::vector<fs::path> folders {root};
    fs::create_directories(root);
    for (std::int64_t index = upTo(6); index > 0; index--) {
        folders.push_back(folders[static_cast<std::size_t>(upTo(static_cast<std::int64_t>(folders.size())))]
                          / ("folder " + std::to_string(index)));
        fs::create_directories(folders.back());
    }
    std::vector<fs::path> files;
    for (std::int64_t index = upTo(25) + 1; index > 0; index--) {
        const fs::path& folder = folders[static_cast<std::size_t>(upTo(static_cast<std::int64_t>(folders.size())))];
        const fs::path file = folder / ("file" + std::to_string(index));
        switch (upTo(6)) {
        case 0:
            TestSupport::write(file, someBytes(upTo(3) == 0 ? upTo(3'000'000) : upTo(10'000), random()));
            files.push_back(file);
            break;
        case 1: {
            const std::int64_t length = upTo(6'000'000) + 1;
            std::vector<std::pair<std::int64_t, std::int64_t>> stretches;
            for (std::int64_t stretch = upTo(20); stretch > 0; stretch--) {
                const std::int64_t offset = upTo(length);
                stretches.emplace_back(offset, std::min(upTo(100'000) + 1, length - offset));
            }
            writeWithHoles(file, length, stretches);
            files.push_back(file);
            break;
        }
        case 2:
            TestSupport::makeLink(file, std::string(static_cast<std::size_t>(upTo(1000) + 1), 't'));
            break;
        case 3:
            if (!files.empty()) {
                fs::create_hard_link(files.back(), file);
            }
            break;
        default:
            TestSupport::write(file, someBytes(upTo(5000) + 1, random()));
            files.push_back(file);
            break;
        }
        if (!files.empty() && upTo(4) == 0) {
            setAttribute(files.back(), "user.note", std::string(static_cast<std::size_t>(upTo(2000)), 'n'));
        }
    }
}

} // namespace SampleTree
