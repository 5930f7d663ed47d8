#include "ManagerCore/Setup/InstallTexts.h"

namespace ManagerCore::InstallTexts
{

std::string locateProjectFirst() { return "Locate the source project folder first."; }

std::string noDefaultsPath(const Identity& identity)
{
    return "No defaults_path configured for " + identity.display + ".";
}

std::string checkAModelFirst() { return "Check at least one model first."; }

std::string installing(const Identity& identity) { return "Installing " + identity.display + "…\n"; }

std::string installingModel(const Identity& identity) { return "Installing model for " + identity.display + "…\n"; }

std::string installingModels(std::size_t count) { return "Installing " + std::to_string(count) + " model(s)…\n"; }

std::string progress(std::size_t number, std::size_t total, const std::string& doing)
{
    return (number > 1 ? "\n" : "") + std::to_string(number) + "/" + std::to_string(total) + "  " + doing + "\n";
}

const std::string& shown(const Proc::Out& out) { return out.stdout.empty() ? out.stderr : out.stdout; }

std::string ending(const Proc::Out& out)
{
    return out.ok() ? std::string() : "\n✗ failed (exit " + std::to_string(out.code) + ").";
}

std::string removalEnding(const Proc::Out& out)
{
    return out.ok() ? "\n✓ model moved to Trash." : "\n✗ remove failed (exit " + std::to_string(out.code) + ").";
}

std::string installedOf(std::size_t good, std::size_t total)
{
    return std::to_string(good) + "/" + std::to_string(total) + " installed.";
}

} // namespace ManagerCore::InstallTexts
