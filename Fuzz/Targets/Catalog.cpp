#include <string>

#include "Fuzz/Target.h"
#include "Fuzz/Written.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Models/ModelCatalog.h"

namespace
{

namespace ModelCatalog = ManagerCore::ModelCatalog;
using Fuzz::require;
using Fuzz::Written::line;
using ManagerCore::CatalogModel;

constexpr const char* catalogSlug = "publisher/model";

std::string putEntry(std::string_view text)
{
    const auto models = Fuzz::folder() / "install-models";
    Fuzz::put(models / "catalog" / catalogSlug / "model.toml", text);
    return models.string();
}

std::string writtenEntry(const CatalogModel& model)
{
    return "release = yes\n" + line("name", model.name) + line("repo", model.repo) + line("size", model.size);
}

void checkModelOfCatalog(const CatalogModel& model)
{
    require(model.slug == catalogSlug, "A model is called as its folder.");
    const std::string written = writtenEntry(model);
    if (!Fuzz::Written::isPlain(written)) {
        return;
    }
    const std::string models = putEntry(written);
    require(ModelCatalog::scan(models) == std::vector {model}, "An entry that is written anew is the same.");
    const std::size_t slash = model.repo.rfind('/');
    if (slash != std::string::npos && ManagerCore::Text::isCharacterAt(model.repo, slash)) {
        require(ModelCatalog::slugFor(model.repo.substr(slash + 1), models) == catalogSlug,
                "A model is found by the name of its repository.");
    }
}

void runCatalog(std::string_view input)
{
    const std::string models = putEntry(input);
    const auto found = ModelCatalog::scan(models);
    const auto slug = ModelCatalog::slugFor("model", models);
    require(!slug || *slug == catalogSlug, "A slug is the folder of an entry.");
    require(found.size() <= 1, "An entry is one model at most.");
    if (!ManagerCore::Text::isUtf8(input)) {
        require(found.empty() && !slug, "What is no text says nothing.");
    }
    if (!found.empty()) {
        checkModelOfCatalog(found.front());
    }
}

const Fuzz::Registration catalogTarget("catalog", &runCatalog);

} // namespace
