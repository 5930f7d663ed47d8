#pragma once

#include <vector>

#include "ManagerCore/Doctor/Doctor.h"

// The checks, one for each thing that is looked at. None of them changes anything or fails.
namespace ManagerCore::Doctor
{

std::vector<Finding> checkDescriptor(const Subject& subject);
std::vector<Finding> checkExecutables(const Subject& subject);
std::vector<Finding> checkAgent(const Subject& subject);
std::vector<Finding> checkLinks(const Subject& subject);
std::vector<Finding> checkProjectFolder(const Subject& subject);
// Nothing where there is no project folder.
std::vector<Finding> checkScripts(const Subject& subject);
std::vector<Finding> checkCatalog(const Subject& subject);
std::vector<Finding> checkDatabases(const Subject& subject);

} // namespace ManagerCore::Doctor
