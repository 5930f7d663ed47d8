#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// Readers of what others wrote, fed with any bytes. Each target hands one input to the code that reads it and requires
// what must hold whatever the bytes are; memory errors are the sanitizers' to find. libFuzzer drives the targets, and a
// test of the ordinary build does, over the corpora alone.
namespace Fuzz
{

using Run = void (*)(std::string_view input);

struct Target {
    std::string name; // that of its corpus, too
    Run run = nullptr;
};

// The targets of the program by name.
std::vector<Target> targets();

// Makes a target known, as a constant of the file that defines it.
class Registration
{
public:
    Registration(const char* name, Run run);
};

// What a target required and did not get.
class Broken : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// `sentence` says what must hold.
void require(bool holds, const char* sentence);

// A folder for the files of the target, in a home that is nobody's.
std::filesystem::path folder();

// Writes the file and the folders above it.
void put(const std::filesystem::path& file, std::string_view bytes);

} // namespace Fuzz
