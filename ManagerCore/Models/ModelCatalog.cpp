#include "ManagerCore/Models/ModelCatalog.h"

#include <algorithm>
#include <filesystem>
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

// Calls `visit` with the slug and the file of every entry and a list to append to, from several threads at once.
// Returns what the lists hold, in no order.
template <class T, class Visit> std::vector<T> gatherFiles(const std::string& installModelsDir, const Visit& visit)
{
    if (installModelsDir.empty()) {
        return {};
    }
    const std::filesystem::path root = FilePath::appending(FilePath::fromText(installModelsDir), "catalog");
    return TreeWalk::gather<T>(root, [&](const TreeWalk::Folder& folder, std::vector<T>& found) {
        for (const TreeWalk::Entry& entry : folder.entries) {
            if (entry.name == entryFile && entry.kind != TreeWalk::Kind::folder) {
                visit(folder.path, FilePath::appending(root, TreeWalk::pathOf(folder, entry)), found);
            }
        }
    });
}

// The same with the text of every entry that can be read. A file directly in the catalog has no slug and is no entry.
template <class T, class Visit> std::vector<T> gatherTexts(const std::string& installModelsDir, const Visit& visit)
{
    return gatherFiles<T>(installModelsDir,
                          [&visit](const std::string& slug, const std::filesystem::path& file, std::vector<T>& found) {
                              if (const auto text = Text::readFile(file); text && !slug.empty()) {
                                  visit(slug, *text, found);
                              }
                          });
}

bool isReleased(const Descriptor::Map& entry) { return Descriptor::text("release", entry) == "yes"; }

Entry entryOf(const std::string& slug, const std::filesystem::path& file)
{
    if (slug.empty()) {
        return {.file = file, .fault = "The file “model.toml” is directly in the catalog and has no slug.", .repo = {}};
    }
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

// The value of a line as the matching reads it: between the first and the last double quote.
std::optional<std::string_view> quotedRepo(std::string_view line)
{
    if (!Text::startsWith(line, "repo")) {
        return std::nullopt;
    }
    const std::size_t first = Text::find(line, '"');
    std::size_t last = first;
    for (std::size_t at = first; at != std::string_view::npos; at = Text::find(line, '"', at + 1)) {
        last = at;
    }
    return first == last ? std::nullopt : std::optional(line.substr(first + 1, last - first - 1));
}

bool names(std::string_view text, const std::string& needle)
{
    return std::ranges::any_of(Text::lines(text), [&needle](std::string_view line) {
        const auto repo = quotedRepo(line);
        return repo && Text::endsWith(*repo, needle);
    });
}

} // namespace

std::vector<CatalogModel> scan(const std::string& installModelsDir)
{
    const auto visit = [](const std::string& slug, std::string_view text, std::vector<CatalogModel>& found) {
        const Descriptor::Map entry = Descriptor::parse(text);
        if (isReleased(entry)) {
            found.push_back({.slug = slug,
                             .name = Descriptor::text("name", entry, slug),
                             .repo = Descriptor::text("repo", entry),
                             .size = Descriptor::text("size", entry)});
        }
    };
    std::vector<CatalogModel> models = gatherTexts<CatalogModel>(installModelsDir, visit);
    std::ranges::sort(models, [](const CatalogModel& one, const CatalogModel& other) {
        return std::tie(one.name, one.slug) < std::tie(other.name, other.slug);
    });
    return models;
}

std::vector<Entry> entries(const std::string& installModelsDir)
{
    const auto visit = [](const std::string& slug, const std::filesystem::path& file, std::vector<Entry>& found) {
        found.push_back(entryOf(slug, file));
    };
    std::vector<Entry> all = gatherFiles<Entry>(installModelsDir, visit);
    std::ranges::sort(all, {}, &Entry::file);
    return all;
}

std::optional<std::string> slugFor(std::string_view model, const std::string& installModelsDir)
{
    const std::string needle = "/" + std::string(model);
    const auto visit = [&](const std::string& slug, std::string_view text, std::vector<std::string>& found) {
        if (names(text, needle)) {
            found.push_back(slug);
        }
    };
    const std::vector<std::string> slugs = gatherTexts<std::string>(installModelsDir, visit);
    const auto first = std::ranges::min_element(slugs);
    return first == slugs.end() ? std::nullopt : std::optional(*first);
}

} // namespace ManagerCore::ModelCatalog
