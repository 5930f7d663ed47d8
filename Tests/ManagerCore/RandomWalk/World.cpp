#include "Tests/ManagerCore/RandomWalk/World.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "Tests/Support/Sandbox.h"

namespace RandomWalk
{

namespace
{

bool shell(const std::string& command)
{
    return std::system(("{ " + command + "; } >/dev/null 2>&1").c_str()) == 0; // NOLINT(bugprone-command-processor)
}

std::string quoted(const fs::path& path) { return "'" + path.string() + "'"; }

constexpr auto closedFolder = static_cast<fs::perms>(0555);
constexpr auto openFolder = static_cast<fs::perms>(0755);

// The folder that drives appear in belongs to the system: nothing makes up a drive that is not there.
class Opened
{
public:
    explicit Opened(fs::path folder)
        : folder_(std::move(folder))
    {
        fs::permissions(folder_, openFolder, error_);
    }
    ~Opened() { fs::permissions(folder_, closedFolder, error_); }
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;

private:
    fs::path folder_;
    std::error_code error_;
};

bool isFree(const fs::path& path)
{
    std::error_code error;
    return !fs::exists(fs::symlink_status(path, error));
}

std::size_t depthOf(const std::string& path) { return static_cast<std::size_t>(std::ranges::count(path, '/')); }

// Where the volume has extended attributes.
void annotate(const fs::path& file) { ::setxattr(file.c_str(), "user.origin", "somewhere", 9, 0); }

} // namespace

Drive::Drive(fs::path mountPoint, const fs::path& store, Kind kind)
    : mountPoint_(std::move(mountPoint))
    , medium_(store / mountPoint_.filename())
    , kind_(kind)
{
    fs::create_directories(medium_);
    if (!plugIn()) {
        kind_ = Kind::folder; // mounting takes more than root alone
    }
    bringBack();
}

Drive::~Drive()
{
    if (here_) {
        takeAway();
    }
    if (kind_ != Kind::folder) {
        ::umount2(medium_.c_str(), MNT_DETACH);
    }
}

// The file system stays mounted where nobody looks: two mounts of one image at a time would destroy it.
bool Drive::plugIn() const
{
    const std::string image = quoted(fs::path(medium_.native() + ".image"));
    switch (kind_) {
    case Kind::ext4:
        return shell("truncate -s 24M " + image) && shell("mkfs.ext4 -q -F -m 0 " + image)
            && shell("mount -o loop " + image + " " + quoted(medium_));
    case Kind::tmpfs:
        return ::mount("tmpfs", medium_.c_str(), "tmpfs", 0, "size=16m") == 0;
    case Kind::folder:
        break;
    }
    return true;
}

bool Drive::takeAway()
{
    const Opened opened(mountPoint_.parent_path());
    std::error_code error;
    if (kind_ == Kind::folder) {
        fs::rename(mountPoint_, medium_, error);
    } else if (::umount2(mountPoint_.c_str(), MNT_DETACH) != 0) {
        return false;
    } else {
        fs::remove(mountPoint_, error);
    }
    here_ = static_cast<bool>(error);
    return !here_;
}

bool Drive::bringBack()
{
    const Opened opened(mountPoint_.parent_path());
    std::error_code error;
    if (kind_ == Kind::folder) {
        fs::rename(medium_, mountPoint_, error);
        here_ = !error;
        return here_;
    }
    fs::create_directory(mountPoint_, error);
    here_ = ::mount(medium_.c_str(), mountPoint_.c_str(), nullptr, MS_BIND, nullptr) == 0;
    return here_;
}

bool Drive::setReadOnly(bool readOnly)
{
    if (!here_ || kind_ == Kind::folder) {
        return false;
    }
    const unsigned long flags = readOnly ? MS_REMOUNT | MS_RDONLY : MS_REMOUNT;
    if (::mount("none", mountPoint_.c_str(), nullptr, flags, nullptr) != 0) {
        return false;
    }
    readOnly_ = readOnly;
    return true;
}

void Drive::fill() const
{
    if (kind_ == Kind::folder) {
        return; // would fill the disk below it
    }
    const int file = ::open((mountPoint_ / "filler").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC | O_APPEND, 0600);
    if (file < 0) {
        return;
    }
    const std::string piece(std::size_t {256} << 10U, 'f');
    for (const std::size_t size : {piece.size(), std::size_t {1024}, std::size_t {1}}) {
        while (::write(file, piece.data(), size) == static_cast<ssize_t>(size)) { }
    }
    ::fsync(file);
    ::close(file);
}

bool Drive::isFilled() const { return here_ && !isFree(mountPoint_ / "filler"); }

void Drive::empty() const { ::unlink((mountPoint_ / "filler").c_str()); }

World::World(const fs::path& home, const fs::path& scratch, Dice& dice)
    : home_(home)
    , scratch_(scratch)
    , dice_(dice)
{
    for (const fs::path& folder : {volumes(), projects(), descriptors(), temporary(), home_ / ".cache"}) {
        fs::create_directories(folder);
    }
    fs::permissions(volumes(), closedFolder);
    const bool real = TestSupport::isRoot();
    drives_.emplace_back(volumes() / "Vault", scratch_ / "media", real ? Drive::Kind::ext4 : Drive::Kind::folder);
    drives_.emplace_back(volumes() / "Attic", scratch_ / "media", real ? Drive::Kind::ext4 : Drive::Kind::folder);
    drives_.emplace_back(volumes() / "Shelf", scratch_ / "media", real ? Drive::Kind::tmpfs : Drive::Kind::folder);
    for (const fs::path& store : stores()) {
        fs::create_directories(store / "models");
    }
    makeLinks();
    makeDatabases();
    for (int count = 0; count < 12; count++) {
        makeModel();
        makeProductItem();
    }
}

World::~World()
{
    Observer observer({home_, volumes()});
    restoreModes(observer.look());
    drives_.clear();
    std::error_code error;
    fs::permissions(volumes(), openFolder, error);
}

std::vector<fs::path> World::stores() const
{
    return {home_ / ".zyn-crucible", volumes() / "Vault/store", volumes() / "Attic/store", volumes() / "Shelf/store"};
}

bool World::holds(const std::string& place) const
{
    return place.starts_with(home_.native() + "/") || place.starts_with(volumes().native() + "/");
}

bool World::isHere(const fs::path& path)
{
    const Drive* const drive = driveOf(path);
    return drive == nullptr || drive->isHere();
}

Drive* World::driveOf(const fs::path& path)
{
    const auto found = std::ranges::find_if(
        drives_, [&path](const Drive& drive) { return liesIn(path.native(), drive.top().native()); });
    return found == drives_.end() ? nullptr : &*found;
}

ManagerCore::Identity World::identity() const
{
    ManagerCore::Identity identity {.name = "zyn", .bundlePrefix = "com.zyn."};
    identity.appPaths = {"~/Applications/Zyn.app"};
    identity.binaries = {"~/.zyn/bin/zyn"};
    identity.configDirs = {"~/.zyn", "~/.config/zyn"};
    identity.modelPaths = {"~/models/Vantor"};
    identity.modelLocations = {"~/.zyn/crucible"};
    for (const fs::path& store : stores()) {
        identity.modelLocations.push_back(store.string());
    }
    identity.editorExtensionId = "zyn-labs.zyn";
    identity.marker = "identity-marker-7d41c0e9";
    identity.sweepNames = {"zyn"};
    identity.sweepDirs = {"~/bin", "~/.local/bin"};
    return identity;
}

ManagerCore::ManagerActions World::actions() const { return {.modelServed = servedLink().string()}; }

// Bytes that no other file has.
std::string World::contents(std::size_t size)
{
    std::string bytes = "contents " + std::to_string(++made_) + "\n";
    while (bytes.size() < size) {
        bytes.push_back(static_cast<char>(dice_.below(256)));
    }
    ledger_.insert(sumOf(bytes));
    return bytes;
}

bool World::addFile(const fs::path& file, std::size_t size)
{
    const int descriptor = ::open(file.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0644);
    if (descriptor < 0) {
        return false;
    }
    const std::string bytes = contents(size);
    const bool written = ::write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    ::close(descriptor);
    if (!written) {
        ledger_.erase(sumOf(bytes)); // never was there as a whole
        ::unlink(file.c_str());
    }
    return written;
}

std::optional<Entry> World::rewrite(const fs::path& file, const Entry& entry)
{
    const int descriptor = ::open(file.c_str(), O_WRONLY | O_CLOEXEC | O_NOFOLLOW);
    struct stat facts {};
    if (descriptor < 0 || ::fstat(descriptor, &facts) != 0) {
        return std::nullopt;
    }
    std::string bytes = contents(static_cast<std::size_t>(facts.st_size));
    ledger_.erase(sumOf(bytes));
    bytes.resize(static_cast<std::size_t>(facts.st_size));
    const bool written = ::pwrite(descriptor, bytes.data(), bytes.size(), 0) == facts.st_size;
    ::fstat(descriptor, &facts);
    ::close(descriptor);
    ledger_.erase(entry.what); // overwritten by its owner
    if (!written) {
        return std::nullopt;
    }
    ledger_.insert(sumOf(bytes));
    return Entry {.mode = facts.st_mode,
                  .modified = facts.st_mtim.tv_sec * 1'000'000'000LL + facts.st_mtim.tv_nsec,
                  .what = sumOf(bytes)};
}

void World::makeLinks()
{
    TestSupport::makeLink(rootLink(), volumes() / "Vault/store");
    makeModelAt(volumes() / "Vault/store/models/first");
    TestSupport::makeLink(servedLink(), volumes() / "Vault/store/models/first");
    addFile(stores().front() / "crucible.toml", 80);
}

void World::makeDatabases()
{
    const auto describe = [this](const std::string& id, const fs::path& source, const std::string& dest) {
        TestSupport::write(descriptors() / (id + ".toml"),
                           "id = \"" + id + "\"\nsource = \"" + source.string() + "\"\ndest = \"" + dest + "\"\n");
    };
    makeModelAt(projects() / "orchid");
    describe("orchid", projects() / "orchid", "~/.zyn/databases/orchid");
    makeModelAt(projects() / "quill");
    describe("quill", projects() / "quill", "~/databases/deep/quill");
    addFile(projects() / "single.db", 900);
    describe("single", projects() / "single.db", "~/databases/single.db");
    describe("missing", projects() / "nowhere", "~/databases/missing");
    fs::create_directories(home_ / "databases/circle");
    describe("circle", home_ / "databases/circle/source", "~/databases/circle");
    addFile(home_ / "databases/circle/source", 300);
}

void World::makeModelAt(const fs::path& folder)
{
    std::error_code error;
    fs::create_directories(folder / "nested/deep", error);
    if (error) {
        return;
    }
    addFile(folder / "config.json", 40 + dice_.below(200));
    addFile(folder / "weights-1", 1000 + dice_.below(30000));
    addFile(folder / "nested/part", dice_.below(3000));
    if (dice_.chance(40)) {
        fs::create_hard_link(folder / "weights-1", folder / "nested/second name", error);
    }
    if (dice_.chance(40)) {
        fs::create_symlink(dice_.chance(50) ? "../config.json" : "nowhere", folder / "nested/link", error);
    }
    if (dice_.chance(20)) {
        annotate(folder / "config.json");
    }
    if (dice_.chance(20)) {
        std::string sparse = contents(4096);
        sparse.resize(60000);
        const std::string end = contents(500);
        const int file = ::open((folder / "holes").c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0644);
        const bool whole = ::write(file, sparse.data(), 4096) == 4096
            && ::pwrite(file, end.data(), end.size(), 60000) == static_cast<ssize_t>(end.size());
        ::close(file);
        ledger_.erase(sumOf(std::string_view(sparse).substr(0, 4096)));
        ledger_.erase(sumOf(end));
        if (whole) {
            ledger_.insert(sumOf(sparse + end));
        } else {
            fs::remove(folder / "holes", error);
        }
    }
}

std::string World::changeDatabase()
{
    const fs::path source = projects() / (dice_.chance(50) ? "orchid" : "quill");
    const fs::path one = source / "version one";
    const fs::path two = source / "version two";
    if (isFree(one) && isFree(two)) {
        return addFile(one, 300) ? "owner: adds " + one.string() : "";
    }
    std::error_code error;
    fs::rename(isFree(one) ? two : one, isFree(one) ? one : two, error);
    return error ? "" : "owner: changes " + source.string();
}

std::string World::makeModel()
{
    static constexpr std::array<const char*, 8> names {
        "a", "b", "vantor-7b", "two words", "part \"1\" of\n2", "caf\xE9", "org/coder", "org/mini"};
    const fs::path models = dice_.pick(stores()) / "models";
    const fs::path model = models / dice_.pick(names);
    std::error_code error;
    if (!fs::exists(models.parent_path(), error) || !isFree(model)) {
        return {};
    }
    if (dice_.chance(15)) {
        fs::create_directories(model.parent_path(), error);
        addFile(model, dice_.below(60000));
    } else {
        makeModelAt(model);
    }
    return "owner: makes the model " + model.string();
}

std::string World::makeProductItem()
{
    static constexpr std::array<const char*, 14> places {
        "Applications/Zyn.app/Contents/Info.plist",
        ".zyn/bin/zyn",
        ".zyn/settings",
        ".config/zyn/config",
        "models/Vantor/weights",
        "bin/zyn",
        ".local/bin/zyn",
        "Library/Application Support/zyn/state",
        "Library/Logs/zyn/log",
        "Library/Caches/com.zyn.desktop/cache",
        "Library/Preferences/com.zyn.desktop.plist",
        ".vscode/extensions/zyn-labs.zyn-1.0/package.json",
        ".cache/zyn/shaders",
        "Documents/letter",
    };
    const fs::path place = home_ / dice_.pick(places);
    std::error_code error;
    fs::create_directories(place.parent_path(), error);
    return !error && isFree(place) && addFile(place, 30 + dice_.below(400)) ? "owner: makes " + place.string() : "";
}

std::string World::putBack(const Snapshot& now)
{
    if (now.trash.empty()) {
        return {};
    }
    auto chosen = now.trash.begin();
    std::advance(chosen, dice_.below(now.trash.size()));
    const auto& [path, item] = *chosen;
    std::error_code error;
    if (item.origin.empty() || !isHere(item.origin) || !isFree(item.origin)) {
        return {};
    }
    fs::create_directories(fs::path(item.origin).parent_path(), error);
    fs::rename(path, item.origin, error);
    if (error) {
        return {};
    }
    fs::remove(item.note, error);
    return "owner: puts back " + item.origin;
}

std::string World::emptyTrash(const Snapshot& now)
{
    std::error_code error;
    for (const auto& [path, item] : now.trash) {
        fs::remove_all(path, error);
        fs::remove(item.note, error);
    }
    // The owner has parted with what was nowhere else.
    Observer observer({home_, volumes(), projects()});
    for (const std::string& sum : missingIn(observer.look())) {
        ledger_.erase(sum);
    }
    return "owner: empties the Trash";
}

bool World::canBeSpared(const Snapshot& now, const std::string& path) const
{
    std::set<std::string> elsewhere;
    std::set<std::string> here;
    for (const auto& [place, entry] : now.places) {
        if (entry.isFile()) {
            (liesIn(place, path) ? here : elsewhere).insert(entry.what);
        }
    }
    return std::ranges::all_of(
        here, [&](const std::string& sum) { return elsewhere.contains(sum) || !ledger_.contains(sum); });
}

std::string World::removeCopy(const Snapshot& now)
{
    std::vector<std::string> copies;
    for (const auto& [place, entry] : now.places) {
        if (place.find("/models/") != std::string::npos && !entry.isLink()) {
            copies.push_back(place);
        }
    }
    std::string chosen;
    for (int tries = 10; tries > 0 && !copies.empty() && chosen.empty(); tries--) {
        const std::string& copy = dice_.pick(copies);
        chosen = canBeSpared(now, copy) ? copy : std::string();
    }
    if (chosen.empty()) {
        return {};
    }
    std::error_code error;
    fs::remove_all(chosen, error);
    return "owner: removes the copy " + chosen;
}

std::string World::changeMode(const Snapshot& now)
{
    static constexpr std::array<unsigned, 4> modes {0555, 0500, 0444, 0000};
    std::vector<std::string> candidates;
    for (const auto& [place, entry] : now.places) {
        if (!entry.isLink() && liesIn(place, home_.native() + "/.zyn-crucible")) {
            candidates.push_back(place);
        } else if (!entry.isLink() && depthOf(place) < depthOf(volumes().native()) + 6) {
            candidates.push_back(place);
        }
    }
    if (candidates.empty()) {
        return {};
    }
    const std::string& chosen = dice_.pick(candidates);
    const bool folder = now.places.at(chosen).isFolder();
    // Who is not root could not look at it either any more.
    const unsigned mode = TestSupport::isRoot() ? dice_.pick(modes) : (folder ? 0555U : 0444U);
    std::error_code error;
    fs::permissions(chosen, static_cast<fs::perms>(mode), error);
    return error ? "" : "owner: takes rights from " + chosen;
}

std::string World::restoreModes(const Snapshot& now)
{
    std::error_code error;
    const auto restore = [&error](const std::string& path, const Entry& entry) {
        if (!entry.isLink() && (entry.mode & 0700U) != (entry.isFolder() ? 0700U : 0600U)) {
            fs::permissions(path, static_cast<fs::perms>(entry.isFolder() ? 0755 : 0644), error);
        }
    };
    for (const auto& [place, entry] : now.places) {
        restore(place, entry);
    }
    for (const auto& [path, item] : now.trash) {
        for (const auto& [below, entry] : item.tree) {
            restore(below.empty() ? path : path + "/" + below, entry);
        }
    }
    return "owner: gives all rights back";
}

std::string World::makeLinkByHand(const Snapshot& now)
{
    std::vector<std::string> targets {"nowhere", (volumes() / "Gone/store").string()};
    for (const auto& [place, entry] : now.places) {
        if (place.find("/models/") != std::string::npos && depthOf(place) < depthOf(home_.native()) + 5) {
            targets.push_back(place);
        }
    }
    const fs::path link = dice_.pick(stores()) / "models" / ("by hand " + std::to_string(dice_.below(4)));
    std::error_code error;
    fs::remove(link, error);
    const std::string& target = dice_.pick(targets);
    fs::create_symlink(target, link, error);
    return error ? "" : "owner: links " + link.string() + " -> " + target;
}

std::string World::tidyUp(const Snapshot& now)
{
    std::error_code error;
    std::vector<std::string> models;
    for (const fs::path& store : stores()) {
        if (!isHere(store)) {
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
                models.push_back((store / "models" / place).string());
            }
        }
    }
    const auto link = [&error](const fs::path& from, const fs::path& to) {
        if (isFree(from) || fs::is_symlink(from, error)) {
            fs::remove(from, error);
            fs::create_directories(from.parent_path(), error);
            fs::create_symlink(to, from, error);
        }
    };
    link(rootLink(), dice_.pick(stores()));
    if (!models.empty()) {
        link(servedLink(), dice_.pick(models));
    }
    return "owner: tidies up";
}

std::string World::handleDrive()
{
    Drive& drive = drives_[dice_.below(drives_.size())];
    const std::string name = drive.top().filename().string();
    if (!drive.isHere()) {
        return bringBack(drive) ? "owner: brings back " + name : "";
    }
    if (drive.isReadOnly()) {
        return drive.setReadOnly(false) ? "owner: makes " + name + " writable" : "";
    }
    if (drive.isFilled()) {
        drive.empty();
        return "owner: makes room on " + name;
    }
    switch (dice_.below(8)) {
    case 0:
        return takeAway(drive) ? "owner: takes away " + name : "";
    case 1:
        return drive.setReadOnly(true) ? "owner: makes " + name + " read-only" : "";
    case 2:
        drive.fill();
        return "owner: fills " + name;
    default:
        return {};
    }
}

// What is on a drive that is away is looked for when it is back.
bool World::takeAway(Drive& drive)
{
    Observer observer({drive.top()});
    std::set<std::string> sums = observer.look().sums();
    if (!drive.takeAway()) {
        return false;
    }
    away_[drive.top().string()] = std::move(sums);
    return true;
}

bool World::bringBack(Drive& drive)
{
    away_.erase(drive.top().string());
    return drive.bringBack();
}

std::set<std::string> World::missingIn(const Snapshot& now) const
{
    std::set<std::string> there = now.sums();
    for (const auto& [drive, sums] : away_) {
        there.insert(sums.begin(), sums.end());
    }
    std::set<std::string> missing;
    std::ranges::set_difference(ledger_, there, std::inserter(missing, missing.end()));
    return missing;
}

} // namespace RandomWalk
