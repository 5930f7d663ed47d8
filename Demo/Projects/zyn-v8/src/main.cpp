// The command line of Zyn: tells its version, seeds its configuration on the first run, starts the model server.
#include "Build.h"
#include "Preferences.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>
#ifdef __APPLE__
#include <mach-o/dyld.h>
#endif

namespace
{

void say(const std::string& text) { std::fputs(text.c_str(), stdout); }

int fail(const std::string& sentence)
{
    std::fputs(("zyn: " + sentence + "\n").c_str(), stderr);
    return 1;
}

// This executable's own path with every link resolved; empty when the system does not tell.
std::string ownPath()
{
    std::array<char, PATH_MAX> buffer {};
#ifdef __APPLE__
    std::array<char, PATH_MAX> unresolved {};
    std::uint32_t size = unresolved.size();
    if (_NSGetExecutablePath(unresolved.data(), &size) != 0 || realpath(unresolved.data(), buffer.data()) == nullptr) {
        return {};
    }
#else
    if (readlink("/proc/self/exe", buffer.data(), buffer.size() - 1) < 0) {
        return {};
    }
#endif
    return buffer.data();
}

std::string folderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

// The installation that this executable belongs to; empty for a copy that was put elsewhere. Such a copy seeds nothing.
std::string installationFolder()
{
    const std::string bin = folderOf(ownPath());
    const std::string folder = folderOf(bin);
    return folder + "/bin" == bin && folderOf(folder) + "/.zyn" == folder ? folder : std::string();
}

// Makes the file whole or not at all. False with errno, EEXIST when something stands there already.
bool writeNew(const std::string& path, const std::string& bytes)
{
    const std::string part = path + ".part-" + std::to_string(getpid());
    const int file = open(part.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (file < 0) {
        return false;
    }
    errno = ENOSPC;
    bool done = write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    done = close(file) == 0 && done && link(part.c_str(), path.c_str()) == 0;
    const int reason = errno;
    unlink(part.c_str());
    errno = reason;
    return done;
}

constexpr const char* firstConfiguration = R"(# Written by zyn on its first run.
default: mlx
mlx:
  model: zyn-labs/Vantor-7B-4bit
  server: http://127.0.0.1:8080
)";

// An existing configuration is never touched.
void seedConfiguration()
{
    const std::string folder = installationFolder();
    if (folder.empty()) {
        return;
    }
    const std::string file = folder + "/defaults.yaml";
    if (!writeNew(file, firstConfiguration) && errno != EEXIST) {
        fail("The configuration " + file + " could not be written: " + std::strerror(errno) + ".");
    }
}

int showVersion()
{
    say(std::string("zyn ") + Zyn::version + "\ncommit: " + Zyn::commit + "\n");
    seedConfiguration();
    return 0;
}

int showHelp()
{
    say("usage: zyn --version\n"
        "       zyn serve --model PATH --port N [--log FILE]   starts the local model server\n"
        "       zyn preferences FILE                           writes the desktop app's first preferences\n"
        "       zyn identity                                   tells what marks this executable as Zyn's\n");
    return 0;
}

int showIdentity()
{
    say(std::string(Zyn::identityMarker) + "\n");
    return 0;
}

// Becomes the engine that stands beside this executable.
int serve(const std::vector<std::string>& arguments)
{
    const std::string engine = folderOf(ownPath()) + "/mlx-vantor";
    std::vector<std::string> words {engine};
    words.insert(words.end(), arguments.begin() + 1, arguments.end());
    std::vector<char*> vector;
    vector.reserve(words.size() + 1);
    for (std::string& word : words) {
        vector.push_back(word.data());
    }
    vector.push_back(nullptr);
    execv(engine.c_str(), vector.data());
    return fail("The engine " + engine + " could not be started: " + std::strerror(errno) + ".");
}

int writePreferences(const std::vector<std::string>& arguments)
{
    if (arguments.size() != 2) {
        return fail("Name the one file that the preferences go to.");
    }
    if (!writeNew(arguments[1], Zyn::defaultPreferences())) {
        return fail("The preferences " + arguments[1] + " could not be written: " + std::strerror(errno) + ".");
    }
    return 0;
}

int run(const std::vector<std::string>& arguments)
{
    const std::string verb = arguments.empty() ? "--help" : arguments.front();
    if (verb == "--version") {
        return showVersion();
    }
    if (verb == "serve") {
        return serve(arguments);
    }
    if (verb == "preferences") {
        return writePreferences(arguments);
    }
    if (verb == "identity") {
        return showIdentity();
    }
    return showHelp();
}

} // namespace

int main(int count, char** words) { return run({words + 1, words + count}); }
