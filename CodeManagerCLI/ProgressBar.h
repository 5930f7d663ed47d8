#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace CodeManagerCLI
{

class Output;

// How far long work is, on a line of the terminal that is gone afterwards; nothing where there is no terminal.
class ProgressBar
{
public:
    explicit ProgressBar(Output& output)
        : output_(output)
    {
    }
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    // Bytes of how many, and what is being worked on. Draws a few times a second. Any thread, one at a time.
    void show(std::int64_t done, std::int64_t total, const std::string& what);

private:
    Output& output_;
    std::chrono::steady_clock::time_point drawn_;
    bool visible_ = false;
};

} // namespace CodeManagerCLI
