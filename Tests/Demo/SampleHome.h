#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "ManagerCore/Foundation/Proc.h"
#include "Tests/Support/Sandbox.h"

namespace TestSupport
{

namespace fs = std::filesystem;
namespace Proc = ManagerCore::Proc;

inline const fs::path demoFolder = DEMO_FOLDER;
inline const std::string makeScript = (demoFolder / "make").string();

inline Proc::Out demoMake(const std::vector<std::string>& arguments) { return Proc::run(makeScript, arguments); }

// Runs a script of bash with the arguments $0, $1 and so on.
inline Proc::Out bash(const std::string& script, std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), {"-c", script});
    return Proc::run("/bin/bash", arguments);
}

// Every entry below a folder by its relative path: its destination or a hash of its bytes.
using Tree = std::map<std::string, std::string>;
inline Tree treeOf(const fs::path& folder)
{
    Tree tree;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
        const std::string path = entry.path().lexically_relative(folder).string();
        tree[path] = entry.is_symlink() ? "link " + fs::read_symlink(entry.path()).string()
            : entry.is_directory()      ? "folder"
                                        : std::to_string(std::hash<std::string> {}(read(entry.path())));
    }
    return tree;
}

// A port of 127.0.0.1 that is not in use.
inline int freePort()
{
    sockaddr_in address {};
    socklen_t size = sizeof address;
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&address), size), 0);
    EXPECT_EQ(::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size), 0);
    ::close(socket);
    return ntohs(address.sin_port);
}

// Tests of a sample home. Its name contains characters that scripts must quote.
class SampleTest : public SandboxTest
{
protected:
    void makeSample() const
    {
        const Proc::Out out = demoMake({"--programs", programs, "--port", std::to_string(port), sample.string()});
        ASSERT_TRUE(out.ok()) << out.stderr;
    }
    // The same home for all tests of the process that call this.
    void shareSample()
    {
        static const int sharedPort = port;
        sample = scratch().parent_path() / sample.filename();
        port = sharedPort;
        if (!fs::exists(sample)) {
            makeSample();
        }
    }
    // Runs a program in the environment of sample-env.sh.
    [[nodiscard]] Proc::Out runInside(const fs::path& program, std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), {(sample / "sample-env.sh").string(), program.string()});
        return bash(R"(. "$0" && exec "$@")", arguments);
    }
    // The standard output of an installed program's --version.
    [[nodiscard]] std::string version(const std::string& program) const
    {
        return Proc::run((sample / ".zyn/bin" / program).string(), {"--version"}).stdout;
    }

    const std::string programs = builtProgram("demo").string();
    fs::path sample = scratch() / "Sam's \"sample\" home & <more> $HOME é";
    int port = freePort();
};

} // namespace TestSupport
