#include "ManagerCore/Inventory/MarkerSearch.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "ManagerCore/Foundation/Parallel.h"
#include "ManagerCore/Inventory/TextFinder.h"

namespace ManagerCore::MarkerSearch
{

namespace
{

constexpr unsigned lanes = 8; // more than processors: a drive answers several readers sooner
constexpr std::size_t pieceSize = std::size_t {256} << 10;
constexpr std::size_t pageSize = 4096;
constexpr std::int64_t bytesPerBlock = 512; // the unit of st_blocks

class OpenFile
{
public:
    explicit OpenFile(const std::filesystem::path& path)
        : value_(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY))
    {
    }
    ~OpenFile()
    {
        if (value_ >= 0) {
            ::close(value_);
        }
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    [[nodiscard]] int value() const { return value_; }

private:
    int value_;
};

ssize_t readAt(int file, char* buffer, std::size_t size, off_t offset)
{
    ssize_t got = 0;
    do {
        got = ::pread(file, buffer, size, offset);
    } while (got < 0 && errno == EINTR);
    return got;
}

// Reads files piece by piece, with the end of the piece before in front of each, so that a text across the edge of two
// is seen whole.
class FileReader
{
public:
    explicit FileReader(const TextFinder& finder)
        : finder_(finder)
        , overlap_(finder.text().size() - 1)
        , size_(std::max(pieceSize, finder.text().size()))
        , front_((overlap_ + pageSize - 1) / pageSize * pageSize)
        , hasZero_(finder.text().find('\0') != std::string::npos)
    {
    }

    [[nodiscard]] bool holdsText(int file, const struct stat& facts)
    {
        buffer_.resize(front_ + size_);
        char* const piece = buffer_.data() + front_;
        const bool hasHoles = static_cast<std::int64_t>(facts.st_blocks) * bytesPerBlock < facts.st_size;
        std::size_t kept = 0;
        off_t offset = 0;
        while (true) {
            if (hasHoles && !hasZero_) {
                const off_t data = nextData(file, offset);
                kept = data == offset ? kept : 0;
                offset = data;
            }
            const ssize_t read = readAt(file, piece, size_, offset);
            if (read <= 0) {
                return false;
            }
            const std::size_t filled = kept + static_cast<std::size_t>(read);
            if (finder_.occursIn({piece - kept, filled})) {
                return true;
            }
            const char* const end = piece + read;
            kept = std::min(overlap_, filled);
            std::memmove(piece - kept, end - kept, kept);
            offset += read;
        }
    }

private:
    // Where the next bytes stand that are not a hole's zeros; there is none behind the last of them.
    static off_t nextData(int file, off_t offset)
    {
        const off_t data = ::lseek(file, offset, SEEK_DATA);
        if (data >= offset) {
            return data;
        }
        return errno == ENXIO ? ::lseek(file, 0, SEEK_END) : offset;
    }

    const TextFinder& finder_;
    std::size_t overlap_;
    std::size_t size_;
    std::size_t front_; // room for the overlap, whole pages of it so that pieces begin at one
    bool hasZero_;
    std::vector<char> buffer_; // made with the first file
};

class Search
{
public:
    Search(const std::vector<std::filesystem::path>& files, const std::string& marker)
        : files_(files)
        , finder_(marker)
        , readers_(lanes, FileReader(finder_))
        , answers_(files.size())
    {
    }

    std::vector<bool> run()
    {
        Parallel::forEach(files_.size(), lanes, [this](std::size_t index, unsigned lane) {
            answers_[index] = lookAt(index, readers_[lane]);
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

    Answer lookAt(std::size_t index, FileReader& reader)
    {
        const std::filesystem::path& path = files_[index];
        struct stat facts {};
        // Looked at before it is opened: that alone can do something to a device or to who waits at a pipe.
        if (::stat(path.c_str(), &facts) != 0 || !S_ISREG(facts.st_mode)) {
            return {.held = false, .sameAs = index};
        }
        const std::size_t reading = whoReads(facts, index);
        if (reading != index) {
            return {.held = false, .sameAs = reading};
        }
        const OpenFile file(path);
        const bool regular = file.value() >= 0 && ::fstat(file.value(), &facts) == 0 && S_ISREG(facts.st_mode);
        return {.held = regular && reader.holdsText(file.value(), facts), .sameAs = index};
    }

    // The first to ask for a file reads it.
    std::size_t whoReads(const struct stat& facts, std::size_t asking)
    {
        const std::lock_guard lock(mutex_);
        return readBy_.try_emplace({facts.st_dev, facts.st_ino}, asking).first->second;
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
