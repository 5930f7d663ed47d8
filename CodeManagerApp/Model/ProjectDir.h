#pragma once

#include "ManagerCore/Foundation/ProjectDir.h"

namespace CodeManagerApp
{

namespace ProjectDir = ManagerCore::ProjectDir;

} // namespace CodeManagerApp
