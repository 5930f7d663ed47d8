// Makes a tree to measure: make-tree FOLDER FILES FOLDERS LINKS. Folders nest up to ten deep and files are small, as in
// caches and package stores; the same arguments give the same tree.

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <string>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace
{

namespace fs = std::filesystem;

using Random = std::mt19937;

// The folders of a tree, each above its own, without having been made.
std::vector<fs::path> plannedFolders(const fs::path& root, std::size_t count, Random& random)
{
    std::vector<fs::path> folders {root};
    std::vector<int> depths {0};
    while (folders.size() < count) {
        const std::size_t above = random() % folders.size();
        if (depths[above] < 10) {
            folders.push_back(folders[above] / ("folder" + std::to_string(folders.size())));
            depths.push_back(depths[above] + 1);
        }
    }
    return folders;
}

// How many of `count` things each of `places` gets.
std::vector<std::size_t> spread(std::size_t count, std::size_t places, Random& random)
{
    std::vector<std::size_t> shares(places, 0);
    for (std::size_t thing = 0; thing < count; thing++) {
        shares[random() % places]++;
    }
    return shares;
}

bool makeFile(const fs::path& file, std::size_t bytes)
{
    static const std::string text(16384, 'x');
    const int made = ::open(file.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    const bool good = made >= 0 && ::write(made, text.data(), bytes) == static_cast<ssize_t>(bytes);
    ::close(made);
    return good;
}

} // namespace

int main(int count, char** arguments)
{
    if (count != 5) {
        std::cerr << "usage: make-tree FOLDER FILES FOLDERS LINKS\n";
        return 2;
    }
    Random random(20'000); // NOLINT(bugprone-random-generator-seed): the same tree each time
    try {
        const auto folders = plannedFolders(arguments[1], std::strtoul(arguments[3], nullptr, 10), random);
        const auto files = spread(std::strtoul(arguments[2], nullptr, 10), folders.size(), random);
        const auto links = spread(std::strtoul(arguments[4], nullptr, 10), folders.size(), random);
        // One folder after the other, as whatever unpacks a tree does.
        for (std::size_t folder = 0; folder < folders.size(); folder++) {
            fs::create_directories(folders[folder]);
            for (std::size_t file = 0; file < files[folder]; file++) {
                if (!makeFile(folders[folder] / ("file" + std::to_string(file)), random() % 9000)) {
                    std::cerr << "make-tree: a file could not be written.\n";
                    return 1;
                }
            }
            for (std::size_t link = 0; link < links[folder]; link++) {
                fs::create_symlink(folders[random() % folders.size()],
                                   folders[folder] / ("link" + std::to_string(link)));
            }
        }
    } catch (const fs::filesystem_error& error) {
        std::cerr << "make-tree: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
