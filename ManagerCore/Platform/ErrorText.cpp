#include "ManagerCore/Platform/ErrorText.h"

#include <cerrno>
#include <system_error>

namespace ManagerCore::Platform::ErrorText
{

namespace
{

// The last name of the path; "/" for the root.
std::string nameOf(const std::filesystem::path& path)
{
    const std::string name = path.filename().string();
    return name.empty() ? path.root_directory().string() : name;
}

std::string quoted(const std::string& name) { return "“" + name + "”"; }

std::string inFolder(const std::filesystem::path& path)
{
    return "the file " + quoted(nameOf(path)) + " in the folder " + quoted(nameOf(path.parent_path()));
}

std::string couldNotBeSaved(const std::filesystem::path& path)
{
    return "The file " + quoted(nameOf(path)) + " couldn’t be saved";
}

std::string couldNotBeOpened(const std::filesystem::path& path)
{
    return "The file " + quoted(nameOf(path)) + " couldn’t be opened";
}

std::string because(int error) { return " (" + systemReason(error) + ")."; }

} // namespace

std::string systemReason(int error) { return std::generic_category().message(error); }

std::string missing(const std::filesystem::path& path)
{
    return "The file " + quoted(nameOf(path)) + " doesn’t exist.";
}

std::string saving(int error, const std::filesystem::path& path)
{
    const std::string inItsFolder = " in the folder " + quoted(nameOf(path.parent_path()));
    switch (error) {
    case ENOENT:
        return missing(path);
    case EEXIST:
        return couldNotBeSaved(path) + inItsFolder + " because a file with the same name already exists.";
    case EACCES:
    case EPERM:
        return "You don’t have permission to save " + inFolder(path) + ".";
    case EROFS:
        return "You can’t save the file " + quoted(nameOf(path)) + " because the volume is read only.";
    case ENOSPC:
    case EDQUOT:
        return couldNotBeSaved(path) + " because the volume is full.";
    default:
        return couldNotBeSaved(path) + inItsFolder + because(error);
    }
}

std::string attribute(int error, const std::filesystem::path& path, const std::string& name)
{
    const std::string notSaved
        = "The attribute " + quoted(name) + " of the file " + quoted(nameOf(path)) + " couldn’t be saved";
    switch (error) {
    case E2BIG:
        return notSaved + " because it is too large for the volume.";
    case ENOSPC:
        return notSaved + " because the volume has no room for it.";
    default:
        return notSaved + because(error);
    }
}

std::string refusedName(const std::filesystem::path& path)
{
    return "The name " + quoted(nameOf(path)) + " can’t be used on this volume.";
}

std::string unsuitable(const std::filesystem::path& path, const std::string& reason)
{
    return couldNotBeOpened(path) + " because " + reason + ".";
}

std::string reading(int error, const std::filesystem::path& path)
{
    switch (error) {
    case ENOENT:
    case ENOTDIR:
        return missing(path);
    case EACCES:
    case EPERM:
        return unsuitable(path, "you don’t have permission to view it");
    case EFBIG:
        return unsuitable(path, "it is too large");
    case ELOOP:
        return unsuitable(path, "its links lead in a circle");
    default:
        return couldNotBeOpened(path) + because(error);
    }
}

std::string launching(int error, const std::filesystem::path& executable)
{
    const std::string couldNotBeRun = "The file " + quoted(nameOf(executable)) + " couldn’t be run";
    switch (error) {
    case ENOENT:
    case ENOTDIR:
        return missing(executable);
    case EACCES:
    case EPERM:
        return couldNotBeRun + " because you don’t have permission to execute it.";
    case ENOEXEC:
        return couldNotBeRun + " because it isn’t a program that this system can run.";
    case E2BIG:
        return couldNotBeRun + " because its arguments and its environment are too long.";
    default:
        return couldNotBeRun + because(error);
    }
}

std::string trashing(int error, const std::filesystem::path& path, const std::string& volume)
{
    const std::string couldNotBeMoved = quoted(nameOf(path)) + " couldn’t be moved to the trash";
    switch (error) {
    case ENOENT:
        return missing(path);
    case EACCES:
    case EPERM:
        return couldNotBeMoved + " because you don’t have permission to access it.";
    case ENOTSUP:
        return couldNotBeMoved + " because the volume " + quoted(volume) + " doesn’t have one.";
    case EROFS:
        return couldNotBeMoved + " because the volume is read only.";
    case ENOSPC:
    case EDQUOT:
        return couldNotBeMoved + " because the volume is full.";
    default:
        return couldNotBeMoved + because(error);
    }
}

} // namespace ManagerCore::Platform::ErrorText
