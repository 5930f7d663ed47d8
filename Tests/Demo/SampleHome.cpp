#include "Tests/Demo/SampleHome.h"

#include <fstream>
#include <functional>
#include <string_view>

#include "Tests/Demo/LoopbackSocket.h"

namespace TestSupport
{

namespace fs = std::filesystem;
namespace Proc = ManagerCore::Proc;

fs::path demoFolder() { return DEMO_FOLDER; }

fs::path demoPrograms() { return builtProgram("demo"); }

fs::path embeddedDescriptor() { return demoFolder().parent_path() / "CodeManagerApp" / "Resources" / "identity.toml"; }

Proc::Out demoMake(const std::vector<std::string>& arguments)
{
    return Proc::run((demoFolder() / "make").string(), arguments);
}

namespace
{

// Length and hash of a file's bytes: a home holds too many of them to keep.
std::string digestOf(const fs::path& file)
{
    constexpr std::size_t pieceSize = 262144;
    std::ifstream stream(file, std::ios::binary);
    std::vector<char> piece(pieceSize);
    std::uintmax_t length = 0;
    std::size_t hash = 0;
    while (stream.read(piece.data(), pieceSize) || stream.gcount() > 0) {
        const auto got = static_cast<std::size_t>(stream.gcount());
        length += got;
        hash = hash * 31 + std::hash<std::string_view> {}({piece.data(), got});
    }
    return std::to_string(length) + " " + std::to_string(hash);
}

} // namespace

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
            what = "file " + digestOf(entry.path());
        }
    }
    return tree;
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

} // namespace TestSupport
