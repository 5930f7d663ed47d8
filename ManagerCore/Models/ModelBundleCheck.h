#pragma once

#include <string>

namespace ManagerCore::ModelBundleCheck
{

// Whether the weights of `repo` lie in the "Models" folder beside the install-models folder already. Never for an empty
// `repo`. One look at the disk.
bool isBundled(const std::string& repo, const std::string& installModelsDir);

} // namespace ManagerCore::ModelBundleCheck
