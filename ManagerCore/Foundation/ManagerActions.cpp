#include "ManagerCore/Foundation/ManagerActions.h"

#include "ManagerCore/Foundation/Descriptor.h"
#include "ManagerCore/Foundation/Text.h"

namespace ManagerCore
{

const ManagerActions ManagerActions::empty {};

ManagerActions ManagerActions::load(const std::filesystem::path& file)
{
    const auto contents = Text::readFile(file);
    if (!contents) {
        return empty;
    }
    const Descriptor::Map map = Descriptor::parse(*contents);
    return {
        .defaultsPath = Descriptor::text("defaults_path", map),
        .launchAgent = Descriptor::text("launch_agent", map),
        .serverBin = Descriptor::text("server_bin", map),
        .serverPort = Descriptor::text("server_port", map),
        .serverLog = Descriptor::text("server_log", map),
        .modelServed = Descriptor::text("model_served", map),
    };
}

} // namespace ManagerCore
