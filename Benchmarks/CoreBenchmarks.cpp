#include <array>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <random>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <benchmark/benchmark.h>
#include <spawn.h>

#include "ManagerCore/Foundation/Descriptor.h"
#include "ManagerCore/Foundation/Proc.h"
#include "ManagerCore/Foundation/Size.h"
#include "ManagerCore/Inventory/TextFinder.h"
#include "ManagerCore/Models/ModelCatalog.h"

extern char** environ; // NOLINT(readability-redundant-declaration)

namespace
{

// A descriptor as products ship them, over and over.
std::string descriptorText(std::size_t bytes)
{
    static const std::string sample = R"(# Who the product is.
[product]
name = "zyn"
display = "Zyn Code"           # shown in the title
bundle_prefix = "com.zyn."
app_paths = ["~/Applications/Zyn.app"]
binaries = [
  "~/.zyn/bin/zyn",
  "/usr/local/bin/zyn",
]
config_dirs = ["~/.zyn", "~/.config/zyn"]
identity_marker = "zyn-identity-marker"

[actions]
launch_agent = "com.zyn.agent"
server_port = "8080"
server_log = "~/Library/Logs/zyn/server.log"
)";
    std::string text;
    while (text.size() < bytes) {
        text += sample;
    }
    return text;
}

void parseDescriptor(benchmark::State& state)
{
    const std::string text = descriptorText(static_cast<std::size_t>(state.range(0)));
    for ([[maybe_unused]] auto round : state) {
        benchmark::DoNotOptimize(ManagerCore::Descriptor::parse(text));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(parseDescriptor)->Arg(1 << 10)->Arg(64 << 20);

// Every line a key of its own: the map grows with the text.
void parseDistinctKeys(benchmark::State& state)
{
    std::string text;
    for (int key = 0; text.size() < static_cast<std::size_t>(state.range(0)); key++) {
        text += "database_key_" + std::to_string(key) + " = \"~/.zyn/databases/" + std::to_string(key) + "\"\n";
    }
    for ([[maybe_unused]] auto round : state) {
        benchmark::DoNotOptimize(ManagerCore::Descriptor::parse(text));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(parseDistinctKeys)->Arg(64 << 20);

// The peer of Proc::run: posix_spawn with two pipes, read to their ends one after the other.
int bareSpawn()
{
    std::array<int, 2> output {};
    std::array<int, 2> error {};
    if (::pipe2(output.data(), O_CLOEXEC) != 0 || ::pipe2(error.data(), O_CLOEXEC) != 0) {
        std::abort();
    }
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, output[1], 1);
    ::posix_spawn_file_actions_adddup2(&actions, error[1], 2);
    std::string name = "/bin/true";
    std::array<char*, 2> arguments {name.data(), nullptr};
    pid_t child = 0;
    if (::posix_spawn(&child, name.c_str(), &actions, nullptr, arguments.data(), environ) != 0) {
        std::abort();
    }
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(output[1]);
    ::close(error[1]);
    std::array<char, 4096> buffer {};
    while (::read(output[0], buffer.data(), buffer.size()) > 0) { }
    while (::read(error[0], buffer.data(), buffer.size()) > 0) { }
    ::close(output[0]);
    ::close(error[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    return status;
}

// The parent's memory, touched so that it is really there.
std::vector<char> ballast(const benchmark::State& state)
{
    return std::vector<char>(static_cast<std::size_t>(state.range(0)) << 20U, 'x');
}

void spawnBare(benchmark::State& state)
{
    const std::vector<char> memory = ballast(state);
    for ([[maybe_unused]] auto round : state) {
        benchmark::DoNotOptimize(bareSpawn());
    }
    benchmark::DoNotOptimize(memory.data());
}

void spawnProc(benchmark::State& state)
{
    const std::vector<char> memory = ballast(state);
    for ([[maybe_unused]] auto round : state) {
        benchmark::DoNotOptimize(ManagerCore::Proc::run("/bin/true", {}));
    }
    benchmark::DoNotOptimize(memory.data());
}
BENCHMARK(spawnBare)->Arg(0)->Arg(500)->UseRealTime();
BENCHMARK(spawnProc)->Arg(0)->Arg(500)->UseRealTime();

// The tree that CODE_MANAGER_TREE names.
void sizeOfTree(benchmark::State& state)
{
    const char* tree = std::getenv("CODE_MANAGER_TREE");
    if (tree == nullptr) {
        state.SkipWithError("CODE_MANAGER_TREE names no tree");
        return;
    }
    for ([[maybe_unused]] auto round : state) {
        benchmark::DoNotOptimize(ManagerCore::Size::of(tree));
    }
}
BENCHMARK(sizeOfTree)->UseRealTime()->Unit(benchmark::kMillisecond);

// A piece of a file as the marker search reads it, without the marker in it.
const std::string& pieceOfFile()
{
    static const std::string piece = [] {
        std::mt19937 random(1); // NOLINT(bugprone-random-generator-seed): the same piece each time
        std::string bytes(std::size_t {256} << 10U, ' ');
        for (char& byte : bytes) {
            byte = static_cast<char>(random());
        }
        return bytes;
    }();
    return piece;
}

constexpr std::string_view marker = "zyn-identity-marker-7d41c0e9a2b6";

void searchPiece(benchmark::State& state)
{
    const ManagerCore::TextFinder finder {std::string(marker)};
    for ([[maybe_unused]] auto round : state) {
        benchmark::DoNotOptimize(finder.occursIn(pieceOfFile()));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * pieceOfFile().size()));
}
BENCHMARK(searchPiece);

// Its peer.
void memmemPiece(benchmark::State& state)
{
    for ([[maybe_unused]] auto round : state) {
        benchmark::DoNotOptimize(::memmem(pieceOfFile().data(), pieceOfFile().size(), marker.data(), marker.size()));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * pieceOfFile().size()));
}
BENCHMARK(memmemPiece);

// The models of the install-models folder that the environment names.
void scanCatalog(benchmark::State& state)
{
    const char* const folder = std::getenv("INSTALL_MODELS");
    if (folder == nullptr) {
        state.SkipWithError("INSTALL_MODELS names no folder");
        return;
    }
    for ([[maybe_unused]] auto round : state) {
        benchmark::DoNotOptimize(ManagerCore::ModelCatalog::scan(folder));
    }
}
BENCHMARK(scanCatalog)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace
