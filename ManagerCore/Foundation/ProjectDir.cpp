#include "ManagerCore/Foundation/ProjectDir.h"

#include <cstdlib>

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Foundation/WholeFile.h"
#include "ManagerCore/Platform/Platform.h"

namespace ManagerCore::ProjectDir
{

namespace
{

std::filesystem::path fileFor(const std::string& name)
{
    return FilePath::appending(Platform::homeFolder(),
                               "Library/Application Support/" + name + "-code-manager/project-dir");
}

// The environment's word, else what was remembered; empty when there is neither.
std::string settled(const std::string& name)
{
    const char* const given = std::getenv("CM_PROJECT_DIR");
    if (given != nullptr && *given != '\0') {
        return given;
    }
    const auto text = Text::readFile(fileFor(name));
    return text ? std::string(Text::trimWhiteSpaceAndLineBreaks(*text)) : std::string();
}

} // namespace

std::string loadProjectDir(const std::string& name)
{
    if (std::string folder = settled(name); !folder.empty()) {
        return folder;
    }
    std::string guess = siblingProjectDir(name);
    if (!guess.empty()) {
        remember(name, guess);
    }
    return guess;
}

std::string peekProjectDir(const std::string& name)
{
    const std::string folder = settled(name);
    return folder.empty() ? siblingProjectDir(name) : folder;
}

std::filesystem::path projectDirFile(const std::string& name)
{
    const std::filesystem::path file = fileFor(name);
    [[maybe_unused]] const auto ignored = WholeFile::makeFolders(FilePath::parent(file), 0777);
    return file;
}

std::string siblingProjectDir(const std::string& name)
{
    const auto holder = FilePath::parent(FilePath::parent(Platform::application()));
    const auto folder = FilePath::appending(holder, name + "-v8");
    return FilePath::isFolder(folder) ? folder.string() : std::string();
}

void remember(const std::string& name, const std::string& folder)
{
    [[maybe_unused]] const auto ignored = WholeFile::write(projectDirFile(name), folder, 0666);
}

} // namespace ManagerCore::ProjectDir
