// Makes files to search: make-executables FOLDER COUNT MARKER. About 1.5 MB each, no two alike and none that
// compresses; every fiftieth holds the marker somewhere. The same arguments give the same files. They are called tool0,
// tool1 ….

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <string>
#include <system_error>

namespace
{

namespace fs = std::filesystem;

using Random = std::mt19937_64;

std::string randomBytes(std::size_t count, Random& random)
{
    std::string bytes(count / sizeof(std::uint64_t) * sizeof(std::uint64_t), '\0');
    for (std::size_t at = 0; at < bytes.size(); at += sizeof(std::uint64_t)) {
        const std::uint64_t word = random();
        std::memcpy(bytes.data() + at, &word, sizeof word);
    }
    return bytes;
}

bool makeFile(const fs::path& file, std::size_t number, const std::string& marker)
{
    Random random(number); // NOLINT(bugprone-random-generator-seed): the same file each time
    std::string bytes = randomBytes(1'300'000 + random() % 400'000, random);
    if (number % 50 == 0) {
        bytes.replace(random() % (bytes.size() - marker.size()), marker.size(), marker);
    }
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    return stream.good();
}

} // namespace

int main(int count, char** arguments)
{
    if (count != 4) {
        std::cerr << "usage: make-executables FOLDER COUNT MARKER\n";
        return 2;
    }
    std::error_code error;
    fs::create_directories(arguments[1], error);
    const std::size_t files = std::strtoul(arguments[2], nullptr, 10);
    for (std::size_t number = 0; number < files; number++) {
        if (!makeFile(fs::path(arguments[1]) / ("tool" + std::to_string(number)), number, arguments[3])) {
            std::cerr << "make-executables: a file could not be written.\n";
            return 1;
        }
    }
    return 0;
}
