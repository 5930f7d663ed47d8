#include "CodeManagerApp/Model/ProjectDir.h"

#include <cstdlib>

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Foundation/WholeFile.h"
#include "ManagerCore/Platform/Platform.h"

namespace CodeManagerApp::ProjectDir
{

namespace FilePath = ManagerCore::FilePath;
namespace Text = ManagerCore::Text;
namespace WholeFile = ManagerCore::WholeFile;

namespace
{

std::string remembered(const std::string& name)
{
    const auto text = Text::readFile(projectDirFile(name));
    return text ? std::string(Text::trimWhiteSpaceAndLineBreaks(*text)) : std::string();
}

} // namespace

std::string loadProjectDir(const std::string& name)
{
    const char* const given = std::getenv("CM_PROJECT_DIR");
    if (given != nullptr && *given != '\0') {
        return given;
    }
    if (std::string folder = remembered(name); !folder.empty()) {
        return folder;
    }
    std::string guess = siblingProjectDir(name);
    if (!guess.empty()) {
        remember(name, guess);
    }
    return guess;
}

std::filesystem::path projectDirFile(const std::string& name)
{
    const auto folder = FilePath::appending(ManagerCore::Platform::homeFolder(),
                                            "Library/Application Support/" + name + "-code-manager");
    [[maybe_unused]] const auto ignored = WholeFile::makeFolders(folder, 0777);
    return folder / "project-dir";
}

std::string siblingProjectDir(const std::string& name)
{
    const auto holder = FilePath::parent(FilePath::parent(ManagerCore::Platform::application()));
    const auto folder = FilePath::appending(holder, name + "-v8");
    return FilePath::isFolder(folder) ? folder.string() : std::string();
}

void remember(const std::string& name, const std::string& folder)
{
    [[maybe_unused]] const auto ignored = WholeFile::write(projectDirFile(name), folder, 0666);
}

} // namespace CodeManagerApp::ProjectDir
