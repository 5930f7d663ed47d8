#pragma once

#include <filesystem>
#include <string>

#include "ManagerCore/Crucible/CrucibleLink.h"
#include "ManagerCore/Crucible/CrucibleSite.h"
#include "ManagerCore/Crucible/CrucibleTopology.h"
#include "ManagerCore/Foundation/Identity.h"
#include "ManagerCore/Foundation/ManagerActions.h"

// Looks at the store of weights and changes nothing. Never fails: what cannot be read shows in the records. Any thread.
namespace ManagerCore::CrucibleProbe
{

CrucibleLink link(const std::filesystem::path& path);

// With the size, which walks the whole copy: not for the interface thread.
CrucibleSite site(const std::string& declared);

// Every declared copy and the two links. Walks each copy once, several at the same time: not for the interface thread.
CrucibleTopology topology(const Identity& identity, const ManagerActions& actions);

// The same without measuring: every size is 0.
CrucibleTopology layout(const Identity& identity, const ManagerActions& actions);

} // namespace ManagerCore::CrucibleProbe
