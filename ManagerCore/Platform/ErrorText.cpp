#include "ManagerCore/Platform/ErrorText.h"

#include <cerrno>
#include <system_error>

namespace ManagerCore::Platform::ErrorText
{

namespace
{

// The last name of the path, without a slash behind it; "/" for the root.
std::string nameOf(const std::filesystem::path& path)
{
    if (!path.has_filename() && path.has_relative_path()) {
        return nameOf(path.parent_path());
    }
    return path.has_filename() ? path.filename().string() : path.root_directory().string();
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
        return couldNotBeSaved(path) + " because the volume is full.";
    case EDQUOT:
        return couldNotBeSaved(path) + " because your disk quota on the volume is used up.";
    default:
        return couldNotBeSaved(path) + inItsFolder + because(error);
    }
}

std::string attribute(int error, const std::filesystem::path& path, const std::string& name)
{
    const std::string couldNotBeCopied
        = "The attribute " + quoted(name) + " of the file " + quoted(nameOf(path)) + " couldn’t be copied";
    const bool tooLarge = error == E2BIG || error == ENOSPC || error == ERANGE;
    return couldNotBeCopied + (tooLarge ? " because it is too large for the volume." : because(error));
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

std::string untrashable(const std::filesystem::path& path, const std::string& reason)
{
    return quoted(nameOf(path)) + " couldn’t be moved to the trash because " + reason + ".";
}

std::string makingTrash(int error, const std::filesystem::path& path, const std::filesystem::path& folder)
{
    switch (error) {
    case ENOSPC:
    case EDQUOT:
    case EROFS:
        return trashing(error, path);
    default:
        return untrashable(path,
                           "the folder " + quoted(folder.string()) + " couldn’t be made or opened ("
                               + systemReason(error) + ")");
    }
}

std::string trashing(int error, const std::filesystem::path& path, const std::string& volume)
{
    switch (error) {
    case ENOENT:
        return missing(path);
    case EACCES:
    case EPERM:
        return untrashable(path, "you don’t have permission to access it");
    case ENOTSUP:
        return untrashable(path, "the volume " + quoted(volume) + " doesn’t have one");
    case EROFS:
        return untrashable(path, "the volume is read only");
    case ENOSPC:
        return untrashable(path, "the volume is full");
    case EDQUOT:
        return untrashable(path, "your disk quota on the volume is used up");
    case EBUSY:
        return untrashable(path, "it is where a volume is mounted");
    case EINVAL:
        return untrashable(path, "the trash lies in it");
    default:
        return quoted(nameOf(path)) + " couldn’t be moved to the trash" + because(error);
    }
}

} // namespace ManagerCore::Platform::ErrorText
