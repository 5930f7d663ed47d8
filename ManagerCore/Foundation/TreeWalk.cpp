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

using Platform::FolderReader;
using Platform::UniqueFd;

constexpr std::size_t entriesPerChunk = 1024;
constexpr std::size_t foldersAlone = 16; // a tree of fewer is not worth starting threads for

// Calls `open` until it succeeds, at most for about a second while other work of the program uses all descriptors.
template <class Open> UniqueFd openWithRetries(Open open)
{
    constexpr int attempts = 1000;
    for (int attempt = 0;; attempt++) {
        UniqueFd opened(open());
        if (opened.isOpen() || (errno != EMFILE && errno != ENFILE) || attempt == attempts) {
            return opened;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

UniqueFd openShort(int root, const std::string& path)
{
    return openWithRetries([&] { return Platform::openFolderAt(root, path.c_str()); });
}

// Opens a path of any length, in parts that the system takes.
UniqueFd openFolder(int root, std::string path)
{
    UniqueFd folder;
    int from = root;
    while (path.size() >= PATH_MAX) {
        const std::size_t cut = path.rfind('/', PATH_MAX - 1);
        if (cut == std::string::npos) {
            errno = ENAMETOOLONG;
            return {};
        }
        folder = openShort(from, path.substr(0, cut));
        if (!folder.isOpen()) {
            return folder;
        }
        from = folder.get();
        path.erase(0, cut + 1);
    }
    return openShort(from, path);
}

class Walker
{
public:
    Walker(FolderReader& root, const Visit& visit)
        : root_(root)
        , visit_(visit)
    {
    }

    // Whether every folder could be read.
    bool run()
    {
        Worker first {.index = 0, .pending = {std::string()}};
        for (std::size_t visited = 0; visited < foldersAlone && !first.pending.empty(); visited++) {
            visitNext(first);
        }
        if (!first.pending.empty()) {
            startOthers();
            work(first);
        }
        for (std::thread& other : others_) {
            other.join();
        }
        return complete_;
    }

private:
    // What one thread works with: its own folders to visit and the buffers of the chunk that it gathers.
    struct Worker {
        unsigned index = 0;
        std::vector<std::string> pending;
        std::string names;
        std::vector<std::size_t> offsets;
        std::vector<Entry> entries;
    };

    // Where the system refuses some of the threads, the others do the same work.
    void startOthers()
    {
        const Parallel::SignalsBlocked blocked;
        const std::lock_guard lock(mutex_); // they wait for it before they compare `threads_`
        try {
            for (; threads_ < workers; threads_++) {
                others_.emplace_back([this, index = threads_] {
                    Platform::lowerThreadPriority();
                    Platform::unshareDescriptorTable(root_.fd());
                    Worker worker {.index = index};
                    work(worker);
                });
            }
        } catch (const std::system_error&) {
            return;
        }
    }

    void work(Worker& worker)
    {
        do {
            while (!worker.pending.empty()) {
                visitNext(worker);
                if (idle_.load(std::memory_order_relaxed) > 0 && worker.pending.size() > 1) {
                    handOver(worker);
                }
            }
        } while (takeOver(worker));
    }

    // The lower half, which was found first and so lies nearer to the root, is likely the larger one.
    void handOver(Worker& worker)
    {
        const auto half = worker.pending.begin() + static_cast<std::ptrdiff_t>(worker.pending.size() / 2);
        {
            const std::lock_guard lock(mutex_);
            std::move(worker.pending.begin(), half, std::back_inserter(shared_));
        }
        worker.pending.erase(worker.pending.begin(), half);
        wake_.notify_all();
    }

    // Waits for folders; false when there are none left anywhere.
    bool takeOver(Worker& worker)
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
        std::move(from, shared_.end(), std::back_inserter(worker.pending));
        shared_.erase(from, shared_.end());
        return true;
    }

    void visitNext(Worker& worker)
    {
        const std::string path = std::move(worker.pending.back());
        worker.pending.pop_back();
        if (path.empty()) {
            visitFolder(worker, root_, path);
        } else {
            FolderReader folder(openFolder(root_.fd(), path));
            visitFolder(worker, folder, path);
        }
    }

    void visitFolder(Worker& worker, FolderReader& folder, const std::string& path)
    {
        const bool whole = folder.read([&](std::string_view name, Kind kind) {
            worker.offsets.push_back(worker.names.size());
            worker.names.append(name).push_back('\0');
            worker.entries.push_back({.name = name, .kind = kind});
            if (worker.entries.size() == entriesPerChunk) {
                visitChunk(worker, folder.fd(), path);
            }
        });
        if (!whole) {
            complete_ = false;
        }
        visitChunk(worker, folder.fd(), path);
    }

    void visitChunk(Worker& worker, int descriptor, const std::string& path)
    {
        for (std::size_t index = 0; index < worker.entries.size(); index++) {
            Entry& entry = worker.entries[index];
            entry.name = std::string_view(worker.names.data() + worker.offsets[index], entry.name.size());
            if (entry.kind == Kind::unknown) {
                entry.kind = kindAt(descriptor, entry.terminatedName());
            }
        }
        const Folder folder {.descriptor = descriptor, .path = path, .entries = worker.entries};
        if (!worker.entries.empty()) {
            visit_(folder, worker.index);
        }
        for (const Entry& entry : worker.entries) {
            if (entry.kind == Kind::folder && entry.descend) {
                worker.pending.push_back(pathOf(folder, entry));
            }
        }
        worker.names.clear();
        worker.offsets.clear();
        worker.entries.clear();
    }

    Kind kindAt(int folder, const char* name)
    {
        struct stat info {};
        if (::fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) != 0) {
            complete_ = false; // it may be a folder
            return Kind::other;
        }
        if (S_ISDIR(info.st_mode)) {
            return Kind::folder;
        }
        if (S_ISLNK(info.st_mode)) {
            return Kind::link;
        }
        return S_ISREG(info.st_mode) ? Kind::file : Kind::other;
    }

    FolderReader& root_;
    const Visit& visit_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::vector<std::string> shared_; // folders that any worker may take
    std::vector<std::thread> others_;
    unsigned threads_ = 1;
    std::atomic<unsigned> idle_ = 0; // written under the mutex, read without it as a hint
    std::atomic<bool> complete_ = true;
    bool done_ = false;
};

} // namespace

bool walk(const std::filesystem::path& root, const Visit& visit)
{
    FolderReader opened(openWithRetries([&] { return ::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    return opened.fd() >= 0 && Walker(opened, visit).run();
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
