#pragma once

#include <filesystem>
#include <string>

// The platform's messages, made from errno in this one place: one sentence that names the file, the same on every
// platform. All texts of this program, byte counts included, are English whatever the user’s language; only what the
// system reports itself, as the Trash of macOS does, comes in its language.
namespace ManagerCore::Platform::ErrorText
{

// `path` could not be written, created or copied.
std::string saving(int error, const std::filesystem::path& path);

// The extended attribute `name` of `path` could not be copied. ENOSPC does not mean a full volume here: a file system
// may limit the attributes of one file.
std::string attribute(int error, const std::filesystem::path& path, const std::string& name);

// The volume does not allow the name of `path` (EINVAL, EILSEQ or ENOENT when it is created).
std::string refusedName(const std::filesystem::path& path);

// `path` could not be read.
std::string reading(int error, const std::filesystem::path& path);

// `path` was read but is not what was asked for: "it isn’t UTF-8 text", "it isn’t a regular file".
std::string unsuitable(const std::filesystem::path& path, const std::string& reason);

// `executable` could not be started.
std::string launching(int error, const std::filesystem::path& executable);

// `path` could not be moved to the Trash. `volume` names the volume where that has no Trash (ENOTSUP).
std::string trashing(int error, const std::filesystem::path& path, const std::string& volume = {});

// The same for another reason: "the path must end in the folder’s own name".
std::string untrashable(const std::filesystem::path& path, const std::string& reason);

// `path` could not be moved to the Trash because that has no folder: `folder` could not be made or opened.
std::string makingTrash(int error, const std::filesystem::path& path, const std::filesystem::path& folder);

// Nothing exists at `path`.
std::string missing(const std::filesystem::path& path);

// The system's own words for an errno, such as "Input/output error".
std::string systemReason(int error);

} // namespace ManagerCore::Platform::ErrorText
