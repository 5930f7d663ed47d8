#include "ManagerCore/Crucible/CrucibleRestore.h"

#include <algorithm>
#include <optional>

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Text.h"

namespace ManagerCore::CrucibleRestore
{

namespace
{

struct Pair {
    std::string_view link;
    std::string_view target;
};

std::string_view withoutQuotes(std::string_view value)
{
    const std::size_t begin = std::min(value.find_first_not_of('"'), value.size());
    const std::size_t end = value.find_last_not_of('"');
    return end == std::string_view::npos ? std::string_view() : value.substr(begin, end - begin + 1);
}

class PairReader
{
public:
    std::vector<Pair> read(std::string_view document)
    {
        while (!document.empty()) {
            const std::size_t end = std::min(document.find('\n'), document.size());
            std::string_view line = document.substr(0, end);
            document.remove_prefix(std::min(end + 1, document.size()));
            if (line.ends_with('\r')) {
                line.remove_suffix(1); // a document that went through a system with other line ends
            }
            take(Text::trimSpacesAndTabs(line));
        }
        return std::move(pairs_);
    }

private:
    void take(std::string_view line)
    {
        const std::size_t equals = line.find('=');
        if (equals == std::string_view::npos) {
            return;
        }
        const std::string_view key = Text::trimSpacesAndTabs(line.substr(0, equals));
        const std::string_view value = withoutQuotes(Text::trimSpacesAndTabs(line.substr(equals + 1)));
        if (key == "link") {
            link_ = value;
        } else if (key == "target" && link_) {
            pairs_.push_back({.link = *link_, .target = value});
            link_.reset();
        }
    }

    std::optional<std::string_view> link_;
    std::vector<Pair> pairs_;
};

CrucibleRepair::Result restoreOne(const Pair& pair, CrucibleRepair::Repoint repoint)
{
    const std::filesystem::path link = FilePath::fromText(pair.link);
    const std::filesystem::path target = FilePath::fromText(pair.target);
    if (!FilePath::exists(target)) {
        return {.link = link, .repaired = false, .message = "target missing, skipped: " + target.string()};
    }
    CrucibleAdmin::Outcome outcome = repoint(link, target, "restored");
    return {.link = link, .repaired = outcome.ok, .message = std::move(outcome.message)};
}

} // namespace

std::vector<CrucibleRepair::Result> restore(std::string_view document, CrucibleRepair::Repoint repoint)
{
    std::vector<CrucibleRepair::Result> results;
    for (const Pair& pair : PairReader().read(document)) {
        results.push_back(restoreOne(pair, repoint));
    }
    return results;
}

} // namespace ManagerCore::CrucibleRestore
