#include "ManagerCore/Foundation/TreeWalk.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <fcntl.h>
#include <iterator>
#include <mutex>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

#include "ManagerCore/Foundation/Parallel.h"

namespace ManagerCore::TreeWalk
{

namespace
{

constexpr std::size_t entriesPerPiece = 1024;
constexpr std::size_t foldersAlone = 16; // below this a tree is not worth starting threads for
constexpr std::size_t foldersJudged = 4; // by what it waited in so many, a thread knows whether it waits for the drive

class Descriptor
{
public:
    explicit Descriptor(int value)
        : value_(value)
    {
    }
    ~Descriptor()
    {
        if (value_ >= 0) {
            ::close(value_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor(Descriptor&& other) noexcept
        : value_(std::exchange(other.value_, -1))
    {
    }
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(value_, other.value_);
        return *this;
    }
    [[nodiscard]] int value() const { return value_; }
    int release() { return std::exchange(value_, -1); }

private:
    int value_;
};

// Calls `open` until it succeeds. A folder that other work of the program leaves no descriptor for is worth waiting
// for, or its contents would silently be missing.
template <class Open> int openPatiently(Open open)
{
    constexpr int attempts = 1000;
    for (int attempt = 0;; attempt++) {
        const int opened = open();
        if (opened >= 0 || (errno != EMFILE && errno != ENFILE) || attempt == attempts) {
            return opened;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

int openBelow(int root, const std::string& path)
{
    return openPatiently([&] { return Platform::openFolderAt(root, path.c_str()); });
}

// Opens a path of any length, in pieces that the system takes.
Descriptor openFolder(int root, std::string path)
{
    Descriptor folder(-1);
    int from = root;
    while (path.size() >= PATH_MAX) {
        const std::size_t cut = path.rfind('/', PATH_MAX - 1);
        if (cut == std::string::npos) {
            errno = ENAMETOOLONG;
            return Descriptor(-1);
        }
        folder = Descriptor(openBelow(from, path.substr(0, cut)));
        if (folder.value() < 0) {
            return folder;
        }
        from = folder.value();
        path.erase(0, cut + 1);
    }
    return Descriptor(openBelow(from, path));
}

Kind kindAt(int folder, const char* name)
{
    struct stat facts {};
    if (::fstatat(folder, name, &facts, AT_SYMLINK_NOFOLLOW) != 0) {
        return Kind::other;
    }
    if (S_ISDIR(facts.st_mode)) {
        return Kind::folder;
    }
    if (S_ISLNK(facts.st_mode)) {
        return Kind::link;
    }
    return S_ISREG(facts.st_mode) ? Kind::file : Kind::other;
}

class Walker
{
public:
    Walker(int root, const Visit& visit)
        : root_(root)
        , visit_(visit)
    {
    }

    void run()
    {
        Lane first {.number = 0, .pending = {std::string()}};
        Patience patience;
        for (std::size_t visited = 0; visited < foldersAlone && !first.pending.empty(); visited++) {
            visitNext(first);
        }
        if (first.pending.empty()) {
            return;
        }
        startOthers(patience.isTried(foldersAlone) ? lanes : lanesAtFirst());
        work(first);
        for (std::thread& other : others_) {
            other.join();
        }
    }

private:
    // What one thread works with: its own folders to visit and the buffers of the piece that it gathers.
    struct Lane {
        unsigned number = 0;
        std::vector<std::string> pending;
        std::string names;
        std::vector<std::size_t> offsets;
        std::vector<Entry> entries;
    };

    // How the drive keeps one thread waiting.
    class Patience
    {
    public:
        // Whether the thread waited for half of the folders, or more, that it visited since it last asked.
        bool isTried(std::size_t folders)
        {
            const std::optional<long> now = Platform::timesWaited();
            const long before = std::exchange(waited_, now.value_or(0));
            return !now || *now - before >= static_cast<long>(folders / 2);
        }

    private:
        long waited_ = Platform::timesWaited().value_or(0);
    };

    static unsigned lanesAtFirst() { return std::clamp(2 * std::thread::hardware_concurrency(), 2U, lanes); }

    // Starts threads until there are `wanted`. Where the system gives fewer, those do the same work.
    void startOthers(unsigned wanted)
    {
        const Parallel::SignalsBlocked blocked;
        const std::lock_guard lock(mutex_);
        try {
            for (; threads_ < std::min(wanted, lanes); threads_++) {
                others_.emplace_back([this, number = threads_] {
                    Platform::yieldToOthers();
                    Platform::ownDescriptors(root_);
                    Lane lane {.number = number};
                    work(lane);
                });
            }
        } catch (const std::system_error&) {
            return;
        }
    }

    void startAnother()
    {
        unsigned wanted = 0;
        {
            const std::lock_guard lock(mutex_);
            wanted = threads_ + 1;
        }
        startOthers(wanted);
    }

    void work(Lane& lane)
    {
        do {
            Patience patience;
            for (std::size_t visited = 1; !lane.pending.empty(); visited++) {
                visitNext(lane);
                const bool othersIdle = idle_.load(std::memory_order_relaxed) > 0;
                if (othersIdle && lane.pending.size() > 1) {
                    handOver(lane);
                }
                if (visited % foldersJudged == 0 && patience.isTried(foldersJudged) && !othersIdle) {
                    startAnother();
                }
            }
        } while (takeOver(lane));
    }

    // The lower half, which was found first and so lies nearer to the root, is likely the larger one.
    void handOver(Lane& lane)
    {
        const auto half = lane.pending.begin() + static_cast<std::ptrdiff_t>(lane.pending.size() / 2);
        {
            const std::lock_guard lock(mutex_);
            std::move(lane.pending.begin(), half, std::back_inserter(shared_));
        }
        lane.pending.erase(lane.pending.begin(), half);
        wake_.notify_all();
    }

    // Waits for folders; false when there are none left anywhere.
    bool takeOver(Lane& lane)
    {
        std::unique_lock lock(mutex_);
        if (++idle_ == threads_ && shared_.empty()) {
            done_ = true;
            wake_.notify_all();
        }
        wake_.wait(lock, [this] { return done_ || !shared_.empty(); });
        idle_--;
        if (shared_.empty()) {
            return false;
        }
        const std::size_t share = (shared_.size() + idle_) / (idle_ + 1);
        const auto from = shared_.end() - static_cast<std::ptrdiff_t>(share);
        std::move(from, shared_.end(), std::back_inserter(lane.pending));
        shared_.erase(from, shared_.end());
        return true;
    }

    void visitNext(Lane& lane)
    {
        const std::string path = std::move(lane.pending.back());
        lane.pending.pop_back();
        if (path.empty()) {
            visitOpen(lane, root_, path);
            return;
        }
        const Descriptor folder = openFolder(root_, path);
        if (folder.value() >= 0) {
            visitOpen(lane, folder.value(), path);
        }
    }

    void visitOpen(Lane& lane, int descriptor, const std::string& path)
    {
        Platform::readFolder(descriptor, [&](std::string_view name, Kind kind) {
            lane.offsets.push_back(lane.names.size());
            lane.names.append(name).push_back('\0');
            lane.entries.push_back({.name = name, .kind = kind});
            if (lane.entries.size() == entriesPerPiece) {
                visitPiece(lane, descriptor, path);
            }
        });
        visitPiece(lane, descriptor, path);
    }

    void visitPiece(Lane& lane, int descriptor, const std::string& path)
    {
        for (std::size_t index = 0; index < lane.entries.size(); index++) {
            Entry& entry = lane.entries[index];
            entry.name = std::string_view(lane.names.data() + lane.offsets[index], entry.name.size());
            if (entry.kind == Kind::unknown) {
                entry.kind = kindAt(descriptor, entry.terminatedName());
            }
        }
        const Folder folder {.descriptor = descriptor, .path = path, .entries = lane.entries};
        if (!lane.entries.empty()) {
            visit_(folder, lane.number);
        }
        for (const Entry& entry : lane.entries) {
            if (entry.kind == Kind::folder && entry.descend) {
                lane.pending.push_back(pathOf(folder, entry));
            }
        }
        lane.names.clear();
        lane.offsets.clear();
        lane.entries.clear();
    }

    const int root_;
    const Visit& visit_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::vector<std::string> shared_; // folders that any thread may take
    std::vector<std::thread> others_; // grows under the mutex while anything is left to visit
    unsigned threads_ = 1;
    std::atomic<unsigned> idle_ = 0; // changed under the mutex, glanced at without
    bool done_ = false;
};

} // namespace

bool walk(const std::filesystem::path& root, const Visit& visit)
{
    const Descriptor opened(openPatiently([&] { return ::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    if (opened.value() < 0) {
        return false;
    }
    Walker(opened.value(), visit).run();
    return true;
}

int openBelow(int root, const std::string& path) { return openFolder(root, path.empty() ? "." : path).release(); }

std::string pathOf(const Folder& folder, const Entry& entry)
{
    std::string path;
    path.reserve(folder.path.size() + 1 + entry.name.size());
    if (!folder.path.empty()) {
        path.append(folder.path).push_back('/');
    }
    path.append(entry.name);
    return path;
}

} // namespace ManagerCore::TreeWalk
