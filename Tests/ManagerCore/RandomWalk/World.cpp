#include "Tests/ManagerCore/RandomWalk/World.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <functional>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "ManagerCore/Platform/UniqueFd.h"
#include "Tests/Support/Permissions.h"

namespace RandomWalk
{

namespace
{

using ManagerCore::Platform::UniqueFd;

constexpr auto closedFolder = static_cast<fs::perms>(0555);
constexpr auto openFolder = static_cast<fs::perms>(0755);

bool isFree(const fs::path& path)
{
    std::error_code error;
    return !fs::exists(fs::symlink_status(path, error));
}

std::string contentOf(const fs::path& file)
{
    const std::string bytes = TestSupport::read(file);
    return std::to_string(bytes.size()) + ":" + std::to_string(std::hash<std::string> {}(bytes));
}

Entry entryAt(const std::string& path, const struct stat& info)
{
    Entry entry {.mode = info.st_mode};
    if (entry.isFolder()) {
        return entry;
    }
    entry.modified = info.st_mtim.tv_sec * 1'000'000'000LL + info.st_mtim.tv_nsec;
    if (entry.isLink()) {
        entry.content = fs::read_symlink(path).string();
        const TestSupport::PermissionsHold hold; // as the program sees it
        entry.dangling = ::faccessat(AT_FDCWD, path.c_str(), F_OK, AT_EACCESS) != 0;
    } else if (entry.isFile()) {
        entry.content = contentOf(path);
    }
    return entry;
}

bool isTrash(const fs::path& folder)
{
    return folder.filename().native().starts_with(".Trash-") || folder.native().ends_with("/.local/share/Trash");
}

// The Trash's own folders may be created at any time, so they are left out.
void readTree(const fs::path& folder, Tree& places, Tree& trash)
{
    std::error_code error;
    for (const auto& item : fs::directory_iterator(folder, error)) {
        const std::string& path = item.path().native();
        const std::string name = item.path().filename();
        struct stat info {};
        if (name == "lost+found" || name == "filler" || ::lstat(path.c_str(), &info) != 0) {
            continue;
        }
        Tree& found = isTrash(item.path()) ? trash : places;
        if (!isTrash(item.path()) && !isTrash(folder)) {
            found.emplace(path, entryAt(path, info));
        }
        if (S_ISDIR(info.st_mode)) {
            readTree(item.path(), found, trash);
        }
    }
}

// The path that a note of the Trash gives; relative ones count from the drive's top.
fs::path originIn(const std::string& note, const fs::path& top)
{
    std::string path;
    const std::size_t begin = note.find("\nPath=");
    for (std::size_t at = begin + 6; begin != std::string::npos && at < note.size() && note[at] != '\n'; at++) {
        if (note[at] == '%' && at + 2 < note.size()) {
            path.push_back(static_cast<char>(std::stoi(note.substr(at + 1, 2), nullptr, 16)));
            at += 2;
        } else {
            path.push_back(note[at]);
        }
    }
    return path.empty() ? fs::path() : top / path;
}

} // namespace

bool Entry::isFolder() const { return S_ISDIR(mode); }
bool Entry::isFile() const { return S_ISREG(mode); }
bool Entry::isLink() const { return S_ISLNK(mode); }

Tree Snapshot::treeAt(const std::string& path) const
{
    Tree tree;
    for (auto entry = places.lower_bound(path); entry != places.end() && entry->first.starts_with(path); ++entry) {
        if (isInside(entry->first, path)) {
            tree.emplace(entry->first.substr(path.size()), entry->second);
        }
    }
    return tree;
}

bool isInside(std::string_view path, std::string_view folder)
{
    return path == folder || (path.starts_with(folder) && path[folder.size()] == '/');
}

std::string placeOf(const fs::path& path)
{
    std::error_code error;
    const fs::path parent = fs::weakly_canonical(path.parent_path(), error);
    return ((error ? path.parent_path() : parent) / path.filename()).string();
}

Drive::Drive(fs::path mountPoint, const fs::path& media, const std::string& type)
    : medium_(media / mountPoint.filename(), type, type == "ext4" ? 24 : 16)
    , mountPoint_(std::move(mountPoint))
{
    connect();
}

Drive::~Drive()
{
    if (connected_) {
        disconnect();
    }
}

// The folder of mount points belongs to the system: the program cannot create one for a missing drive.
void Drive::connect()
{
    fs::permissions(mountPoint_.parent_path(), openFolder);
    fs::create_directory(mountPoint_);
    connected_ = ::mount(medium_.path().c_str(), mountPoint_.c_str(), nullptr, MS_BIND, nullptr) == 0;
    fs::permissions(mountPoint_.parent_path(), closedFolder);
}

void Drive::disconnect()
{
    fs::permissions(mountPoint_.parent_path(), openFolder);
    ::umount2(mountPoint_.c_str(), MNT_DETACH);
    std::error_code error;
    fs::remove(mountPoint_, error);
    connected_ = false;
    fs::permissions(mountPoint_.parent_path(), closedFolder);
}

void Drive::setReadOnly(bool readOnly)
{
    const unsigned long flags = readOnly ? MS_REMOUNT | MS_RDONLY : MS_REMOUNT;
    if (::mount("none", mountPoint_.c_str(), nullptr, flags, nullptr) == 0) {
        readOnly_ = readOnly;
    }
}

void Drive::fill() const
{
    const UniqueFd file(::open((mountPoint_ / "filler").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC | O_APPEND, 0600));
    const std::string chunk(std::size_t {256} << 10U, 'f');
    for (const std::size_t size : {chunk.size(), std::size_t {1024}, std::size_t {1}}) {
        while (::write(file.get(), chunk.data(), size) == static_cast<ssize_t>(size)) { }
    }
    ::fsync(file.get());
}

bool Drive::isFull() const { return !isFree(mountPoint_ / "filler"); }

void Drive::makeRoom() const { ::unlink((mountPoint_ / "filler").c_str()); }

World::World(fs::path home, fs::path scratch, Dice& dice)
    : home_(std::move(home))
    , scratch_(std::move(scratch))
    , dice_(dice)
{
    for (const char* folder : {"Volumes", "projects", "descriptors", "temporary"}) {
        fs::create_directories(scratch_ / folder);
    }
    fs::create_directories(home_ / ".cache");
    drives_.emplace_back(volumes() / "Vault", scratch_ / "media", "ext4");
    drives_.emplace_back(volumes() / "Attic", scratch_ / "media", "ext4");
    drives_.emplace_back(volumes() / "Shelf", scratch_ / "media", "tmpfs"); // has no Trash
    for (const fs::path& store : stores()) {
        fs::create_directories(store / "models");
    }
    TestSupport::makeLink(rootLink(), volumes() / "Vault/store");
    makeModelAt(volumes() / "Vault/store/models/first");
    TestSupport::makeLink(servedLink(), volumes() / "Vault/store/models/first");
    addFile(stores().front() / "crucible.toml", 80);
    makeModelAt(scratch_ / "projects/orchid");
    addFile(scratch_ / "projects/single.db", 900);
    describeDatabase("orchid", scratch_ / "projects/orchid", "~/.zyn/databases/orchid");
    describeDatabase("single", scratch_ / "projects/single.db", "~/databases/single.db");
    describeDatabase("missing", scratch_ / "projects/nowhere", "~/databases/missing");
    TestSupport::write(home_ / "databases/circle/source", "lies in its own destination");
    describeDatabase("circle", home_ / "databases/circle/source", "~/databases/circle");
    for (int count = 0; count < 12; count++) {
        makeModel();
        makeProductItem();
    }
}

World::~World()
{
    drives_.clear();
    fs::permissions(volumes(), openFolder);
}

Snapshot World::snapshot() const
{
    Snapshot now;
    for (const fs::path& top : {home_, volumes(), scratch_ / "projects", scratch_ / "temporary"}) {
        readTree(top, now.places, now.trash);
    }
    return now;
}

std::vector<fs::path> World::stores() const
{
    return {home_ / ".zyn-crucible", volumes() / "Vault/store", volumes() / "Attic/store", volumes() / "Shelf/store"};
}

Drive* World::driveOf(const fs::path& path)
{
    const auto found = std::ranges::find_if(
        drives_, [&path](const Drive& drive) { return isInside(path.native(), drive.top().native()); });
    return found == drives_.end() ? nullptr : &*found;
}

bool World::contains(const std::string& path) const
{
    return isInside(path, home_.native()) || isInside(path, volumes().native());
}

ManagerCore::Identity World::identity() const
{
    ManagerCore::Identity identity {.name = "zyn", .bundlePrefix = "com.zyn."};
    identity.appPaths = {"~/Applications/Zyn.app"};
    identity.binaries = {"~/.zyn/bin/zyn"};
    identity.configDirs = {"~/.zyn", "~/.config/zyn"};
    identity.modelLocations = {"~/.zyn/crucible"};
    for (const fs::path& store : stores()) {
        identity.modelLocations.push_back(store.string());
    }
    identity.marker = "identity-marker-7d41c0e9";
    identity.sweepNames = {"zyn"};
    identity.sweepDirs = {"~/bin"};
    return identity;
}

void World::describeDatabase(const std::string& id, const fs::path& source, const std::string& destination)
{
    TestSupport::write(scratch_ / "descriptors" / (id + ".toml"),
                       "id = \"" + id + "\"\nsource = \"" + source.string() + "\"\ndest = \"" + destination + "\"\n");
}

bool World::addFile(const fs::path& file, std::size_t size)
{
    const UniqueFd made(::open(file.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0644));
    if (!made.isOpen()) {
        return false;
    }
    std::string bytes = "contents " + std::to_string(++made_) + "\n";
    while (bytes.size() < size) {
        bytes.push_back(static_cast<char>(dice_.below(256)));
    }
    const bool written = ::write(made.get(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    if (!written) {
        ::unlink(file.c_str());
    }
    return written;
}

void World::makeModelAt(const fs::path& folder)
{
    std::error_code error;
    fs::create_directories(folder / "nested/deep", error);
    addFile(folder / "config.json", 40 + dice_.below(200));
    addFile(folder / "weights-1", 1000 + dice_.below(30000));
    addFile(folder / "nested/part", dice_.below(3000));
    if (dice_.chance(40)) {
        fs::create_hard_link(folder / "weights-1", folder / "nested/hard link", error);
    }
    if (dice_.chance(40)) {
        fs::create_symlink(dice_.chance(50) ? "../config.json" : "nowhere", folder / "nested/link", error);
    }
    if (dice_.chance(20)) {
        ::setxattr((folder / "config.json").c_str(), "user.origin", "somewhere", 9, 0);
    }
    if (dice_.chance(20) && addFile(folder / "holes", 500)) {
        fs::resize_file(folder / "holes", 60000, error);
    }
}

std::string World::ownerActs(const Snapshot& now)
{
    constexpr std::size_t fullTrash = 600;
    if (now.trash.size() > fullTrash) {
        std::error_code error;
        for (const auto& [path, entry] : now.trash) {
            fs::remove_all(path, error);
        }
        return "empties the Trash";
    }
    const std::size_t turn = dice_.below(100);
    return turn < 22 ? makeModel()
        : turn < 34  ? makeProductItem()
        : turn < 56  ? putBack(now)
        : turn < 66  ? removeCopy(now)
        : turn < 71  ? changeMode(now)
        : turn < 80  ? restoreModes(now)
        : turn < 84  ? makeLink(now)
        : turn < 88  ? resetLinks(now)
                     : handleDrive();
}

std::string World::makeModel()
{
    static constexpr std::array<const char*, 8> names {
        "a", "b", "vantor-7b", "two words", "part \"1\" of\n2", "caf\xE9", "org/coder", "org/mini"};
    const fs::path models = dice_.pick(stores()) / "models";
    const fs::path model = models / dice_.pick(names);
    if (isFree(models) || !isFree(model)) {
        return {};
    }
    std::error_code error;
    fs::create_directories(model.parent_path(), error);
    if (dice_.chance(15)) {
        addFile(model, dice_.below(60000));
    } else {
        makeModelAt(model);
    }
    return "makes the model " + model.string();
}

std::string World::makeProductItem()
{
    static constexpr std::array<const char*, 8> places {
        "Applications/Zyn.app/Contents/Info.plist",
        ".zyn/bin/zyn",
        ".config/zyn/config",
        "bin/zyn",
        "Library/Application Support/zyn/state",
        "Library/Caches/com.zyn.desktop/cache",
        "Library/Preferences/com.zyn.desktop.plist",
        "Documents/letter",
    };
    const fs::path place = home_ / dice_.pick(places);
    std::error_code error;
    fs::create_directories(place.parent_path(), error);
    return addFile(place, 30 + dice_.below(400)) ? "makes " + place.string() : "";
}

std::string World::putBack(const Snapshot& now)
{
    std::vector<fs::path> notes;
    for (const auto& [path, entry] : now.trash) {
        if (path.ends_with(".trashinfo")) {
            notes.emplace_back(path);
        }
    }
    if (notes.empty()) {
        return {};
    }
    const fs::path& note = dice_.pick(notes);
    const fs::path trash = note.parent_path().parent_path();
    const fs::path origin = originIn(TestSupport::read(note), trash.parent_path());
    const Drive* const drive = driveOf(origin);
    std::error_code error;
    if (origin.empty() || (drive != nullptr && !drive->isConnected()) || !isFree(origin)) {
        return {};
    }
    fs::create_directories(origin.parent_path(), error);
    fs::rename(trash / "files" / note.stem(), origin, error);
    if (error) {
        return {};
    }
    fs::remove(note, error);
    return "puts back " + origin.string();
}

std::string World::removeCopy(const Snapshot& now)
{
    std::vector<std::string> copies;
    for (const auto& [place, entry] : now.places) {
        if (place.find("/models/") != std::string::npos && !entry.isLink()) {
            copies.push_back(place);
        }
    }
    if (copies.empty()) {
        return {};
    }
    const std::string& chosen = dice_.pick(copies);
    std::error_code error;
    fs::remove_all(chosen, error);
    return "removes " + chosen;
}

std::string World::changeMode(const Snapshot& now)
{
    static constexpr std::array<unsigned, 4> modes {0555, 0500, 0444, 0000};
    std::vector<std::string> stored;
    for (const auto& [place, entry] : now.places) {
        if (!entry.isLink() && (place.find("/store") != std::string::npos || isInside(place, stores()[0].native()))) {
            stored.push_back(place);
        }
    }
    if (stored.empty()) {
        return {};
    }
    const std::string& chosen = dice_.pick(stored);
    std::error_code error;
    fs::permissions(chosen, static_cast<fs::perms>(dice_.pick(modes)), error);
    return "takes permissions from " + chosen;
}

std::string World::restoreModes(const Snapshot& now)
{
    std::error_code error;
    for (const Tree& tree : {now.places, now.trash}) {
        for (const auto& [path, entry] : tree) {
            if (!entry.isLink() && (entry.mode & 0700U) != (entry.isFolder() ? 0700U : 0600U)) {
                fs::permissions(path, static_cast<fs::perms>(entry.isFolder() ? 0755 : 0644), error);
            }
        }
    }
    return "restores all permissions";
}

std::string World::makeLink(const Snapshot& now)
{
    std::vector<std::string> targets {"nowhere", (volumes() / "Gone/store").string()};
    for (const auto& [place, entry] : now.places) {
        if (place.find("/models/") != std::string::npos && entry.isFolder()) {
            targets.push_back(place);
        }
    }
    const fs::path link = dice_.pick(stores()) / "models" / ("link " + std::to_string(dice_.below(4)));
    const std::string& target = dice_.pick(targets);
    std::error_code error;
    fs::remove(link, error);
    fs::create_symlink(target, link, error);
    return error ? "" : "links " + link.string() + " -> " + target;
}

// Makes the stores folders again and aims the two links into them.
std::string World::resetLinks(const Snapshot& now)
{
    std::error_code error;
    std::vector<std::string> models;
    for (const fs::path& store : stores()) {
        const Drive* const drive = driveOf(store);
        if (drive != nullptr && !drive->isConnected()) {
            continue;
        }
        for (const fs::path& folder : {store, store / "models"}) {
            if (fs::is_symlink(folder, error)) {
                fs::remove(folder, error);
            }
        }
        fs::create_directories(store / "models", error);
        for (const auto& [place, entry] : now.treeAt((store / "models").string())) {
            if (entry.isFolder() && !place.empty()) {
                models.push_back((store / "models").string() + place);
            }
        }
    }
    const auto aim = [&error](const fs::path& link, const fs::path& to) {
        if (isFree(link) || fs::is_symlink(link, error)) {
            fs::remove(link, error);
            fs::create_directories(link.parent_path(), error);
            fs::create_symlink(to, link, error);
        }
    };
    aim(rootLink(), dice_.pick(stores()));
    if (!models.empty()) {
        aim(servedLink(), dice_.pick(models));
    }
    return "resets the links";
}

std::string World::handleDrive()
{
    Drive& drive = drives_[dice_.below(drives_.size())];
    const std::string name = drive.top().filename().string();
    if (!drive.isConnected()) {
        drive.connect();
        return "connects " + name;
    }
    if (drive.isReadOnly()) {
        drive.setReadOnly(false);
        return "makes " + name + " writable";
    }
    if (drive.isFull()) {
        drive.makeRoom();
        return "makes room on " + name;
    }
    switch (dice_.below(8)) {
    case 0:
        drive.disconnect();
        return "disconnects " + name;
    case 1:
        drive.setReadOnly(true);
        return "makes " + name + " read-only";
    case 2:
        drive.fill();
        return "fills " + name;
    default:
        return {};
    }
}

} // namespace RandomWalk
