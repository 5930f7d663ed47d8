#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ManagerCore/Foundation/Descriptor.h"
#include "ManagerCore/Foundation/Identity.h"
#include "ManagerCore/Foundation/ManagerActions.h"

// The keys of a product's descriptor, each with the field that it fills, in the order of the records.
namespace ManagerCore::DescriptorFields
{

template <class Record> struct Field {
    std::string_view key;
    std::string_view name; // of the record's field, as JSON has it
    std::string Record::* text = nullptr; // this one or `list`
    std::vector<std::string> Record::* list = nullptr;
};

inline constexpr std::array identity {
    Field<Identity> {.key = "name", .name = "name", .text = &Identity::name},
    Field<Identity> {.key = "display", .name = "display", .text = &Identity::display},
    Field<Identity> {.key = "bundle_prefix", .name = "bundlePrefix", .text = &Identity::bundlePrefix},
    Field<Identity> {.key = "app_paths", .name = "appPaths", .list = &Identity::appPaths},
    Field<Identity> {.key = "binaries", .name = "binaries", .list = &Identity::binaries},
    Field<Identity> {.key = "config_dirs", .name = "configDirs", .list = &Identity::configDirs},
    Field<Identity> {.key = "model_paths", .name = "modelPaths", .list = &Identity::modelPaths},
    Field<Identity> {.key = "model_locations", .name = "modelLocations", .list = &Identity::modelLocations},
    Field<Identity> {.key = "model_display", .name = "modelDisplay", .text = &Identity::modelDisplay},
    Field<Identity> {.key = "editor_extension_id", .name = "editorExtensionId", .text = &Identity::editorExtensionId},
    Field<Identity> {.key = "identity_marker", .name = "marker", .text = &Identity::marker},
    Field<Identity> {.key = "sweep_names", .name = "sweepNames", .list = &Identity::sweepNames},
    Field<Identity> {.key = "sweep_dirs", .name = "sweepDirs", .list = &Identity::sweepDirs},
};

inline constexpr std::array actions {
    Field<ManagerActions> {.key = "defaults_path", .name = "defaultsPath", .text = &ManagerActions::defaultsPath},
    Field<ManagerActions> {.key = "launch_agent", .name = "launchAgent", .text = &ManagerActions::launchAgent},
    Field<ManagerActions> {.key = "server_bin", .name = "serverBin", .text = &ManagerActions::serverBin},
    Field<ManagerActions> {.key = "server_port", .name = "serverPort", .text = &ManagerActions::serverPort},
    Field<ManagerActions> {.key = "server_log", .name = "serverLog", .text = &ManagerActions::serverLog},
    Field<ManagerActions> {.key = "model_served", .name = "modelServed", .text = &ManagerActions::modelServed},
};

// A record with the fields that the map gives; the others keep their defaults.
template <class Record> Record read(std::span<const Field<Record>> fields, const Descriptor::Map& map)
{
    Record record;
    for (const Field<Record>& field : fields) {
        if (field.list != nullptr) {
            record.*field.list = Descriptor::list(field.key, map);
        } else {
            record.*field.text = Descriptor::text(field.key, map, record.*field.text);
        }
    }
    return record;
}

} // namespace ManagerCore::DescriptorFields
