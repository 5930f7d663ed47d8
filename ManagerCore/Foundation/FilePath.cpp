#include "ManagerCore/Foundation/FilePath.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "ManagerCore/Platform/Platform.h"

namespace ManagerCore::FilePath
{

namespace
{

// One slash between names, none at the end but the root's own.
std::string squeezed(std::string_view text)
{
    std::string path;
    path.reserve(text.size());
    for (const char letter : text) {
        if (letter != '/' || path.empty() || path.back() != '/') {
            path.push_back(letter);
        }
    }
    if (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

std::string workingFolder()
{
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::current_path(error);
    return error ? "/" : folder.string();
}

std::optional<struct stat> factsOf(const std::filesystem::path& path, bool followLinks)
{
    struct stat facts {};
    const int result = followLinks ? ::stat(path.c_str(), &facts) : ::lstat(path.c_str(), &facts);
    return result == 0 ? std::optional(facts) : std::nullopt;
}

// "." and ".." removed by their names alone.
std::filesystem::path withoutDots(const std::filesystem::path& path)
{
    return squeezed(path.lexically_normal().string());
}

// All links resolved by the system; absent when a component is missing.
std::optional<std::filesystem::path> realPath(const std::filesystem::path& path)
{
    std::error_code error;
    std::filesystem::path real = std::filesystem::canonical(path, error);
    return error ? std::nullopt : std::optional(std::move(real));
}

bool hasParentStep(const std::filesystem::path& path) { return std::ranges::find(path, "..") != path.end(); }

bool isDots(const std::filesystem::path& name) { return name == "." || name == ".."; }

bool isSameFolder(const std::filesystem::path& one, const std::filesystem::path& other)
{
    const auto left = factsOf(one, true);
    const auto right = factsOf(other, true);
    return left && right && left->st_dev == right->st_dev && left->st_ino == right->st_ino;
}

// What is written in the link; absent for anything that is not a link or cannot be read.
std::optional<std::string> linkText(const std::filesystem::path& path)
{
    std::array<char, PATH_MAX> buffer {};
    const ssize_t length = ::readlink(path.c_str(), buffer.data(), buffer.size());
    return length > 0 ? std::optional(std::string(buffer.data(), static_cast<std::size_t>(length))) : std::nullopt;
}

} // namespace

std::filesystem::path fromText(std::string_view text)
{
    if (text.empty() || text.find('\0') != std::string_view::npos) {
        return {};
    }
    return squeezed(text.front() == '/' ? std::string(text) : workingFolder() + "/" + std::string(text));
}

std::filesystem::path expandHome(std::string_view text)
{
    if (text == "~") {
        return Platform::homeFolder();
    }
    if (text.starts_with("~/")) {
        return appending(Platform::homeFolder(), text.substr(2));
    }
    return fromText(text);
}

std::filesystem::path expandTilde(std::string_view text)
{
    if (!text.starts_with('~') || text.find('\0') != std::string_view::npos) {
        return fromText(text);
    }
    const std::size_t slash = std::min(text.find('/'), text.size());
    if (slash == 1) {
        return expandHome(text);
    }
    const auto home = Platform::homeFolderOf(std::string(text.substr(1, slash - 1)));
    return home ? appending(*home, text.substr(slash)) : fromText(text);
}

std::filesystem::path appending(const std::filesystem::path& base, std::string_view relative)
{
    if (relative.find('\0') != std::string_view::npos) {
        return {};
    }
    return squeezed(base.string() + "/" + std::string(relative));
}

bool exists(const std::filesystem::path& path) { return factsOf(path, true).has_value(); }

bool isFolder(const std::filesystem::path& path)
{
    const auto facts = factsOf(path, true);
    return facts && S_ISDIR(facts->st_mode);
}

bool isLink(const std::filesystem::path& path)
{
    const auto facts = factsOf(path, false);
    return facts && S_ISLNK(facts->st_mode);
}

std::optional<std::filesystem::path> linkDestination(const std::filesystem::path& path)
{
    const auto text = linkText(path);
    if (!text) {
        return std::nullopt;
    }
    return text->starts_with('/') ? fromText(*text) : appending(parent(path), *text);
}

std::filesystem::path linkTarget(const std::filesystem::path& path) { return linkDestination(path).value_or(path); }

std::filesystem::path resolvedLinkTarget(const std::filesystem::path& path)
{
    const auto text = linkText(path);
    if (!text) {
        return path;
    }
    return text->starts_with('/') ? fromText(*text) : sameWithoutDots(appending(parent(path), *text));
}

std::filesystem::path sameWithoutDots(const std::filesystem::path& path)
{
    const bool endsInDots = isDots(path.filename());
    const std::filesystem::path folder = endsInDots ? path : path.parent_path();
    if (std::ranges::none_of(path, isDots) || !FilePath::exists(folder)) {
        return path;
    }
    std::filesystem::path plain = withoutDots(path);
    if (isSameFolder(folder, endsInDots ? plain : plain.parent_path())) {
        return plain;
    }
    return endsInDots ? resolved(folder) : resolved(folder) / path.filename();
}

std::filesystem::path standardised(const std::filesystem::path& path)
{
    if (hasParentStep(path)) {
        return Platform::shortForm(withoutDots(realPath(path).value_or(path)));
    }
    return Platform::shortForm(withoutDots(path));
}

std::filesystem::path resolved(const std::filesystem::path& path)
{
    const auto real = realPath(path);
    return real ? Platform::shortForm(*real) : standardised(path);
}

std::string lastComponent(const std::filesystem::path& path)
{
    const std::string name = path.filename().string();
    return name.empty() ? path.root_directory().string() : name;
}

std::filesystem::path parent(const std::filesystem::path& path) { return path.parent_path(); }

std::vector<std::string> components(const std::filesystem::path& path)
{
    std::vector<std::string> names;
    for (const std::filesystem::path& name : path) {
        if (!name.empty()) {
            names.push_back(name.string());
        }
    }
    return names;
}

bool isPackageName(std::string_view name)
{
    static constexpr std::array<std::string_view, 23> extensions {
        "app",         "appex",   "bundle", "component",     "framework", "kext",        "key",    "mdimporter",
        "menu",        "numbers", "pages",  "photoslibrary", "pkg",       "playground",  "plugin", "prefpane",
        "qlgenerator", "rtfd",    "saver",  "wdgt",          "xcodeproj", "xcworkspace", "xpc"};
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0) {
        return false;
    }
    std::string extension(name.substr(dot + 1));
    std::ranges::transform(extension, extension.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    });
    return std::ranges::find(extensions, extension) != extensions.end();
}

} // namespace ManagerCore::FilePath
