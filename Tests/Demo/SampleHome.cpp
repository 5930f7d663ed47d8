#include "Tests/Demo/SampleHome.h"

#include <functional>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace TestSupport
{

namespace fs = std::filesystem;
namespace Proc = ManagerCore::Proc;

fs::path demoFolder() { return DEMO_FOLDER; }

fs::path demoPrograms() { return builtProgram("demo"); }

Proc::Out demoMake(const std::vector<std::string>& arguments)
{
    return Proc::run((demoFolder() / "make").string(), arguments);
}

Proc::Out bash(const std::string& script, const std::vector<std::string>& arguments)
{
    std::vector<std::string> words {"-c", script};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return Proc::run("/bin/bash", words);
}

Tree treeOf(const fs::path& folder)
{
    Tree tree;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
        std::string& what = tree[entry.path().lexically_relative(folder).string()];
        if (entry.is_symlink()) {
            what = "link " + fs::read_symlink(entry.path()).string();
        } else if (entry.is_directory()) {
            what = "folder";
        } else {
            const std::string bytes = read(entry.path());
            what = "file " + std::to_string(bytes.size()) + " " + std::to_string(std::hash<std::string> {}(bytes));
        }
    }
    return tree;
}

int freePort()
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

SampleTest::SampleTest()
    : sample_(scratch() / "Sam's \"sample\" home & <more> $HOME é")
    , port_(freePort())
{
}

void SampleTest::makeSample(const std::vector<std::string>& options)
{
    std::vector<std::string> words {"--programs", demoPrograms().string(), "--port", std::to_string(port_)};
    words.insert(words.end(), options.begin(), options.end());
    words.push_back(sample_.string());
    const Proc::Out out = demoMake(words);
    ASSERT_TRUE(out.ok()) << out.stderr;
}

void SampleTest::shareSample()
{
    static const int sharedPort = port_;
    sample_ = scratch().parent_path() / sample_.filename();
    port_ = sharedPort;
    if (!fs::exists(sample_)) {
        makeSample();
    }
}

Proc::Out SampleTest::runInside(const fs::path& program, const std::vector<std::string>& arguments) const
{
    std::vector<std::string> words {
        "-c", R"(. "$0" && exec "$@")", (sample_ / "sample-env.sh").string(), program.string()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return Proc::run("/bin/sh", words);
}

Proc::Out SampleTest::runScript(const fs::path& script, const std::vector<std::string>& arguments)
{
    std::vector<std::string> words {script.string()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return Proc::run("/bin/bash", words, script.parent_path().string());
}

std::string SampleTest::version(const std::string& program) const
{
    return Proc::run((sample_ / ".zyn/bin" / program).string(), {"--version"}).stdout;
}

} // namespace TestSupport
