#include "Model.h"

#include <array>
#include <climits>
#include <cstdlib>

#include <dirent.h>
#include <sys/stat.h>

namespace Vantor
{
namespace
{

bool endsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

// The last two parts of the path, without the folder of the training stage that may end it.
std::string nameOf(std::string folder)
{
    const std::string stage = "/3_final";
    if (endsWith(folder, stage)) {
        folder.resize(folder.size() - stage.size());
    }
    const std::size_t model = folder.rfind('/');
    const std::size_t publisher = model == 0 ? std::string::npos : folder.rfind('/', model - 1);
    return publisher == std::string::npos ? folder : folder.substr(publisher + 1);
}

void addWeights(Model& model)
{
    DIR* folder = opendir(model.folder.c_str());
    if (folder == nullptr) {
        return;
    }
    while (const dirent* entry = readdir(folder)) {
        const std::string name = entry->d_name;
        struct stat file {};
        if (endsWith(name, ".safetensors") && stat((model.folder + "/" + name).c_str(), &file) == 0) {
            ++model.files;
            model.bytes += static_cast<std::uint64_t>(file.st_size);
        }
    }
    closedir(folder);
}

} // namespace

std::optional<Model> readModel(const std::string& path)
{
    std::array<char, PATH_MAX> resolved {};
    struct stat config {};
    if (realpath(path.c_str(), resolved.data()) == nullptr
        || stat((std::string(resolved.data()) + "/config.json").c_str(), &config) != 0) {
        return std::nullopt;
    }
    Model model;
    model.folder = resolved.data();
    model.name = nameOf(model.folder);
    addWeights(model);
    return model.files > 0 ? std::optional(model) : std::nullopt;
}

} // namespace Vantor
