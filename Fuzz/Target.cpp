#include "Fuzz/Target.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <unistd.h>

#include "ManagerCore/Platform/Platform.h"

namespace Fuzz
{

namespace
{

std::vector<Target>& known()
{
    static std::vector<Target> all;
    return all;
}

} // namespace

std::vector<Target> targets()
{
    std::vector<Target> all = known();
    std::ranges::sort(all, {}, &Target::name);
    return all;
}

Registration::Registration(const char* name, Run run) { known().push_back({.name = name, .run = run}); }

void require(bool holds, const char* sentence)
{
    if (!holds) {
        throw Broken(sentence);
    }
}

std::filesystem::path folder() { return ManagerCore::Platform::homeFolder() / "fuzz"; }

void put(const std::filesystem::path& file, std::string_view bytes)
{
    ::unlink(file.c_str()); // emptying it instead would have some file systems write to the drive each time
    using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
    Stream stream(std::fopen(file.c_str(), "wbe"), &std::fclose);
    if (!stream) {
        std::filesystem::create_directories(file.parent_path());
        stream.reset(std::fopen(file.c_str(), "wbe"));
    }
    if (!stream || std::fwrite(bytes.data(), 1, bytes.size(), stream.get()) != bytes.size()) {
        throw std::runtime_error("The fuzzer’s own file could not be written.");
    }
}

} // namespace Fuzz
