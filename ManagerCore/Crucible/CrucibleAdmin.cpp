#include "ManagerCore/Crucible/CrucibleAdmin.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <deque>
#include <sys/stat.h>
#include <unistd.h>

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Remover.h"
#include "ManagerCore/Platform/ErrorText.h"

namespace ManagerCore::CrucibleAdmin
{

namespace
{

namespace fs = std::filesystem;

Outcome refused(std::string message) { return {.ok = false, .message = std::move(message)}; }

Outcome done(std::string_view label, const fs::path& to)
{
    return {.ok = true, .message = std::string(label) + ":\n" + to.string()};
}

bool isDots(const std::string& name) { return name == "." || name == ".."; }

// Links resolved in the folders above, the item's own name kept.
std::string canonicalPath(const fs::path& path)
{
    const std::string name = FilePath::lastComponent(path);
    if (isDots(name)) {
        return FilePath::resolved(path).string(); // no name of its own to keep
    }
    std::string above = FilePath::resolved(FilePath::parent(path)).string();
    if (name.empty() || name == "/") {
        return above;
    }
    return above.ends_with('/') ? above + name : above + "/" + name;
}

void putInFront(std::deque<std::string>& names, const fs::path& path)
{
    const std::vector<std::string> more = FilePath::components(path);
    names.insert(names.begin(), more.begin(), more.end());
}

// Whether the system comes by the very item at `place` on its way to `path`, be it as a folder, be it as a link.
bool leadsThrough(const fs::path& path, const fs::path& place)
{
    struct stat wanted {};
    if (::lstat(place.c_str(), &wanted) != 0) {
        return false;
    }
    constexpr int linksFollowed = 64; // more than any system follows
    std::deque<std::string> names;
    putInFront(names, path);
    fs::path reached = "/";
    for (int links = 0; !names.empty() && links < linksFollowed;) {
        const fs::path next = reached / names.front();
        names.pop_front();
        struct stat facts {};
        if (::lstat(next.c_str(), &facts) != 0) {
            return false;
        }
        if (facts.st_dev == wanted.st_dev && facts.st_ino == wanted.st_ino) {
            return true;
        }
        if (const auto target = S_ISLNK(facts.st_mode) ? FilePath::linkDestination(next) : std::nullopt) {
            putInFront(names, *target);
            links++;
        } else {
            reached = next;
        }
    }
    return false;
}

std::string couldNotUpdate(const std::string& reason) { return "Could not update the link: " + reason; }

std::optional<std::string> refusalOfRepoint(const fs::path& link, const fs::path& to)
{
    if (const auto refusal = refusalOfNamelessPath(link)) {
        return couldNotUpdate(*refusal);
    }
    if (leadsThrough(to, link)) {
        return couldNotUpdate("“" + FilePath::lastComponent(to) + "” is reached through the place of the link itself.");
    }
    return std::nullopt;
}

std::optional<std::string> refusalOfSetRoot(const fs::path& link, const fs::path& to)
{
    if (!FilePath::exists(to)) {
        return "That folder does not exist:\n" + to.string();
    }
    if (auto refusal = refusalOfRealItem(link)) {
        return refusal;
    }
    return refusalOfRepoint(link, to);
}

// Where the weights to serve are, or why they cannot be served.
struct Candidate {
    fs::path path;
    std::optional<std::string> refusal;
};

Candidate
candidateOf(const fs::path& activeLink, const fs::path& currentTarget, const fs::path& from, const fs::path& to)
{
    const auto relative = relativePath(currentTarget, from);
    if (!relative) {
        return {.path = {},
                .refusal = "The served model is not inside " + from.string() + " — cannot map it across drives."};
    }
    const fs::path path = FilePath::appending(to, *relative);
    if (!FilePath::exists(path)) {
        return {.path = path, .refusal = "No copy of these weights on that drive:\n" + path.string()};
    }
    return {.path = path, .refusal = refusalOfRealItem(activeLink)};
}

enum class Replace : std::uint8_t { links, everything };

Outcome writeLink(const fs::path& link, const fs::path& to, std::string_view label, Replace replace)
{
    if (const auto refusal = refusalOfRepoint(link, to)) {
        return refused(*refusal);
    }
    if (FilePath::isLink(link) || (replace == Replace::everything && FilePath::exists(link))) {
        Remover::trash({link}); // if that fails, symlink reports that the name is taken
    }
    if (::symlink(to.c_str(), link.c_str()) != 0) {
        return refused(couldNotUpdate(Platform::ErrorText::saving(errno, link)));
    }
    return done(label, to);
}

constexpr std::string_view rootLabel = "Crucible root now points at";
constexpr std::string_view servedLabel = "Now serving from";

} // namespace

std::optional<std::string> refusalOfNamelessPath(const fs::path& path)
{
    const std::string name = FilePath::lastComponent(path);
    return name.empty() || name == "/" || isDots(name)
        ? std::optional("The path “" + path.string() + "” doesn’t end with a name.")
        : std::nullopt;
}

std::optional<std::string> refusalOfRealItem(const fs::path& link)
{
    if (FilePath::exists(link) && !FilePath::linkDestination(link)) {
        return link.string() + " is a real folder, not a link.\nMove its contents first — refusing to orphan it.";
    }
    return std::nullopt;
}

Outcome setRoot(const fs::path& link, const fs::path& to)
{
    if (const auto refusal = refusalOfSetRoot(link, to)) {
        return refused(*refusal);
    }
    if (FilePath::exists(link)) {
        const auto results = Remover::trash({link});
        if (results.empty() || !results.front().trashed) {
            const auto error = results.empty() ? std::nullopt : results.front().error;
            return refused("Could not replace the existing link: " + error.value_or("unknown"));
        }
    }
    // A folder may have been made there since the check.
    return writeLink(link, to, rootLabel, Replace::links);
}

Outcome repoint(const fs::path& link, const fs::path& to, std::string_view label)
{
    return writeLink(link, to, label, Replace::everything);
}

Outcome
switchServed(const fs::path& activeLink, const fs::path& currentTarget, const fs::path& from, const fs::path& to)
{
    const Candidate candidate = candidateOf(activeLink, currentTarget, from, to);
    return candidate.refusal ? refused(*candidate.refusal)
                             : writeLink(activeLink, candidate.path, servedLabel, Replace::links);
}

Outcome foretellSetRoot(const fs::path& link, const fs::path& to)
{
    const auto refusal = refusalOfSetRoot(link, to);
    return refusal ? refused(*refusal) : done("Would point the crucible root at", to);
}

Outcome foretellRepoint(const fs::path& link, const fs::path& to, std::string_view label)
{
    const auto refusal = refusalOfRepoint(link, to);
    return refusal ? refused(*refusal) : done("Would be " + std::string(label), to);
}

Outcome foretellSwitchServed(const fs::path& activeLink,
                             const fs::path& currentTarget,
                             const fs::path& from,
                             const fs::path& to)
{
    const Candidate candidate = candidateOf(activeLink, currentTarget, from, to);
    const auto refusal = candidate.refusal ? candidate.refusal : refusalOfRepoint(activeLink, candidate.path);
    return refusal ? refused(*refusal) : done("Would serve from", candidate.path);
}

std::optional<std::string> relativePath(const fs::path& item, const fs::path& base)
{
    if (item.empty() || base.empty()) {
        return std::nullopt; // places where nothing exists
    }
    const std::string whole = canonicalPath(item);
    std::string prefix = canonicalPath(base);
    if (!prefix.ends_with('/')) {
        prefix.push_back('/');
    }
    return whole.starts_with(prefix) && whole.size() > prefix.size() ? std::optional(whole.substr(prefix.size()))
                                                                     : std::nullopt;
}

} // namespace ManagerCore::CrucibleAdmin
