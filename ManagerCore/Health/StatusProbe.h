#pragma once

#include "ManagerCore/Foundation/Identity.h"
#include "ManagerCore/Foundation/ManagerActions.h"
#include "ManagerCore/Health/Status.h"

namespace ManagerCore::StatusProbe
{

// Looks at the product's files, runs its executable with --version and asks for its launch agent. Changes nothing and
// never fails: what cannot be told keeps its unknown value. Takes as long as those two commands and a walk over the
// model: not for the interface thread.
Status gather(const Identity& identity, const ManagerActions& actions);

} // namespace ManagerCore::StatusProbe
