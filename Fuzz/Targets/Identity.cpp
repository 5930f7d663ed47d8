#include "ManagerCore/Foundation/Identity.h"

#include "Fuzz/Target.h"
#include "Fuzz/Written.h"
#include "ManagerCore/Foundation/ManagerActions.h"
#include "ManagerCore/Foundation/Text.h"

namespace
{

using Fuzz::require;
using Fuzz::Written::line;
using ManagerCore::Identity;
using ManagerCore::ManagerActions;

constexpr std::size_t listsOfAnIdentity = 7;

std::string writtenIdentity(const Identity& identity, const ManagerActions& actions)
{
    return line("name", identity.name) + line("display", identity.display)
        + line("bundle_prefix", identity.bundlePrefix) + line("app_paths", identity.appPaths)
        + line("binaries", identity.binaries) + line("config_dirs", identity.configDirs)
        + line("model_paths", identity.modelPaths) + line("model_locations", identity.modelLocations)
        + line("model_display", identity.modelDisplay) + line("editor_extension_id", identity.editorExtensionId)
        + line("identity_marker", identity.marker) + line("sweep_names", identity.sweepNames)
        + line("sweep_dirs", identity.sweepDirs) + line("defaults_path", actions.defaultsPath)
        + line("launch_agent", actions.launchAgent) + line("server_bin", actions.serverBin)
        + line("server_port", actions.serverPort) + line("server_log", actions.serverLog)
        + line("model_served", actions.modelServed);
}

void runIdentity(std::string_view input)
{
    const auto file = Fuzz::folder() / "descriptor.toml";
    Fuzz::put(file, input);
    const auto identity = Identity::load(file);
    const ManagerActions actions = ManagerActions::load(file);
    require(identity.has_value() == ManagerCore::Text::isUtf8(input),
            "A descriptor is read if and only if it is text.");
    if (!identity) {
        require(identity.error().ends_with('.'), "What cannot be read is told in a sentence.");
        require(actions == ManagerActions::empty, "What cannot be read says nothing.");
        return;
    }
    const std::string written = writtenIdentity(*identity, actions);
    if (Fuzz::Written::isPlain(written, listsOfAnIdentity)) {
        Fuzz::put(file, written);
        require(Identity::load(file) == *identity, "An identity that is written anew is the same.");
        require(ManagerActions::load(file) == actions, "Actions that are written anew are the same.");
    }
}

const Fuzz::Registration identityTarget("identity", &runIdentity);

} // namespace
