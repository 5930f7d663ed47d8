#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "CodeManagerApp/Desktop/Desktop.h"

namespace CodeManagerApp::Desktop
{

namespace
{

std::string_view variable(const char* name)
{
    const char* const value = std::getenv(name);
    return value != nullptr ? std::string_view(value) : std::string_view();
}

// Whether something listens there. `name` with a zero byte in front is one of those without a file.
bool listens(std::string_view name)
{
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    if (name.size() >= sizeof address.sun_path) {
        return false;
    }
    std::memcpy(address.sun_path, name.data(), name.size());
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    // The system's own way to name an address.
    const bool answered
        = socket >= 0 && ::connect(socket, reinterpret_cast<const sockaddr*>(&address), length) == 0; // NOLINT
    if (socket >= 0) {
        ::close(socket);
    }
    return answered;
}

// A display of this machine is asked for; whether another machine's answers, only the connection itself can tell.
bool xAnswers(std::string_view display)
{
    if (display.empty()) {
        return false;
    }
    if (!display.starts_with(':') && !display.starts_with("unix:")) {
        return true;
    }
    display.remove_prefix(display.find(':') + 1);
    const std::string place = "/tmp/.X11-unix/X" + std::string(display.substr(0, display.find('.')));
    return listens(place) || listens(std::string(1, '\0') + place);
}

bool waylandAnswers(std::string_view display)
{
    if (display.empty()) {
        return false;
    }
    return listens(display.starts_with('/') ? std::string(display)
                                            : std::string(variable("XDG_RUNTIME_DIR")) + "/" + std::string(display));
}

} // namespace

std::optional<std::string> displayTrouble()
{
    // Whoever chooses how windows are shown knows why.
    if (!variable("QT_QPA_PLATFORM").empty()) {
        return std::nullopt;
    }
    const std::string_view x = variable("DISPLAY");
    const std::string_view wayland = variable("WAYLAND_DISPLAY");
    if (x.empty() && wayland.empty()) {
        return "There is no display to show the window on: neither DISPLAY nor WAYLAND_DISPLAY is set.";
    }
    if (xAnswers(x) || waylandAnswers(wayland)) {
        return std::nullopt;
    }
    return "The window cannot be shown: the display " + std::string(x.empty() ? wayland : x) + " does not answer.";
}

} // namespace CodeManagerApp::Desktop
