#pragma once

#include <concepts>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ManagerCore/Doctor/Doctor.h"
#include "ManagerCore/Foundation/Text.h"

// What all checks share: how findings are gathered and worded, and how a path is looked at.
namespace ManagerCore::Doctor
{

// What stands at a path, links followed.
enum class Standing : std::uint8_t { file, folder, device, dangling, circle, hidden, missing };
Standing standingOf(const std::filesystem::path& path);

// The findings of one check.
class Report
{
public:
    explicit Report(std::string check);

    void ok(std::string sentence);
    void warn(std::string sentence);
    void fail(std::string sentence);
    // A warning of what is missing, an error of what stands in its place.
    void lacks(Standing standing, std::string sentence);

    // Few enough to be read: of very many the worst, and how many more there are.
    std::vector<Finding> take();

private:
    void add(State state, std::string sentence);

    std::string check_;
    std::vector<Finding> findings_;
};

using Text::inQuotes;
// Of paths alone, for a text can be made into one.
template <std::same_as<std::filesystem::path> Path> std::string inQuotes(const Path& path)
{
    return inQuotes(std::string_view(path.native()));
}

// "a", "a and b", "a, b and c"
std::string joined(const std::vector<std::string>& words);

// "1 link", "2 links"
std::string counted(std::size_t count, const std::string& one, const std::string& several);

// The system's sentence with what to do about it.
std::string advised(std::string sentence, const std::string& advice);

// "is a folder", "is not there"
std::string told(Standing standing);

// Whether the system lets this process do that (R_OK, X_OK or both) with what stands there.
bool isAllowed(const std::filesystem::path& path, int mode);

// Why a folder cannot be looked into, as the words that follow its name; absent where it can.
std::optional<std::string> faultOfFolder(const std::filesystem::path& path);

// Why a program cannot be run from there, as the words that follow its name; absent where it can.
std::optional<std::string> faultOfProgram(const std::filesystem::path& path);

} // namespace ManagerCore::Doctor
