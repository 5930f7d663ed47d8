#include "ManagerCore/Inventory/MarkerSearch.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "ManagerCore/Foundation/Parallel.h"
#include "ManagerCore/Inventory/TextFinder.h"
#include "ManagerCore/Platform/Platform.h"
#include "ManagerCore/Platform/UniqueFd.h"

namespace ManagerCore::MarkerSearch
{

namespace
{

constexpr unsigned workers = 8; // more than processors: a drive answers several readers sooner
constexpr std::size_t chunkSize = std::size_t {256} << 10;
constexpr std::size_t pageSize = 4096;

ssize_t readAt(int file, char* buffer, std::size_t size, off_t offset)
{
    ssize_t got = 0;
    do {
        got = ::pread(file, buffer, size, offset);
    } while (got < 0 && errno == EINTR);
    return got;
}

// Reads files in chunks, each with the end of the one before in front of it, so that a text across their edge is found.
class FileReader
{
public:
    explicit FileReader(const TextFinder& finder)
        : finder_(finder)
        , overlap_(finder.text().size() - 1)
        , size_(std::max(chunkSize, finder.text().size()))
        , front_((overlap_ + pageSize - 1) / pageSize * pageSize)
        , hasZero_(finder.text().find('\0') != std::string::npos)
    {
    }

    [[nodiscard]] bool holdsText(int file, const struct stat& info)
    {
        buffer_.resize(front_ + size_);
        char* const chunk = buffer_.data() + front_;
        bool skipsHoles = !hasZero_ && Platform::bytesInBlocks(info) < info.st_size;
        std::size_t kept = 0;
        off_t offset = 0;
        while (true) {
            if (skipsHoles) {
                const off_t data = nextData(file, offset);
                skipsHoles = data >= 0;
                kept = data > offset ? 0 : kept;
                offset = std::max(data, offset);
            }
            const ssize_t read = readAt(file, chunk, size_, offset);
            if (read <= 0) {
                return false;
            }
            const std::size_t filled = kept + static_cast<std::size_t>(read);
            if (finder_.occursIn({chunk - kept, filled})) {
                return true;
            }
            const char* const end = chunk + read;
            kept = std::min(overlap_, filled);
            std::memmove(chunk - kept, end - kept, kept);
            offset += read;
        }
    }

private:
    // The offset of the next data; the end of the file when only a hole follows; -1 when the file system gives no
    // answer. ENXIO for a whole file is none: some file systems give it for data that is not on the drive yet.
    static off_t nextData(int file, off_t offset)
    {
        const off_t data = ::lseek(file, offset, SEEK_DATA);
        return data < 0 && errno == ENXIO && offset > 0 ? ::lseek(file, 0, SEEK_END) : data;
    }

    const TextFinder& finder_;
    std::size_t overlap_;
    std::size_t size_;
    std::size_t front_; // room for the overlap, in whole pages so that chunks begin at one
    bool hasZero_;
    std::vector<char> buffer_; // allocated with the first file
};

class Search
{
public:
    Search(const std::vector<std::filesystem::path>& files, const std::string& marker)
        : files_(files)
        , finder_(marker)
        , readers_(workers, FileReader(finder_))
        , answers_(files.size())
    {
    }

    std::vector<bool> run()
    {
        Parallel::forEach(files_.size(), workers, [this](std::size_t index, unsigned worker) {
            answers_[index] = search(index, readers_[worker]);
        });
        std::vector<bool> held;
        held.reserve(answers_.size());
        for (const Answer& answer : answers_) {
            held.push_back(answers_[answer.sameAs].held || answer.held);
        }
        return held;
    }

private:
    struct Answer {
        bool held = false;
        std::size_t sameAs = 0; // the file that was read in its place, often itself
    };

    Answer search(std::size_t index, FileReader& reader)
    {
        const std::filesystem::path& path = files_[index];
        struct stat info {};
        // Checked before opening, which has effects on devices and on writers that wait at a FIFO.
        if (::stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
            return {.held = false, .sameAs = index};
        }
        const std::size_t reading = firstWithFile(info, index);
        if (reading != index) {
            return {.held = false, .sameAs = reading};
        }
        // O_NONBLOCK: the path may now name a FIFO.
        const Platform::UniqueFd file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
        const bool regular = file.isOpen() && ::fstat(file.get(), &info) == 0 && S_ISREG(info.st_mode);
        return {.held = regular && reader.holdsText(file.get(), info), .sameAs = index};
    }

    // The first index that came with this file; its worker reads it.
    std::size_t firstWithFile(const struct stat& info, std::size_t index)
    {
        const std::lock_guard lock(mutex_);
        return readBy_.try_emplace({info.st_dev, info.st_ino}, index).first->second;
    }

    const std::vector<std::filesystem::path>& files_;
    const TextFinder finder_;
    std::vector<FileReader> readers_;
    std::vector<Answer> answers_;
    std::mutex mutex_;
    std::map<std::pair<dev_t, ino_t>, std::size_t> readBy_;
};

} // namespace

std::vector<bool> holds(const std::vector<std::filesystem::path>& files, const std::string& marker)
{
    return Search(files, marker).run();
}

} // namespace ManagerCore::MarkerSearch
