#include "Tests/CodeManagerCLI/Installation.h"

#include <cstdlib>
#include <system_error>

using TestSupport::makeExecutable;
using TestSupport::write;

namespace
{

namespace fs = std::filesystem;

constexpr const char* descriptor = R"(# The sample product.
name = "sample"
display = "Sample"
bundle_prefix = "com.example."
binaries = [
    "~/.missing/bin/sample", # not there
    "~/.sample/bin/sample",
]
config_dirs = ["~/.sample"]
model_paths = ["~/.sample/models/Echo-7B-4bit"]
model_locations = ["~/.sample/store"]
model_display = "Echo 7B"

defaults_path = "~/.sample/defaults.yaml"
launch_agent = "com.example.sample-agent"
server_port = "8088"
)";

constexpr const char* agent = R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
    <key>Label</key><string>com.example.sample-agent</string>
    <key>ProgramArguments</key><array><string>/bin/sleep</string><string>60</string></array>
</dict></plist>
)";

// Answers as launchctl does, from a list of loaded agents in the home.
constexpr const char* launchctl = R"(#!/bin/sh
label=${2##*/}
case $1 in
bootstrap)
    label=$(basename "$3" .plist)
    if [ ! -e "$3" ] || [ -e "$HOME/loaded/$label" ]; then
        echo "Bootstrap failed: 5: Input/output error" >&2
        exit 5
    fi
    mkdir -p "$HOME/loaded" && : >"$HOME/loaded/$label"
    ;;
bootout)
    [ -e "$HOME/loaded/$label" ] || { printf 'Boot-out failed: 3: No such process' >&2; exit 3; }
    rm "$HOME/loaded/$label"
    ;;
list)
    [ -e "$HOME/loaded/$label" ] || exit 113
    ;;
kickstart)
    label=${3##*/}
    [ -e "$HOME/loaded/$label" ] || { echo "Could not find service \"$label\" in domain for user gui" >&2; exit 113; }
    ;;
esac
)";

} // namespace

InstallationTest::InstallationTest()
{
    installProgram();
    makeProduct();
}

std::map<std::string, std::string> InstallationTest::environment() const
{
    std::map<std::string, std::string> variables {
        {"HOME", home()},
        {"CFFIXED_USER_HOME", home()},
        {"TMPDIR", scratch() / "tmp"},
        {"PATH", programs().string() + ":/usr/bin:/bin:/usr/sbin:/sbin"},
        {"LC_ALL", "C.UTF-8"},
        {"TZ", "UTC"},
        {"TERM", "xterm"},
    };
    // How sanitizers report is the surrounding run's decision.
    for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS"}) {
        if (const char* value = std::getenv(name)) {
            variables.emplace(name, value);
        }
    }
    return variables;
}

void InstallationTest::setProductScript(const std::string& script) const
{
    makeExecutable(home() / ".sample/bin/sample", "#!/bin/sh\n" + script);
}

void InstallationTest::installProgram() const
{
    fs::create_directories(programs());
    fs::create_directories(scratch() / "tmp");
    const fs::path built = TestSupport::builtProgram("zyn-code-manager");
    std::error_code otherVolume;
    fs::create_hard_link(built, program(), otherVolume);
    if (otherVolume) {
        fs::copy_file(built, program());
    }
    write(scratch() / "installed/share/code-manager/identity.toml", descriptor);
    makeExecutable(programs() / "launchctl", launchctl);
    if (const fs::path ditto = TestSupport::builtProgram("ditto"); fs::exists(ditto)) {
        fs::copy_file(ditto, programs() / "ditto");
    }
}

void InstallationTest::makeProduct() const
{
    setProductScript("echo 'sample 1.2.3'\necho 'commit: 0123456789abcdef'\n");
    write(home() / ".sample/defaults.yaml", "default: mlx\nmlx:\n  model: sample-labs/Echo-7B-4bit\n");
    write(home() / ".sample/store/echo-7b/3_final/config.json", "{}\n");
    write(home() / ".sample/store/echo-7b/3_final/weights", std::string(200000, 'w'));
    write(home() / "Library/LaunchAgents/com.example.sample-agent.plist", agent);
}
