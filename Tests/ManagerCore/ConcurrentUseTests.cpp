// The core as the window uses it: everything at the same time, from many threads.

#include <array>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "ManagerCore/Crucible/CrucibleBackup.h"
#include "ManagerCore/Crucible/CrucibleMove.h"
#include "ManagerCore/Crucible/CrucibleProbe.h"
#include "ManagerCore/Crucible/CrucibleRestore.h"
#include "ManagerCore/Crucible/CrucibleRoots.h"
#include "ManagerCore/Foundation/ProjectDir.h"
#include "ManagerCore/Foundation/Remover.h"
#include "ManagerCore/Health/StatusProbe.h"
#include "ManagerCore/Installers/DatabaseCatalog.h"
#include "ManagerCore/Inventory/Scanner.h"
#include "ManagerCore/Models/ModelCatalog.h"
#include "Tests/Support/Sandbox.h"

#ifdef __SANITIZE_THREAD__
// GLib is built without the sanitizer, which then takes memory that its threads hand to one another for races.
extern "C" const char* __tsan_default_suppressions(); // NOLINT(bugprone-reserved-identifier)
extern "C" const char* __tsan_default_suppressions() // NOLINT(bugprone-reserved-identifier)
{
    return "called_from_lib:libglib-2.0.so\ncalled_from_lib:libgobject-2.0.so\ncalled_from_lib:libgio-2.0.so\n";
}
#endif

namespace fs = std::filesystem;
using namespace ManagerCore;
using TestSupport::write;

namespace
{

class ConcurrentUseTest : public TestSupport::SandboxTest
{
protected:
    static constexpr int rounds = 8;
    static constexpr int lanes = 2; // of each kind

    ConcurrentUseTest()
    {
        write(home() / "near/models/a/weights", "near");
        write(home() / "far/models/a/weights", "far away");
        TestSupport::makeLink(home() / ".zyn/crucible", home() / "near");
        TestSupport::makeLink(home() / ".zyn/served", home() / "near/models/a");
        TestSupport::makeLink(home() / "near/models/b", "/gone");
        TestSupport::makeExecutable(home() / ".zyn/bin/zyn", "#!/bin/sh\necho zyn 1\n");
        write(home() / "Library/Logs/zyn/log", "log");
        write(scratch() / "descriptors/orchid.toml", "id = orchid\nsource = ~/far\ndest = ~/databases/orchid\n");
        write(scratch() / "catalog/org/model/model.toml", "release = yes\nname = Model\n");
    }

    const Identity identity_ {.name = "zyn",
                              .binaries = {"~/.zyn/bin/zyn"},
                              .configDirs = {"~/.zyn"},
                              .modelLocations = {"~/.zyn/crucible", "~/far"}};
    const ManagerActions actions_ {.modelServed = "~/.zyn/served"};

private:
    TestSupport::EnvironmentVariable local_ {"ZYN_CRUCIBLE_LOCAL", (home() / "near").string()};
    TestSupport::EnvironmentVariable databases_ {"CM_DATABASES_DIR", (scratch() / "descriptors").string()};
    TestSupport::EnvironmentVariable temporary_ {"TMPDIR", (scratch() / "temporary").string()};
    TestSupport::EnvironmentVariable path_ {"PATH", "/usr/bin:/bin"};
};

TEST_F(ConcurrentUseTest, everythingCanBeAskedForAtTheSameTime)
{
    const auto everyLook = std::array<std::function<void(const fs::path& own)>, 6> {
        [this](const fs::path&) { EXPECT_EQ(StatusProbe::gather(identity_, actions_).version, "1"); },
        [this](const fs::path&) { EXPECT_FALSE(Scanner::scan(identity_).empty()); },
        [this](const fs::path&) { EXPECT_EQ(CrucibleProbe::topology(identity_, actions_).sites.size(), 2); },
        [](const fs::path&) { EXPECT_FALSE(CrucibleHealth::scanAll(CrucibleRoots::all()).empty()); },
        [this](const fs::path&) {
            EXPECT_EQ(DatabaseCatalog::load().size(), 1);
            EXPECT_EQ(ModelCatalog::scan(scratch().string()).size(), 1);
        },
        // What changes something works on places of its own.
        [this](const fs::path& own) {
            write(own / "from/models/m/weights", own.string());
            const auto moved = CrucibleMove::relocate(own / "from/models/m", own / "from", own / "to");
            EXPECT_TRUE(moved.ok) << moved.message;
            const std::string links = CrucibleBackup::exported({own / "from"}, std::nullopt);
            EXPECT_TRUE(CrucibleRestore::restore(links).at(0).repaired);
            EXPECT_TRUE(CrucibleAdmin::setRoot(own / "root", own / "to").ok);
            EXPECT_TRUE(Remover::trash({own / "root"}).front().trashed);
        },
    };
    std::vector<std::thread> threads;
    for (std::size_t kind = 0; kind < everyLook.size() * lanes; kind++) {
        threads.emplace_back([&, kind] {
            for (int round = 0; round < rounds; round++) {
                everyLook.at(kind / lanes)(scratch() / std::to_string(kind) / std::to_string(round));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace
