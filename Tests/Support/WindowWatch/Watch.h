#pragma once

#include <array>
#include <cstdint>
#include <fstream>
#include <string>

namespace WindowWatch
{

// How long the interface thread is away from its event loop: from the end of one wait for events to the beginning of
// the next, without the time in which the thread was ready to run and only had no processor. Counted from the first
// frame on. One for the process; all on the interface thread.
class Watch
{
public:
    // Begins to watch the calling thread. What is found out is written to `file` at each longer absence, whole or not
    // at all. `started` is when the program was started, in nanoseconds of the monotonic clock.
    static void begin(std::string file, std::int64_t started);
    // Also tells of each frame, a line each: when it was on screen, how long the thread was away for it, which is since
    // the frame before, and for how much of that it ran rather than waited for another process, in milliseconds.
    static void tellFrames(const std::string& file);

    // A frame is on screen.
    static void frameShown();
    // Writes down what is known by now.
    static void write();

private:
    // What the host of a virtual machine took from each of its processors, in the clock ticks of /proc/stat.
    using Stolen = std::array<long, 64>;
    struct Moment {
        std::int64_t time = 0; // all in nanoseconds
        std::int64_t ran = 0; // had run by then
        std::int64_t delay = 0; // waited for a processor by then
        long waits = 0; // for anything else: how often
        Stolen stolen {};
    };
    struct Absence {
        std::int64_t end = 0; // since the program was started
        std::int64_t length = 0;
        std::int64_t delay = 0; // that was not counted
    };

    // How long the thread was away between two moments, not counting when it had no processor.
    static std::int64_t awayBetween(const Moment& entered, const Moment& left);
    static int pollWatched(void* entries, unsigned count, int timeout);
    [[nodiscard]] Moment now() const;
    [[nodiscard]] Stolen stolenByNow() const;
    void leave();
    void tellFrame(const Moment& left, std::int64_t away);
    void enter();

    static Watch theWatch;

    std::string file_;
    std::ofstream frames_; // open where frames are told
    bool frameInRound_ = false;
    std::int64_t awaySinceFrame_ = 0;
    std::int64_t ranSinceFrame_ = 0;
    std::int64_t started_ = 0;
    std::int64_t firstFrame_ = 0; // 0: not yet
    std::int64_t delayBefore_ = 0; // how long the thread had waited for a processor by the first frame
    std::int64_t rounds_ = 0;
    Moment entered_;
    std::array<Absence, 5> longest_; // the longest first
    int delayFile_ = -1;
    int processorsFile_ = -1;
};

} // namespace WindowWatch
