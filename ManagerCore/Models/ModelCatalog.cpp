#include "ManagerCore/Models/ModelCatalog.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <functional>
#include <iterator>
#include <tuple>
#include <utility>

#include "ManagerCore/Foundation/Descriptor.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Foundation/TreeWalk.h"

namespace ManagerCore::ModelCatalog
{

namespace
{

constexpr std::string_view entryFile = "model.toml";

// Hands the slug and the file of every entry to `entry`, from several threads at once and in no order; `lane` tells
// them apart.
using OnFile = std::function<void(const std::string& slug, const std::filesystem::path& file, unsigned lane)>;

void forEachFile(const std::string& installModelsDir, const OnFile& entry)
{
    if (installModelsDir.empty()) {
        return;
    }
    const std::filesystem::path root = FilePath::appending(FilePath::fromText(installModelsDir), "catalog");
    TreeWalk::walk(root, [&](const TreeWalk::Folder& folder, unsigned lane) {
        for (const TreeWalk::Entry& found : folder.entries) {
            if (found.name == entryFile && found.kind != TreeWalk::Kind::folder) {
                entry(folder.path, FilePath::appending(root, TreeWalk::pathOf(folder, found)), lane);
            }
        }
    });
}

// The same with the text of every entry that can be read.
using OnEntry = std::function<void(const std::string& slug, std::string_view text, unsigned lane)>;

void forEachEntry(const std::string& installModelsDir, const OnEntry& entry)
{
    forEachFile(installModelsDir, [&entry](const std::string& slug, const std::filesystem::path& file, unsigned lane) {
        if (const auto text = Text::readFile(file)) {
            entry(slug, *text, lane);
        }
    });
}

bool isReleased(const Descriptor::Map& entry) { return Descriptor::text("release", entry) == "yes"; }

Entry entryOf(const std::filesystem::path& file)
{
    const auto text = Text::readFile(file);
    if (!text) {
        return {.file = file, .fault = text.error(), .repo = {}};
    }
    const Descriptor::Map map = Descriptor::parse(*text);
    return {.file = file,
            .fault = {},
            .hasKeys = !map.empty(),
            .released = isReleased(map),
            .repo = Descriptor::text("repo", map)};
}

// What the lanes gathered, as one list in no order.
template <class T> std::vector<T> joined(std::array<std::vector<T>, TreeWalk::lanes>& lanes)
{
    std::vector<T> all;
    for (std::vector<T>& ofLane : lanes) {
        std::ranges::move(ofLane, std::back_inserter(all));
    }
    return all;
}

// The value of a line as the matching reads it: between the first and the last double quote.
std::optional<std::string_view> quotedRepo(std::string_view line)
{
    if (!line.starts_with("repo")) {
        return std::nullopt;
    }
    const std::size_t first = line.find('"');
    const std::size_t last = line.rfind('"');
    return first == last ? std::nullopt : std::optional(line.substr(first + 1, last - first - 1));
}

bool names(std::string_view text, const std::string& needle)
{
    return std::ranges::any_of(Text::lines(text), [&needle](std::string_view line) {
        const auto repo = quotedRepo(line);
        return repo && repo->ends_with(needle);
    });
}

} // namespace

std::vector<CatalogModel> scan(const std::string& installModelsDir)
{
    std::array<std::vector<CatalogModel>, TreeWalk::lanes> found;
    forEachEntry(installModelsDir, [&found](const std::string& slug, std::string_view text, unsigned lane) {
        const Descriptor::Map entry = Descriptor::parse(text);
        if (isReleased(entry)) {
            found[lane].push_back({.slug = slug,
                                   .name = Descriptor::text("name", entry, slug),
                                   .repo = Descriptor::text("repo", entry),
                                   .size = Descriptor::text("size", entry)});
        }
    });
    std::vector<CatalogModel> models = joined(found);
    std::ranges::sort(models, [](const CatalogModel& one, const CatalogModel& other) {
        return std::tie(one.name, one.slug) < std::tie(other.name, other.slug);
    });
    return models;
}

std::vector<Entry> entries(const std::string& installModelsDir)
{
    std::array<std::vector<Entry>, TreeWalk::lanes> found;
    forEachFile(installModelsDir,
                [&found](const std::string& /*slug*/, const std::filesystem::path& file, unsigned lane) {
                    found[lane].push_back(entryOf(file));
                });
    std::vector<Entry> all = joined(found);
    std::ranges::sort(all, {}, &Entry::file);
    return all;
}

std::optional<std::string> slugFor(std::string_view model, const std::string& installModelsDir)
{
    const std::string needle = "/" + std::string(model);
    std::array<std::vector<std::string>, TreeWalk::lanes> found;
    forEachEntry(installModelsDir, [&](const std::string& slug, std::string_view text, unsigned lane) {
        if (names(text, needle)) {
            found[lane].push_back(slug);
        }
    });
    std::vector<std::string> slugs = joined(found);
    const auto first = std::ranges::min_element(slugs);
    return first == slugs.end() ? std::nullopt : std::optional(std::move(*first));
}

} // namespace ManagerCore::ModelCatalog
