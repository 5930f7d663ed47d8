#include "ManagerCore/Health/StatusProbe.h"

#include <optional>

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Proc.h"
#include "ManagerCore/Foundation/Size.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Health/Service.h"
#include "ManagerCore/Models/ModelPath.h"

namespace ManagerCore::StatusProbe
{

namespace
{

constexpr std::size_t commitLength = 8;

// The last of the pieces between colons, trimmed; the unknown value when there is none.
std::string lastPiece(std::string_view line)
{
    const std::vector<std::string_view> pieces = Text::pieces(line, ':');
    return pieces.empty() ? unknownText : std::string(Text::trimSpacesAndTabs(pieces.back()));
}

// Every commit line overwrites what an earlier one gave; of the others only the first that has a word counts.
void readVersion(const std::string& output, Status& status)
{
    for (const std::string_view line : Text::nonEmptyLines(output)) {
        if (line.find("commit") != std::string_view::npos) {
            status.commit = Text::firstCharacters(lastPiece(line), commitLength);
        } else if (status.version == unknownText) {
            const std::vector<std::string_view> words = Text::pieces(line, ' ');
            status.version = words.empty() ? unknownText : std::string(words.back());
        }
    }
}

std::string provider(const std::string& defaultsPath)
{
    const auto defaults = Text::readFile(FilePath::expandHome(defaultsPath));
    if (!defaults) {
        return unknownText;
    }
    for (const std::string_view line : Text::nonEmptyLines(*defaults)) {
        if (line.find("default:") != std::string_view::npos) {
            return lastPiece(line);
        }
    }
    return unknownText;
}

void measureModel(const ModelResolution& model, Status& status)
{
    status.modelPath = model.url.string();
    status.modelBytes = Size::of(FilePath::resolved(model.url));
    status.modelCatalogInstalled = model.catalogInstalled;
}

} // namespace

Status gather(const Identity& identity, const ManagerActions& actions)
{
    Status status;
    if (const auto executable = identity.installedExecutable()) {
        status.installed = true;
        readVersion(Proc::run(executable->string(), {"--version"}).stdout, status);
    }
    status.backendRunning = Service::running(actions.launchAgent);
    const std::optional<ModelResolution> model = ModelPath::resolve(identity, actions);
    status.modelPresent = model.has_value();
    status.provider = provider(actions.defaultsPath);
    if (model) {
        measureModel(*model, status);
    }
    return status;
}

} // namespace ManagerCore::StatusProbe
