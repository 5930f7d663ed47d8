#include "Server.h"

#include "Model.h"
#include "Reply.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace Vantor
{
namespace
{

volatile std::sig_atomic_t stopSignal = 0;

void log(const std::string& text)
{
    const std::time_t now = std::time(nullptr);
    std::tm local {};
    localtime_r(&now, &local);
    std::array<char, 32> stamp {};
    std::strftime(stamp.data(), stamp.size(), "%Y-%m-%d %H:%M:%S", &local);
    std::fputs((std::string(stamp.data()) + " [mlx-vantor] " + text + "\n").c_str(), stdout);
    std::fflush(stdout);
}

int fail(const std::string& sentence)
{
    log("error: " + sentence);
    return 1;
}

// The stop signals stay blocked except while the server waits, so that none is missed between two waits.
sigset_t takeSignals()
{
    struct sigaction action {};
    action.sa_handler = [](int signal) { stopSignal = signal; };
    sigset_t stops;
    sigset_t before;
    sigemptyset(&stops);
    for (const int signal : {SIGTERM, SIGINT}) {
        sigaction(signal, &action, nullptr);
        sigaddset(&stops, signal);
    }
    sigprocmask(SIG_BLOCK, &stops, &before);
    sigdelset(&before, SIGTERM);
    sigdelset(&before, SIGINT);
    std::signal(SIGPIPE, SIG_IGN);
    return before;
}

// A listening socket on 127.0.0.1; -1 with errno.
int listenOn(std::uint16_t port)
{
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    if (listener < 0) {
        return -1;
    }
    fcntl(listener, F_SETFD, FD_CLOEXEC);
    const int on = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    constexpr int waiting = 16;
    if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0
        && listen(listener, waiting) == 0) {
        return listener;
    }
    const int reason = errno;
    close(listener);
    errno = reason;
    return -1;
}

// A client that says nothing or takes nothing for two seconds is given up, so that it cannot keep the others waiting.
void setPatience(int client)
{
    timeval patience {};
    patience.tv_sec = 2;
    setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(client, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
}

// What came up to the end of the request's head, at most 8 KiB of it.
std::string readHead(int client)
{
    constexpr std::size_t longest = 8192;
    std::string head;
    std::array<char, 1024> piece {};
    while (head.size() < longest && head.find("\r\n\r\n") == std::string::npos) {
        const ssize_t got = recv(client, piece.data(), piece.size(), 0);
        if (got <= 0) {
            break;
        }
        head.append(piece.data(), static_cast<std::size_t>(got));
    }
    return head;
}

void sendAll(int client, const std::string& bytes)
{
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t went = send(client, bytes.data() + sent, bytes.size() - sent, 0);
        if (went <= 0) {
            return;
        }
        sent += static_cast<std::size_t>(went);
    }
}

void answer(int client, const Model& model, std::time_t since)
{
    setPatience(client);
    const Reply reply = replyTo(readHead(client), model, std::time(nullptr) - since);
    sendAll(client, reply.bytes());
    log(reply.request + " " + std::to_string(reply.status));
    close(client);
}

void serveUntilStopped(int listener, const sigset_t& whileWaiting, const Model& model)
{
    const std::time_t since = std::time(nullptr);
    while (stopSignal == 0) {
        fd_set ready;
        FD_ZERO(&ready);
        FD_SET(listener, &ready);
        if (pselect(listener + 1, &ready, nullptr, nullptr, nullptr, &whileWaiting) <= 0) {
            continue;
        }
        const int client = accept(listener, nullptr, nullptr);
        if (client >= 0) {
            answer(client, model, since);
        }
    }
}

} // namespace

int serve(const Settings& settings)
{
    const sigset_t whileWaiting = takeSignals();
    const std::optional<Model> model = readModel(settings.model);
    if (!model) {
        return fail("There is no model at " + settings.model + ": a folder with config.json and weights is needed.");
    }
    const std::string address = "127.0.0.1:" + std::to_string(settings.port);
    const int listener = listenOn(settings.port);
    if (listener < 0) {
        return fail(errno == EADDRINUSE ? "The address " + address + " is already used by another program."
                                        : "The address " + address + " cannot be had: " + std::strerror(errno) + ".");
    }
    log("serving " + model->name + " (" + std::to_string(model->files) + " weight files, "
        + std::to_string(model->bytes) + " bytes) from " + model->folder);
    log("listening on http://" + address);
    serveUntilStopped(listener, whileWaiting, *model);
    close(listener);
    log("stopped by signal " + std::to_string(static_cast<int>(stopSignal)));
    return 0;
}

} // namespace Vantor
