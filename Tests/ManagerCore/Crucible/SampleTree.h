#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

// Trees as the store of weights has them, and what they consist of, to compare.
namespace SampleTree
{

// What each entry is, by its relative path (the root's is empty): kind, mode, time of modification, extended
// attributes, and its contents or where it leads.
using Contents = std::map<std::string, std::string>;
Contents contents(const std::filesystem::path& root);

// A file of `length` bytes with data, other at each place, only in these stretches of offset and length.
void writeWithHoles(const std::filesystem::path& file,
                    std::int64_t length,
                    const std::vector<std::pair<std::int64_t, std::int64_t>>& stretches);

// Nested folders, links, holes, hard links, odd names, attributes and a large file of `bytes` bytes.
void make(const std::filesystem::path& root, std::int64_t bytes = 3'000'000);

// Something of all that, decided by the generator.
void makeRandom(const std::filesystem::path& root, std::mt19937& random);

// A large file, written piece by piece, and a sum of all bytes below a root, read in the same way.
void makeLarge(const std::filesystem::path& file, std::int64_t bytes);
std::uint64_t sumOf(const std::filesystem::path& root);

} // namespace SampleTree
