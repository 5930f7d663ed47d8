#pragma once

#include <string>

#include "LinuxTools/Shared/Descriptor.h"

namespace LinuxTools
{

// A name in a folder under which nothing stands, for what is not yet finished: ".ditto-" and a number.
std::string unusedName();

// Puts what stands under `unfinished` in the same folder under `name`, in place of what stood there, as one step. Never
// follows a link and never replaces a folder. 0 or an errno; then `unfinished` is removed.
int putInPlace(int folder, const std::string& unfinished, const std::string& name);

// A file that is written out of sight and shows under its name only when it is complete. Given up, or when the program
// is killed, nothing of it stays where the file system allows for files without a name.
class NewFile
{
public:
    explicit NewFile(int folder);
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    // -1 when it could not be made; `error` tells why.
    [[nodiscard]] int descriptor() const { return file_.get(); }
    [[nodiscard]] int error() const { return error_; }

    // Makes it durable and shows it, in place of what stood there. 0 or an errno.
    int finish(const std::string& name);

private:
    int show(const std::string& name);

    int folder_;
    Descriptor file_;
    std::string unfinished_; // empty for a file without a name
    int error_ = 0;
};

} // namespace LinuxTools
