#include <filesystem>
#include <string>

#include "Fuzz/Target.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Models/ModelPath.h"
#include "ManagerCore/Platform/Platform.h"

namespace
{

using Fuzz::require;

std::optional<ManagerCore::ModelResolution> modelWithSettings(std::string_view settings)
{
    const auto home = ManagerCore::Platform::homeFolder();
    std::filesystem::create_directories(home / "downloads/publisher/model");
    Fuzz::put(home / ".lmstudio/settings.json", settings);
    return ManagerCore::ModelPath::resolve({.modelPaths = {"~/absent/publisher/model"}}, {});
}

void runLmStudio(std::string_view input)
{
    const auto model = modelWithSettings(input);
    if (model) {
        require(ManagerCore::Text::isUtf8(input), "What is no text says nothing.");
        require(ManagerCore::FilePath::exists(model->url), "A model that is told exists.");
        require(model->catalogInstalled && model->url.string().ends_with("/publisher/model"),
                "A copy has the publisher’s and the model’s name.");
    }
    require(modelWithSettings(std::string(input) + "\n") == model, "A line feed at the end changes nothing.");
}

const Fuzz::Registration lmStudioTarget("lm-studio", &runLmStudio);

} // namespace
