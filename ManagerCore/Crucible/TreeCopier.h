#pragma once

#include <atomic>
#include <cstdint>
#include <expected>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "ManagerCore/Crucible/TreePlan.h"
#include "ManagerCore/Platform/UniqueFd.h"

namespace ManagerCore
{

// Copies one item, a folder with all it holds or anything else, to a place where nothing stands: contents with their
// holes, modes, times, extended attributes, owners as far as permitted, links as links, several names of one file as
// such. Both sides are held by open folders, so that nothing that happens to a path in between leads elsewhere. The
// first failure ends the copy; what was copied until then stays, and the source is never changed.
class TreeCopier
{
public:
    struct Progress {
        std::int64_t bytesDone = 0; // of data
        std::int64_t bytesTotal = 0;
        std::filesystem::path file; // the source's file that a piece was just copied of
    };

    // Sees how far a copy is and can stop it.
    class Watcher
    {
    public:
        using OnProgress = std::function<void(const Progress&)>;

        // `onProgress` is called on threads of the copy, never on two at once, after each piece and each file. Must not
        // throw and not call back into the copy.
        explicit Watcher(OnProgress onProgress = {})
            : onProgress_(std::move(onProgress))
        {
        }
        Watcher(const Watcher&) = delete;
        Watcher& operator=(const Watcher&) = delete;

        // Any thread, returns at once. The copy fails before its next piece.
        void stop() { stopRequested_ = true; }
        [[nodiscard]] bool stopRequested() const { return stopRequested_; }

    private:
        friend class TreeCopier;
        OnProgress onProgress_;
        std::atomic<bool> stopRequested_ = false;
    };

    // Reads what there is to copy and looks whether there is room for it. One sentence why it cannot be copied. Touches
    // nothing. `destination` and folders above it need not exist yet.
    static std::expected<TreeCopier, std::string> prepare(const std::filesystem::path& source,
                                                          const std::filesystem::path& destination);

    // Copies and waits until the copy is on the disk. Once; `watcher` may be null. Absent on success, else one sentence
    // why. The folder that is to hold the copy must exist. Blocks: not for the interface thread.
    std::optional<std::string> copy(Watcher* watcher = nullptr);

    // After `copy`: one sentence when the source is no longer what was copied, or when the paths do not lead to source
    // and copy any more.
    [[nodiscard]] std::optional<std::string> difference() const;

    static constexpr const char* stopped = "The copy was stopped.";

private:
    class Work;

    TreeCopier(std::filesystem::path source, std::filesystem::path destination);

    [[nodiscard]] std::optional<std::string> refusal() const;
    [[nodiscard]] bool wouldBeCloned(int folder) const;

    std::filesystem::path source_;
    std::filesystem::path destination_;
    std::string name_; // of the source in its folder
    Platform::UniqueFd sourceParent_;
    TreePlan plan_;
    struct stat made_ {};
};

} // namespace ManagerCore
