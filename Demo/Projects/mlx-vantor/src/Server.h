#pragma once

#include <cstdint>
#include <string>

namespace Vantor
{

struct Settings {
    std::string model; // the folder of the weights, or a link to it
    std::uint16_t port = 0;
};

// Serves until SIGTERM or SIGINT and returns the exit status: 0 after a signal; 1, with one sentence in the log, when
// the model cannot be read or the port cannot be had. Takes over the process's signals.
int serve(const Settings& settings);

} // namespace Vantor
