#pragma once

#include <cstddef>
#include <string>

#include "ManagerCore/Foundation/Identity.h"
#include "ManagerCore/Foundation/Proc.h"

// What the operations that install and remove say, made once for the window and the command line. Each text stands as
// it is added to what was said before: line breaks are part of it.
namespace ManagerCore::InstallTexts
{

// Refusals, each the whole text.
std::string locateProjectFirst();
std::string noDefaultsPath(const Identity& identity);
std::string checkAModelFirst();

// What an operation begins with.
std::string installing(const Identity& identity);
std::string installingModel(const Identity& identity);
std::string installingModels(std::size_t count);

// "2/5  Installing the model…": `number` counts from 1; each but the first stands on a line of its own.
std::string progress(std::size_t number, std::size_t total, const std::string& doing);

// What is shown of a run: its standard output, or its standard error where that is empty.
const std::string& shown(const Proc::Out& out);

// What follows a run: nothing after a good one.
std::string ending(const Proc::Out& out);
std::string removalEnding(const Proc::Out& out); // of a model, by its script

std::string installedOf(std::size_t good, std::size_t total);

} // namespace ManagerCore::InstallTexts
