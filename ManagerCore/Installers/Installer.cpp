#include "ManagerCore/Installers/Installer.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Platform/Platform.h"

namespace ManagerCore::Installer
{

namespace
{

constexpr const char* bash = "/bin/bash";

// The scripts run elsewhere than the program: their folder is named absolutely. Empty for an empty text.
std::string absolute(const std::string& dir) { return FilePath::fromText(dir).string(); }

std::string under(const std::string& dir, std::string_view name)
{
    const std::filesystem::path folder = FilePath::fromText(dir);
    return folder.empty() ? std::string() : FilePath::appending(folder, name).string();
}

Proc::Out buildWithCargo(const std::string& dir, Proc::Watcher* watcher)
{
    Proc::Out built = Proc::run(bash, {"-c", "cargo build --release"}, absolute(dir), devToolEnv(), watcher);
    if (!built.ok()) {
        return built;
    }
    if (!has(dir, "install.command")) {
        built.code = 1;
        built.stderr = "no build.command or install.command in " + dir;
        return built;
    }
    const Proc::Out installed = runScript(dir, "install.command", {}, watcher);
    return {.code = installed.code,
            .stdout = std::move(built.stdout) + "\n" + installed.stdout,
            .stderr = std::move(built.stderr) + installed.stderr};
}

} // namespace

Proc::Out run(const std::string& projectDir, Proc::Watcher* watcher) { return build(projectDir, watcher); }

Proc::Environment devToolEnv()
{
    Proc::Environment environment = Proc::environment();
    std::string& path = environment["PATH"]; // an absent one adds nothing
    std::string search
        = Platform::homeFolder().string() + "/.cargo/bin:/opt/homebrew/bin:/opt/homebrew/sbin:/usr/local/bin";
    for (const std::string_view folder : Text::pieces(path, ':')) {
        search.append(":").append(folder);
    }
    path = std::move(search);
    return environment;
}

Proc::Out build(const std::string& dir, Proc::Watcher* watcher)
{
    return has(dir, "build.command") ? runScript(dir, "build.command", {}, watcher) : buildWithCargo(dir, watcher);
}

bool has(const std::string& dir, std::string_view name) { return FilePath::exists(under(dir, name)); }

std::vector<std::filesystem::path> holders(const std::string& dir)
{
    const std::filesystem::path folder = FilePath::sameWithoutDots(FilePath::fromText(dir));
    if (folder.empty()) {
        return {};
    }
    return {FilePath::parent(folder), FilePath::parent(FilePath::resolved(folder))};
}

std::string beside(const std::string& dir, std::string_view name)
{
    std::vector<std::filesystem::path> places = holders(dir);
    for (std::filesystem::path& place : places) {
        place = FilePath::appending(place, name);
    }
    const auto found = std::ranges::find_if(places, FilePath::exists);
    const auto chosen = found == places.end() ? places.begin() : found;
    return places.empty() ? std::string() : chosen->string();
}

Proc::Out runScript(const std::string& dir,
                    std::string_view script,
                    const std::vector<std::string>& arguments,
                    Proc::Watcher* watcher)
{
    std::vector<std::string> words {under(dir, script)};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return Proc::run(bash, words, absolute(dir), devToolEnv(), watcher);
}

} // namespace ManagerCore::Installer
