#include "ManagerCore/Crucible/CrucibleBackup.h"

#include "ManagerCore/Foundation/Text.h"

namespace ManagerCore::CrucibleBackup
{

namespace
{

namespace fs = std::filesystem;

constexpr const char* header
    = "# zyn crucible link topology — restore with `zyn-code-manager crucible restore`\n"
      "# Weights are NOT included; this records only which node is real and where links aim.\n";

// Whether reading the document gives this very path again.
bool survives(const std::string& text)
{
    return !text.empty() && text.find('\n') == std::string::npos && !text.ends_with('"') && Text::isUtf8(text);
}

std::string configSection(const fs::path& file)
{
    const auto body = Text::readBytes(file);
    if (!body || !Text::isUtf8(*body) || !survives(file.native())) {
        return {};
    }
    return "\n[config]\npath = \"" + file.string() + "\"\nbody = \"\"\"\n" + *body + "\n\"\"\"\n";
}

std::string table(const CrucibleHealth::Finding& finding)
{
    return "\n[[link]]\nlink = \"" + finding.link + "\"\ntarget = \"" + finding.target
        + "\"\nresolved_at_backup = " + (finding.resolves ? "true" : "false") + "\n";
}

} // namespace

Backup make(const std::vector<fs::path>& roots, const std::optional<fs::path>& configPath)
{
    Backup backup {.document = header};
    if (configPath) {
        backup.document += configSection(*configPath);
    }
    for (CrucibleHealth::Finding& finding : CrucibleHealth::scanAll(roots)) {
        if (survives(finding.link) && survives(finding.target)) {
            backup.document += table(finding);
        } else {
            backup.leftOut.push_back(std::move(finding));
        }
    }
    return backup;
}

std::string exported(const std::vector<fs::path>& roots, const std::optional<fs::path>& configPath)
{
    return make(roots, configPath).document;
}

} // namespace ManagerCore::CrucibleBackup
