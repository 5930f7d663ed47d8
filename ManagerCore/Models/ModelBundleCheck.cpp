#include "ManagerCore/Models/ModelBundleCheck.h"

#include "ManagerCore/Foundation/FilePath.h"

namespace ManagerCore::ModelBundleCheck
{

bool isBundled(const std::string& repo, const std::string& installModelsDir)
{
    if (repo.empty() || installModelsDir.empty()) {
        return false;
    }
    const auto models = FilePath::appending(FilePath::parent(FilePath::fromText(installModelsDir)), "Models");
    return FilePath::exists(FilePath::appending(models, repo));
}

} // namespace ManagerCore::ModelBundleCheck
