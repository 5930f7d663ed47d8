#include <string>

#include "Fuzz/Target.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Health/StatusProbe.h"
#include "ManagerCore/Models/ModelPath.h"

namespace
{

namespace ModelPath = ManagerCore::ModelPath;
namespace Text = ManagerCore::Text;
using Fuzz::require;

void checkModel(const std::string& model, std::string_view input, const std::filesystem::path& file)
{
    require(!model.empty() && Text::trimWhiteSpace(model) == model, "A model’s name is trimmed and not empty.");
    require(input.find(model) != std::string_view::npos, "A model’s name stands in the file.");
    const std::string key = ModelPath::modelKey(model);
    require(key.find('/') == std::string::npos, "No publisher is left in a key.");
    require(Text::isUtf8(key), "A key is text.");
    const std::string separated = " " + model;
    Fuzz::put(file, "default: mlx\nmlx:\n  model:" + separated);
    require(!Text::isCharacterAt(separated, 0) || ModelPath::configuredModel(file.string()) == model,
            "A name that is written anew is the same.");
}

void runDefaults(std::string_view input)
{
    const auto file = Fuzz::folder() / "defaults.yaml";
    Fuzz::put(file, input);
    const auto model = ModelPath::configuredModel(file.string());
    const ManagerCore::Status status = ManagerCore::StatusProbe::gather({}, {.defaultsPath = file.string()});
    require(!status.installed && !status.modelPresent, "The defaults alone bring nothing about.");
    if (!Text::isUtf8(input)) {
        require(!model && status.provider == ManagerCore::unknownText, "What is no text says nothing.");
    }
    require(Text::find(status.provider, ':') == std::string::npos, "A provider is the text after the last colon.");
    if (model) {
        checkModel(*model, input, file);
    }
}

const Fuzz::Registration defaultsTarget("defaults", &runDefaults);

} // namespace
