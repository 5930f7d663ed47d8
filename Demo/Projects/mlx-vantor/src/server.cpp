// The local model server of Zyn. It answers GET /health and GET /v1/models on 127.0.0.1, logs one line for each event,
// on standard output, and ends on SIGTERM or SIGINT.
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <iomanip>
#include <sstream>
#include <string>
#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

constexpr const char* identityMarker = "zyn-identity-marker-7d41c0e9a2b6-sample";

// A model's folder as it was when the server started.
struct Model {
    std::string folder; // without links
    std::string name; // publisher and model
    unsigned files = 0; // of weights
    std::uintmax_t bytes = 0; // in them
};

void log(const std::string& text)
{
    const std::time_t now = std::time(nullptr);
    std::tm local {};
    localtime_r(&now, &local);
    std::array<char, 32> time {};
    std::strftime(time.data(), time.size(), "%Y-%m-%d %H:%M:%S", &local);
    std::fputs((std::string(time.data()) + " [mlx-vantor] " + text + "\n").c_str(), stdout);
    std::fflush(stdout);
}

int fail(const std::string& sentence)
{
    log("error: " + sentence);
    return 1;
}

// Control characters would make lines of their own in the log and are not allowed in JSON.
std::string printable(std::string text)
{
    for (char& character : text) {
        character = static_cast<unsigned char>(character) < ' ' ? '?' : character;
    }
    return text;
}

// Without weights when the folder contains no config.json or no weights, or cannot be read.
Model readModel(const fs::path& path)
{
    std::error_code error;
    const fs::path folder = fs::canonical(path, error);
    const fs::path place = folder.filename() == "3_final" ? folder.parent_path() : folder;
    Model model {printable(folder.string()), printable((place.parent_path().filename() / place.filename()).string())};
    if (error || !fs::exists(folder / "config.json", error)) {
        return model;
    }
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        std::error_code sizeError;
        const std::uintmax_t bytes = entry->file_size(sizeError);
        if (entry->path().extension() == ".safetensors" && !sizeError) {
            ++model.files;
            model.bytes += bytes;
        }
    }
    return model;
}

// The request up to the end of its header, at most 8 KiB of it. A silent client is dropped after two seconds.
std::string receive(int client)
{
    timeval timeout {};
    timeout.tv_sec = 2;
    setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    setsockopt(client, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
    std::array<char, 8192> buffer {};
    std::string request;
    while (request.size() < buffer.size() && request.find("\r\n\r\n") == std::string::npos) {
        const ssize_t count = recv(client, buffer.data(), buffer.size() - request.size(), 0);
        if (count <= 0) {
            break;
        }
        request.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return request;
}

void answer(int client, const Model& model)
{
    std::istringstream request(receive(client));
    std::string method;
    std::string path;
    std::string version;
    request >> method >> path >> version;
    std::string status = "200 OK";
    std::ostringstream body;
    if (version.empty()) {
        status = "400 Bad Request";
        body << R"({"error":{"message":"The request has no method, path and version."}})";
    } else if (method != "GET") {
        status = "405 Method Not Allowed";
        body << R"({"error":{"message":"Only GET is supported."}})";
    } else if (path == "/health") {
        body << R"({"status":"ok","model":)" << std::quoted(model.name) << R"(,"folder":)" << std::quoted(model.folder)
             << R"(,"weight_bytes":)" << model.bytes << "}";
    } else if (path == "/v1/models") {
        body << R"({"object":"list","data":[{"id":)" << std::quoted(model.name)
             << R"(,"object":"model","owned_by":"zyn-labs"}]})";
    } else {
        status = "404 Not Found";
        body << R"({"error":{"message":"There is nothing at this path."}})";
    }
    const std::string reply = "HTTP/1.1 " + status + "\r\nContent-Type: application/json\r\nContent-Length: "
        + std::to_string(body.str().size()) + "\r\nConnection: close\r\n\r\n" + body.str();
    send(client, reply.data(), reply.size(), 0);
    close(client);
    log(printable((method + " " + path).substr(0, 200)) + " " + status.substr(0, 3));
}

// A listening socket on 127.0.0.1; -1 with errno.
int listenOn(std::uint16_t port)
{
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    if (listener < 0) {
        return -1;
    }
    const int on = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool bound = bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    return bound && listen(listener, SOMAXCONN) == 0 ? listener : -1;
}

// A thread answers, while this one waits for the signals that end the process.
int serve(const std::string& folder, std::uint16_t port)
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    const Model model = readModel(folder);
    if (model.files == 0) {
        return fail("There is no model at " + folder + ": a folder with config.json and weights is needed.");
    }
    const std::string address = "127.0.0.1:" + std::to_string(port);
    const int listener = listenOn(port);
    if (listener < 0) {
        return fail(errno == EADDRINUSE ? "The address " + address + " is already used by another program."
                                        : "The address " + address + " cannot be used: " + std::strerror(errno) + ".");
    }
    log("serving " + model.name + " (" + std::to_string(model.files) + " weight files, " + std::to_string(model.bytes)
        + " bytes) from " + model.folder);
    log("listening on http://" + address);
    std::thread([listener, model] {
        while (true) {
            const int client = accept(listener, nullptr, nullptr);
            if (client >= 0) {
                answer(client, model);
            }
        }
    }).detach();
    int received = 0;
    sigwait(&signals, &received);
    log("stopped by signal " + std::to_string(received));
    std::_Exit(0);
}

} // namespace

int main(int count, char** words)
{
    if (count == 2 && std::strcmp(words[1], "--version") == 0) {
        std::printf("mlx-vantor " VANTOR_VERSION "\n%s\n", identityMarker);
        return 0;
    }
    const int port = count == 5 ? std::atoi(words[4]) : 0;
    if (port < 1 || port > UINT16_MAX || std::strcmp(words[1], "--model") != 0
        || std::strcmp(words[3], "--port") != 0) {
        std::fputs("usage: mlx-vantor --model FOLDER --port N\n       mlx-vantor --version\n", stderr);
        return 64;
    }
    return serve(words[2], static_cast<std::uint16_t>(port));
}
