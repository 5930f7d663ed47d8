// Everything that the window can do, asked for at once and in any order while panes are switched, and the model taken
// down in the middle of it. 12 times, or as often as CODE_MANAGER_STORMS says, from the seed in
// CODE_MANAGER_STORM_SEED or the usual one.

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <iterator>
#include <random>
#include <set>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "CodeManagerApp/Model/ManagerModel.h"
#include "CodeManagerApp/Model/QtText.h"
#include "Tests/CodeManagerApp/Support/ModelTest.h"

using namespace CodeManagerApp;
using namespace std::chrono_literals;
using ManagerCore::Database;
using ManagerCore::Identity;
using ManagerCore::ManagerActions;
using ManagerCore::Status;
namespace fs = std::filesystem;

namespace
{

std::uint64_t number(const char* variable, std::uint64_t otherwise)
{
    const char* given = std::getenv(variable);
    return given != nullptr && *given != '\0' ? std::strtoull(given, nullptr, 10) : otherwise;
}

std::size_t entriesIn(const char* folder)
{
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

// A product with all that the window works on, made anew for each storm.
class ModelStormTest : public TestSupport::ModelTest
{
protected:
    using Operation = std::function<void(ManagerModel&)>;

    void makeWorld()
    {
        for (const fs::path& folder : {home(), scratch() / "work"}) {
            fs::remove_all(folder);
            fs::create_directories(folder);
        }
        contents_.clear();
        script("zyn-v8/build.command", "cli");
        script("zyn-v8/desktop/build.command", "desktop");
        script("mlx-vantor/build.command", "engine");
        script("install-models/install-one-model.command", "model");
        script("install-models/uninstall-model.command", "removal");
        for (const char* slug : {"org/model", "org/other"}) {
            TestSupport::write(work() / "install-models/catalog" / slug / "model.toml",
                               "release = yes\nname = \"" + std::string(slug) + "\"\nrepo = \"org/Model\"\n");
        }
        TestSupport::write(home() / "defaults.yaml", "mlx:\n  model: Model\n");
        TestSupport::makeExecutable(home() / ".zyn/bin/zyn", "#!/bin/sh\necho zyn 1\n");
        for (const char* file : {"near/models/a/weights",
                                 "far/models/a/weights",
                                 ".config/zyn/settings",
                                 "Library/Logs/zyn/log",
                                 "models/Model/weights.bin",
                                 "sources/orchid/index",
                                 "sources/orchid/deep/pages",
                                 "databases/quill/old"}) {
            keep(file);
        }
        TestSupport::makeLink(home() / "links/root", home() / "near");
        TestSupport::makeLink(home() / "links/served", home() / "near/models/a");
        TestSupport::makeLink(home() / "near/models/b", "/gone/b");
    }

    [[nodiscard]] std::unique_ptr<ManagerModel> model() const
    {
        auto model = std::make_unique<ManagerModel>(identity_, actions_);
        model->setProjectDir(project());
        model->setStatus(Status {.modelPresent = true, .modelPath = (home() / "models/Model").string()});
        return model;
    }

    // What each pane asks for when it is shown.
    static void show(ManagerModel& model, Pane pane)
    {
        model.setSection(pane);
        switch (pane) {
        case Pane::crucible:
            model.requestCrucible();
            break;
        case Pane::model:
            model.requestModels();
            break;
        case Pane::databases:
            model.requestDatabases();
            break;
        default:
            model.requestRefresh();
            break;
        }
    }

    std::vector<Operation> operations()
    {
        std::vector<Operation> all {
            [](ManagerModel& model) { model.openLog(); },
            [](ManagerModel& model) { model.scan(); },
            [](ManagerModel& model) { model.selectAll(); },
            [](ManagerModel& model) { model.moveChosenToTrash(); },
            [](ManagerModel& model) { model.toggleExpanded(ManagerCore::ArtifactCategory::model); },
            [this](ManagerModel& model) { model.setCrucibleRoot(home() / "far"); },
            [this](ManagerModel& model) { model.setCrucibleRoot(home() / "nowhere"); },
            [](ManagerModel& model) { model.checkLinks(); },
            [](ManagerModel& model) { model.repairLinks(); },
            [this](ManagerModel& model) { model.backUpLinks(scratch() / "links.toml"); },
            [this](ManagerModel& model) { model.restoreLinks(scratch() / "links.toml"); },
            [](ManagerModel& model) { model.installCli(); },
            [](ManagerModel& model) { model.installEverything(); },
            [](ManagerModel& model) { model.installConfiguredModel(); },
            [](ManagerModel& model) { model.installCheckedModels(); },
            [](ManagerModel& model) { model.removeModel(); },
            [this](ManagerModel& model) { model.chooseProject(project()); },
            [](ManagerModel& model) { model.selectAllModels(); },
            [this](ManagerModel& model) { model.installDatabase(orchid()); },
            [this](ManagerModel& model) { model.removeDatabase(orchid()); },
            [this](ManagerModel& model) { model.installDatabase(quill()); },
            [](ManagerModel& model) { model.progress()->stop(); },
        };
        for (const ServiceOp op : allServiceOps) {
            all.emplace_back([op](ManagerModel& model) { model.perform(op); });
        }
        for (const std::size_t site : {0U, 1U, 2U, 7U}) {
            all.emplace_back([site](ManagerModel& model) { model.serveFrom(site); });
        }
        for (const Pane pane : allPanes) {
            all.emplace_back([pane](ManagerModel& model) { show(model, pane); });
            all.emplace_back([](ManagerModel& /*model*/) { QCoreApplication::processEvents(); });
        }
        return all;
    }

    static bool atRest(ManagerModel& model)
    {
        return model.settles(0ms) && !model.busy() && !model.crucibleBusy() && !model.scanning() && !model.refreshing()
            && !model.operationRuns() && !model.progress()->runs();
    }

    // Until all that was asked for has ended, with what it has asked for itself.
    static bool comesToRest(ManagerModel& model)
    {
        const auto latest = std::chrono::steady_clock::now() + std::chrono::milliseconds(TestSupport::patience);
        for (int quiet = 0; quiet < 3 && std::chrono::steady_clock::now() < latest;) {
            [[maybe_unused]] const bool ended = model.settles(std::chrono::milliseconds(TestSupport::patience));
            QCoreApplication::processEvents();
            quiet = atRest(model) ? quiet + 1 : 0;
        }
        return atRest(model);
    }

    // Each of the files that were made is somewhere in the home, in its place, as a copy or in the Trash.
    void expectNothingLost() const
    {
        std::set<std::string> found;
        for (const auto& entry : fs::recursive_directory_iterator(home())) {
            if (entry.is_regular_file() && !entry.is_symlink()) {
                found.insert(TestSupport::read(entry.path()));
            }
        }
        for (const std::string& content : contents_) {
            EXPECT_TRUE(found.contains(content)) << content << " is nowhere any more";
        }
    }

    // Every script that began came to its end or was stopped, which it wrote down; no child is left.
    void expectNothingRuns() const
    {
        EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child was left";
        for (const fs::directory_entry& process : fs::directory_iterator("/proc")) {
            const std::string environment = TestSupport::read(process.path() / "environ");
            const bool ours = environment.find("HOME=" + home().string() + '\0') != std::string::npos;
            EXPECT_TRUE(!ours || process.path().filename() == std::to_string(::getpid()))
                << TestSupport::read(process.path() / "cmdline") << " was left";
        }
    }

    void storm(std::mt19937_64& random)
    {
        const auto shown = model();
        std::vector<Operation> all = operations();
        // Not every storm has all of them, so that each gets to begin.
        for (std::size_t left = all.size(); left > 0; left--) {
            std::swap(all[left - 1], all[random() % left]);
        }
        const std::size_t some = random() % 2 == 0 ? all.size() : 1 + random() % all.size();
        for (std::size_t index = 0; index < some; index++) {
            all[index](*shown);
        }
        if (random() % 2 == 0) {
            EXPECT_TRUE(comesToRest(*shown)) << "busy " << shown->busy() << ", crucible " << shown->crucibleBusy()
                                             << ", scanning " << shown->scanning() << ", refreshing "
                                             << shown->refreshing() << ", running " << shown->operationRuns();
        } else {
            for (std::size_t round = random() % 40; round > 0; round--) {
                QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
            }
        }
    }

private:
    [[nodiscard]] fs::path work() const { return scratch() / "work"; }
    [[nodiscard]] std::string project() const { return (work() / "zyn-v8").string(); }
    void script(const std::string& path, const std::string& says) const
    {
        TestSupport::write(work() / path, "echo " + says + " begun\n/bin/true\necho " + says + " done\n");
    }
    void keep(const std::string& file)
    {
        contents_.insert("contents of " + file);
        TestSupport::write(home() / file, "contents of " + file);
    }
    [[nodiscard]] static Database orchid()
    {
        return {
            .id = "orchid", .name = "Orchid", .detail = {}, .source = "~/sources/orchid", .dest = "~/databases/orchid"};
    }
    [[nodiscard]] static Database quill()
    {
        return {
            .id = "quill", .name = "Quill", .detail = {}, .source = "~/sources/orchid", .dest = "~/databases/quill"};
    }

    const Identity identity_ {.name = "zyn",
                              .display = "Zyn",
                              .binaries = {"~/.zyn/bin/zyn"},
                              .configDirs = {"~/.zyn", "~/.config/zyn"},
                              .modelPaths = {"~/models/Model"},
                              .modelLocations = {"~/links/root", "~/far", "~/absent"}};
    const ManagerActions actions_ {.defaultsPath = "~/defaults.yaml",
                                   .launchAgent = "com.example.code-manager.none",
                                   .serverLog = "~/no.log",
                                   .modelServed = "~/links/served"};
    std::set<std::string> contents_;
    TestSupport::EnvironmentVariable local_ {"ZYN_CRUCIBLE_LOCAL", (home() / "near").string()};
    TestSupport::EnvironmentVariable canonical_ {"ZYN_CRUCIBLE_ROOT", (home() / "far").string()};
    TestSupport::EnvironmentVariable databases_ {"CM_DATABASES_DIR", (scratch() / "descriptors").string()};
    TestSupport::EnvironmentVariable temporary_ {"TMPDIR", (scratch() / "runtime").string()};
    TestSupport::EnvironmentVariable path_ {"PATH", "/usr/bin:/bin"};
};

TEST_F(ModelStormTest, nothingIsLostAndNothingIsLeftRunning)
{
    const std::uint64_t seed = number("CODE_MANAGER_STORM_SEED", 20261121);
    std::cout << "CODE_MANAGER_STORM_SEED=" << seed << "\n" << std::flush;
    std::mt19937_64 random(seed);
    std::size_t descriptors = 0;
    const std::uint64_t storms = number("CODE_MANAGER_STORMS", 12);
    for (std::uint64_t count = 0; count < storms && !HasFailure(); count++) {
        SCOPED_TRACE("storm " + std::to_string(count));
        makeWorld();
        storm(random);
        QCoreApplication::processEvents();
        expectNothingLost();
        expectNothingRuns();
        if (count == 1) { // what the toolkit opens once is open by now
            descriptors = entriesIn("/proc/self/fd");
        } else if (count > 1) {
            EXPECT_LE(entriesIn("/proc/self/fd"), descriptors);
        }
    }
}

} // namespace
