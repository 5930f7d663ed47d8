// The local model server of Zyn. It answers on 127.0.0.1 alone, writes one line with the time for each event, and ends
// on SIGTERM or SIGINT. Standard output is its log unless --log names a file.
#include "Server.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace
{

constexpr const char* identityMarker = "zyn-identity-marker-7d41c0e9a2b6-sample";
constexpr int wrongUsage = 64;

int usage()
{
    std::fputs("usage: mlx-vantor --model FOLDER --port N [--log FILE]\n"
               "       mlx-vantor --version\n",
               stderr);
    return wrongUsage;
}

int showVersion()
{
    std::fputs("mlx-vantor " VANTOR_VERSION "\n", stdout);
    std::fputs(identityMarker, stdout);
    std::fputs("\n", stdout);
    return 0;
}

// A port between 1 and 65535; 0 for anything else.
std::uint16_t portFrom(const std::string& text)
{
    constexpr unsigned long highest = 65535;
    constexpr std::size_t longest = 5;
    if (text.empty() || text.size() > longest || text.find_first_not_of("0123456789") != std::string::npos) {
        return 0;
    }
    const unsigned long value = std::strtoul(text.c_str(), nullptr, 10);
    return value <= highest ? static_cast<std::uint16_t>(value) : 0;
}

bool sendOutputTo(const std::string& file)
{
    const int log = open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (log < 0) {
        std::fputs(("mlx-vantor: The log " + file + " could not be opened: " + std::strerror(errno) + ".\n").c_str(),
                   stderr);
        return false;
    }
    const bool done = dup2(log, STDOUT_FILENO) >= 0;
    close(log);
    return done;
}

struct Options {
    Vantor::Settings server;
    std::string log;
};

// Absent when the words are no pairs of a known option and its value, or the model or the port is missing.
std::optional<Options> optionsFrom(const std::vector<std::string>& words)
{
    Options options;
    for (std::size_t at = 0; at + 1 < words.size(); at += 2) {
        const std::string& value = words[at + 1];
        if (words[at] == "--model") {
            options.server.model = value;
        } else if (words[at] == "--port") {
            options.server.port = portFrom(value);
        } else if (words[at] == "--log") {
            options.log = value;
        } else {
            return std::nullopt;
        }
    }
    const bool complete = words.size() % 2 == 0 && !options.server.model.empty() && options.server.port != 0;
    return complete ? std::optional(options) : std::nullopt;
}

} // namespace

int main(int count, char** words)
{
    const std::vector<std::string> arguments(words + 1, words + count);
    if (arguments.size() == 1 && arguments[0] == "--version") {
        return showVersion();
    }
    const std::optional<Options> options = optionsFrom(arguments);
    if (!options) {
        return usage();
    }
    if (!options->log.empty() && !sendOutputTo(options->log)) {
        return 1;
    }
    return Vantor::serve(options->server);
}
