#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "ManagerCore/Foundation/Identity.h"
#include "ManagerCore/Foundation/ManagerActions.h"
#include "ManagerCore/Foundation/Proc.h"

// The whole product from its source project: command line, configuration, model, engine, on request the desktop
// application, service. A list of steps that the caller performs one after the other, each in the background if it
// likes, and what is said meanwhile.
namespace ManagerCore::InstallEverything
{

struct Plan {
    Identity identity;
    ManagerActions actions;
    std::string projectDir; // not empty
    bool desktop = false; // the desktop application too
};

enum class Step : std::uint8_t { cli, seed, model, engine, desktop, service };

// In the order in which they are performed.
std::vector<Step> steps(const Plan& plan);

// How many steps are counted, and which one of them this is, from 1. Seeding is not counted: its number is 0.
std::size_t total(const Plan& plan);
std::size_t number(const Plan& plan, Step step);

// "Installing the CLI…"; empty for seeding.
std::string doing(Step step);

// What is said before the step is performed; empty for seeding.
std::string opening(const Plan& plan, Step step);

// Whether the lines that the step's child prints are for the reader.
bool isShown(Step step);

struct Outcome {
    Proc::Out out; // of the step's child
    std::string shown; // what is said of that
    std::string closing; // what is said then
    bool failed = false; // the whole counts as failed
    bool ends = false; // no further step is to be performed

    [[nodiscard]] std::string text() const { return shown + closing; }
};

// Blocks until the step is done: not for the interface thread. `watcher`, when given, sees the lines of the step's
// children and can stop them; the same one may be given to all steps, and once it was asked to stop no further one
// does anything.
Outcome perform(const Plan& plan, Step step, Proc::Watcher* watcher = nullptr);

} // namespace ManagerCore::InstallEverything
