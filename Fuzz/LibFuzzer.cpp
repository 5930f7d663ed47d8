// The fuzzers under libFuzzer: FUZZ_TARGET names the one to run. They live in a home of their own below TMPDIR.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <system_error>

#include "Fuzz/Target.h"

namespace
{

namespace fs = std::filesystem;

// Set before anything looks for a home, gone with the program.
class Home
{
public:
    Home()
    {
        std::string pattern = (fs::temp_directory_path() / "code-manager-fuzz-XXXXXX").string();
        const char* made = ::mkdtemp(pattern.data());
        if (made == nullptr) {
            std::abort();
        }
        folder_ = fs::canonical(made);
        ::setenv("HOME", folder_.c_str(), 1);
        for (const char* name : {"XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME"}) {
            ::unsetenv(name);
        }
    }
    ~Home()
    {
        std::error_code error;
        fs::remove_all(folder_, error);
    }
    Home(const Home&) = delete;
    Home& operator=(const Home&) = delete;

private:
    fs::path folder_;
};

const Home home;

std::optional<Fuzz::Target> chosen;

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/)
{
    const auto all = Fuzz::targets();
    const char* name = std::getenv("FUZZ_TARGET");
    const auto found = std::ranges::find(all, name == nullptr ? "" : name, &Fuzz::Target::name);
    if (found == all.end()) {
        std::cerr << "FUZZ_TARGET names none of the fuzzers. These are there:\n";
        for (const Fuzz::Target& target : all) {
            std::cerr << target.name << "\n";
        }
        std::exit(2);
    }
    chosen = *found;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    chosen->run({reinterpret_cast<const char*>(data), size});
    return 0;
}
