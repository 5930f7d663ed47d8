#include "Tests/Support/Sandbox.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "ManagerCore/Platform/Platform.h"

namespace TestSupport
{

namespace
{

namespace fs = std::filesystem;

// The folder that holds the home and the scratch folder of this process.
class Surroundings
{
public:
    Surroundings()
    {
        std::string pattern = (fs::temp_directory_path() / "code-manager-test-XXXXXX").string();
        const char* made = ::mkdtemp(pattern.data());
        if (made == nullptr) {
            std::abort();
        }
        folder_ = fs::canonical(made);
        for (const char* name : {"XDG_DATA_HOME",
                                 "XDG_CACHE_HOME",
                                 "XDG_CONFIG_HOME",
                                 "XDG_STATE_HOME",
                                 "CM_IDENTITY_TOML",
                                 "CM_PANE",
                                 "CM_PROJECT_DIR",
                                 "CM_DATABASES_DIR",
                                 "ZYN_CRUCIBLE_LOCAL",
                                 "ZYN_CRUCIBLE_ROOT"}) {
            ::unsetenv(name);
        }
        ::setenv("HOME", home().c_str(), 1);
        ::setenv("CFFIXED_USER_HOME", home().c_str(), 1);
    }
    ~Surroundings()
    {
        std::error_code error;
        fs::remove_all(folder_, error);
    }
    Surroundings(const Surroundings&) = delete;
    Surroundings& operator=(const Surroundings&) = delete;

    [[nodiscard]] fs::path home() const { return folder_ / "home"; }
    [[nodiscard]] fs::path scratch() const { return folder_ / "scratch"; }

private:
    fs::path folder_;
};

Surroundings& surroundings()
{
    static Surroundings all;
    return all;
}

// Before main, so that nothing has looked for a home yet.
[[maybe_unused]] const Surroundings& early = surroundings();

void empty(const fs::path& folder)
{
    std::error_code error;
    fs::remove_all(folder, error);
    fs::create_directories(folder);
}

int shell(const std::string& command)
{
    return std::system((command + " >/dev/null 2>&1").c_str()); // NOLINT(bugprone-command-processor)
}

std::string quoted(const fs::path& path) { return "'" + path.string() + "'"; }

} // namespace

SandboxTest::SandboxTest()
    : home_(surroundings().home())
    , scratch_(surroundings().scratch())
{
    empty(home_);
    empty(scratch_);
}

SandboxTest::~SandboxTest() = default;

fs::path SandboxTest::trash() const
{
#ifdef __APPLE__
    return home() / ".Trash";
#else
    return home() / ".local/share/Trash/files";
#endif
}

void write(const fs::path& file, std::string_view bytes)
{
    fs::create_directories(file.parent_path());
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    ASSERT_TRUE(stream.good()) << file;
}

void makeExecutable(const fs::path& file, std::string_view script)
{
    write(file, script);
    fs::permissions(file, fs::perms::owner_all | fs::perms::group_read | fs::perms::others_read);
}

void makeLink(const fs::path& link, const fs::path& destination)
{
    fs::create_directories(link.parent_path());
    fs::create_symlink(destination, link);
}

std::string read(const fs::path& file)
{
    std::ostringstream bytes;
    bytes << std::ifstream(file, std::ios::binary).rdbuf();
    return std::move(bytes).str();
}

fs::path builtProgram(std::string_view name) { return ManagerCore::Platform::application().parent_path() / name; }

fs::path testChild() { return builtProgram("test-child"); }

bool isRoot() { return ::geteuid() == 0; }

EnvironmentVariable::EnvironmentVariable(std::string name, std::optional<std::string> value)
    : name_(std::move(name))
{
    if (const char* before = std::getenv(name_.c_str())) {
        before_ = before;
    }
    if (value) {
        ::setenv(name_.c_str(), value->c_str(), 1);
    } else {
        ::unsetenv(name_.c_str());
    }
}

EnvironmentVariable::~EnvironmentVariable()
{
    if (before_) {
        ::setenv(name_.c_str(), before_->c_str(), 1);
    } else {
        ::unsetenv(name_.c_str());
    }
}

MountedVolume::MountedVolume(const fs::path& mountPoint, const std::string& type, std::size_t megabytes)
    : mountPoint_(mountPoint)
    , image_(mountPoint.string() + ".image")
{
    fs::create_directories(mountPoint_);
    const std::string size = std::to_string(megabytes);
    if (!isRoot()) {
        return;
    }
    if (type == "tmpfs") {
        mounted_ = shell("mount -t tmpfs -o size=" + size + "m tmpfs " + quoted(mountPoint_)) == 0;
        return;
    }
    const std::string force = type == "ext4" ? " -q -F " : " -f ";
    mounted_ = shell("truncate -s " + size + "M " + quoted(image_)) == 0
        && shell("mkfs." + type + force + quoted(image_)) == 0
        && shell("mount -o loop " + quoted(image_) + " " + quoted(mountPoint_)) == 0;
}

MountedVolume::~MountedVolume()
{
    if (mounted_ && shell("umount " + quoted(mountPoint_)) != 0) {
        shell("umount -l " + quoted(mountPoint_));
    }
    std::error_code error;
    fs::remove(image_, error);
}

} // namespace TestSupport
