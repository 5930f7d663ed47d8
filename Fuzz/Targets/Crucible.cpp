// Backup documents: any bytes as a document, and a document of any links. No link of a document is ever made.

#include <algorithm>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <unistd.h>

#include "Fuzz/Target.h"
#include "ManagerCore/Crucible/CrucibleBackup.h"
#include "ManagerCore/Crucible/CrucibleHealth.h"
#include "ManagerCore/Crucible/CrucibleRestore.h"
#include "ManagerCore/Foundation/Text.h"

namespace
{

namespace fs = std::filesystem;
namespace CrucibleAdmin = ManagerCore::CrucibleAdmin;
namespace CrucibleBackup = ManagerCore::CrucibleBackup;
namespace CrucibleHealth = ManagerCore::CrucibleHealth;
namespace CrucibleRestore = ManagerCore::CrucibleRestore;
using Fuzz::require;

using LinkPair = std::pair<std::string, std::string>; // a link and its target

constexpr std::string_view skipped = "target missing, skipped: ";

// In the place of what makes links: gives the target as the message.
CrucibleAdmin::Outcome tellTarget(const fs::path& /*link*/, const fs::path& to, std::string_view /*label*/)
{
    return {.ok = false, .message = std::string(skipped) + to.string()};
}

std::vector<LinkPair> pairsOf(std::string_view document)
{
    std::vector<LinkPair> pairs;
    for (const auto& result : CrucibleRestore::restore(document, &tellTarget)) {
        require(result.message.starts_with(skipped), "Without a hand nothing is made.");
        pairs.emplace_back(result.link.string(), result.message.substr(skipped.size()));
    }
    return pairs;
}

bool canBeWritten(const LinkPair& pair) { return !pair.first.ends_with('"') && !pair.second.ends_with('"'); }

void runRestore(std::string_view input)
{
    std::string written;
    std::vector<LinkPair> kept;
    for (const LinkPair& pair : pairsOf(input)) {
        for (const std::string& path : {pair.first, pair.second}) {
            require(path.empty() || path.starts_with('/'), "Paths of a document are full ones, or none.");
            require(path.find('\0') == std::string::npos, "No path holds a zero byte.");
        }
        if (canBeWritten(pair)) {
            written += "link = \"" + pair.first + "\"\ntarget = \"" + pair.second + "\"\n";
            kept.push_back(pair);
        }
    }
    require(pairsOf(written) == kept, "Pairs that are written anew are the same.");
}

const Fuzz::Registration restoreTarget("crucible-restore", &runRestore);

std::vector<std::string> fieldsOf(std::string_view input)
{
    std::vector<std::string> fields;
    for (const std::string_view piece : ManagerCore::Text::pieces(input, '\0')) {
        fields.emplace_back(piece);
    }
    return fields;
}

// The first field is the configuration file; of those that follow each two are a link's name and its destination.
void makeStore(const fs::path& store, const std::vector<std::string>& fields)
{
    constexpr std::size_t most = 32;
    fs::remove_all(store);
    Fuzz::put(store / "crucible.toml", fields.empty() ? std::string() : fields.front());
    for (std::size_t index = 1; index + 1 < fields.size() && index < most; index += 2) {
        if (fields[index].find('/') == std::string::npos) {
            std::ignore = ::symlink(fields[index + 1].c_str(), (store / fields[index]).c_str());
        }
    }
}

void checkBackup(const CrucibleBackup::Backup& backup, const std::vector<CrucibleHealth::Finding>& all, bool exactly)
{
    std::set<std::string> leftOut;
    for (const auto& finding : backup.leftOut) {
        leftOut.insert(finding.link);
    }
    std::vector<LinkPair> expected;
    for (const auto& finding : all) {
        if (!leftOut.contains(finding.link)) {
            expected.emplace_back(finding.link, finding.target);
        }
    }
    require(expected.size() + leftOut.size() == all.size(), "Each link is in the document or told to be left out.");
    const auto pairs = pairsOf(backup.document);
    require(pairs.size() == expected.size() || (!exactly && pairs.size() > expected.size()),
            "A document holds its links, and perhaps those that the configuration tells of.");
    require(std::equal(expected.rbegin(), expected.rend(), pairs.rbegin()), "Every link comes back as it was.");
    require(ManagerCore::Text::isUtf8(backup.document), "A document is text.");
}

void runBackup(std::string_view input)
{
    const fs::path store = Fuzz::folder() / "store";
    makeStore(store, fieldsOf(input));
    const auto all = CrucibleHealth::scan(store);
    checkBackup(CrucibleBackup::make({store}, std::nullopt), all, true);
    checkBackup(CrucibleBackup::make({store}, store / "crucible.toml"), all, false);
}

const Fuzz::Registration backupTarget("crucible-backup", &runBackup);

} // namespace
