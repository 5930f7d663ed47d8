#include "ManagerCore/Models/ModelPath.h"

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <unistd.h>
#include <vector>

#include <nlohmann/json.hpp>

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/PropertyList.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Foundation/TreeWalk.h"
#include "ManagerCore/Platform/Platform.h"

namespace ManagerCore::ModelPath
{

namespace
{

constexpr std::string_view finalWeights = "3_final";

struct Candidate {
    std::string path; // as configured, "~" and all
    bool catalogInstalled = false;
};

std::vector<std::string> programArguments(const std::filesystem::path& file)
{
    const auto bytes = Text::readBytes(file);
    return bytes ? PropertyList::texts(PropertyList::parse(*bytes), "ProgramArguments") : std::vector<std::string>();
}

// What the backend's launch agent hands its server as --model.
std::vector<Candidate> fromAgent(const std::string& launchAgent)
{
    if (launchAgent.empty()) {
        return {};
    }
    const auto file = FilePath::expandHome("~/Library/LaunchAgents/" + launchAgent + ".plist");
    const std::vector<std::string> arguments = programArguments(file);
    const auto option = std::ranges::find(arguments, "--model");
    if (option == arguments.end() || std::next(option) == arguments.end()) {
        return {};
    }
    return {{.path = *std::next(option), .catalogInstalled = false}};
}

// Candidates that catalog installs use.
std::vector<Candidate> catalogPlaces(std::vector<std::string> paths)
{
    std::vector<Candidate> candidates;
    candidates.reserve(paths.size());
    for (std::string& path : paths) {
        candidates.push_back({.path = std::move(path), .catalogInstalled = true});
    }
    return candidates;
}

struct KeysSeen {
    bool model = false;
    bool stage = false;

    void add(std::string_view component, const std::string& wanted)
    {
        const std::string key = modelKey(component);
        model = model || key == wanted;
        stage = stage || key == finalWeights;
    }
};

// Gathers the topmost folders of `folder` whose path bears the wanted key and the final weights, and leaves out what
// lies in them and in packages.
void gatherFinalWeights(const TreeWalk::Folder& folder,
                        const std::filesystem::path& location,
                        const std::string& wanted,
                        std::vector<std::string>& found)
{
    const std::filesystem::path here = folder.path.empty() ? location : FilePath::appending(location, folder.path);
    KeysSeen above;
    for (const std::string& component : FilePath::components(here)) {
        above.add(component, wanted);
    }
    for (TreeWalk::Entry& entry : folder.entries) {
        if (entry.kind != TreeWalk::Kind::folder) {
            continue;
        }
        KeysSeen seen = above;
        seen.add(entry.name, wanted);
        const std::string config = std::string(entry.name) + "/config.json";
        if (seen.model && seen.stage && ::faccessat(folder.descriptor, config.c_str(), F_OK, 0) == 0) {
            found.push_back(FilePath::appending(here, entry.name).string());
            entry.descend = false;
        } else if (FilePath::isPackageName(entry.name)) {
            entry.descend = false;
        }
    }
}

// The folders under the model locations that hold the configured model's final weights, in path order.
std::vector<Candidate> fromLocations(const std::vector<std::string>& locations, const std::string& defaultsPath)
{
    const std::optional<std::string> configured = configuredModel(defaultsPath);
    if (!configured) {
        return {};
    }
    const std::string wanted = modelKey(*configured);
    std::vector<std::string> paths;
    for (const std::string& location : locations) {
        const std::filesystem::path root = FilePath::expandHome(location);
        const auto gather = [&](const TreeWalk::Folder& folder, std::vector<std::string>& found) {
            gatherFinalWeights(folder, root, wanted, found);
        };
        std::ranges::move(TreeWalk::gather<std::string>(root, gather), std::back_inserter(paths));
    }
    std::ranges::sort(paths);
    return catalogPlaces(std::move(paths));
}

std::string downloadsFolder()
{
    const auto text = Text::readFile(FilePath::expandHome("~/.lmstudio/settings.json"));
    if (!text) {
        return {};
    }
    const nlohmann::json settings = nlohmann::json::parse(*text, nullptr, false);
    const auto folder = settings.is_object() ? settings.find("downloadsFolder") : settings.end();
    return folder != settings.end() && folder->is_string() ? folder->get<std::string>() : std::string();
}

// Where LM Studio keeps its own copies of the identity's models: downloads/publisher/name.
std::vector<Candidate> fromLmStudio(const std::vector<std::string>& modelPaths)
{
    const std::string downloads = downloadsFolder();
    if (downloads.empty()) {
        return {};
    }
    std::vector<std::string> copies;
    for (const std::string& modelPath : modelPaths) {
        const std::filesystem::path path = FilePath::expandHome(modelPath);
        const std::string name = FilePath::lastComponent(path);
        const std::string publisher = FilePath::lastComponent(FilePath::parent(path));
        if (!name.empty() && !publisher.empty()) {
            copies.push_back(FilePath::appending(FilePath::expandHome(downloads), publisher + "/" + name).string());
        }
    }
    return catalogPlaces(std::move(copies));
}

std::optional<ModelResolution> firstExisting(const std::vector<Candidate>& candidates)
{
    for (const Candidate& candidate : candidates) {
        std::filesystem::path url = FilePath::expandHome(candidate.path);
        if (FilePath::exists(url)) {
            return ModelResolution {.url = std::move(url), .catalogInstalled = candidate.catalogInstalled};
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<ModelResolution> resolve(const Identity& identity, const ManagerActions& actions)
{
    // Each source is asked only when those before it name nothing that exists: walking the locations is dear.
    for (const auto& source : std::initializer_list<std::function<std::vector<Candidate>()>> {
             [&] { return fromAgent(actions.launchAgent); },
             [&] { return fromLocations(identity.modelLocations, actions.defaultsPath); },
             [&] { return std::vector<Candidate> {{.path = actions.modelServed, .catalogInstalled = false}}; },
             [&] { return fromLmStudio(identity.modelPaths); },
             [&] { return catalogPlaces(identity.modelPaths); },
         }) {
        if (auto found = firstExisting(source())) {
            return found;
        }
    }
    return std::nullopt;
}

std::optional<std::string> configuredModel(const std::string& defaultsPath)
{
    const auto text = Text::readFile(FilePath::expandTilde(defaultsPath));
    if (!text) {
        return std::nullopt;
    }
    constexpr std::string_view key = "model:";
    bool inBlock = false;
    for (const std::string_view line : Text::lines(*text)) {
        if (!inBlock) {
            inBlock = line == "mlx:";
            continue;
        }
        if (!line.empty() && !line.starts_with(' ')) {
            return std::nullopt;
        }
        const std::size_t at = line.find(key);
        const std::string_view value
            = at == std::string_view::npos ? std::string_view {} : Text::trimWhiteSpace(line.substr(at + key.size()));
        if (!value.empty()) {
            return std::string(value);
        }
    }
    return std::nullopt;
}

std::string modelKey(std::string_view name)
{
    std::string key = Text::lowercased(name);
    key.erase(0, key.rfind('/') + 1);
    const std::size_t dash = key.rfind('-');
    if (dash != std::string::npos && key.find("bit", dash) != std::string::npos) {
        key.erase(dash);
    }
    return key;
}

} // namespace ManagerCore::ModelPath
