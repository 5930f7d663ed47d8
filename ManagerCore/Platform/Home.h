#pragma once

namespace ManagerCore::Platform
{

// For a program's first lines, before it has other threads: takes away what libraries and children would understand
// otherwise than `homeFolder` does.
void settleHome();

} // namespace ManagerCore::Platform
