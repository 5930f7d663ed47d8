#include "Reply.h"

#include <array>

namespace Vantor
{
namespace
{

constexpr int ok = 200;
constexpr int badRequest = 400;
constexpr int notFound = 404;
constexpr int wrongMethod = 405;

const char* reason(int status)
{
    switch (status) {
    case ok:
        return "OK";
    case badRequest:
        return "Bad Request";
    case notFound:
        return "Not Found";
    default:
        return "Method Not Allowed";
    }
}

std::string quoted(const std::string& text)
{
    constexpr std::array<char, 17> digits {"0123456789abcdef"};
    constexpr unsigned char firstPrintable = 0x20;
    std::string out = "\"";
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < firstPrintable) {
            out += std::string("\\u00") + digits.at(byte >> 4U) + digits.at(byte & 0xFU);
            continue;
        }
        if (character == '"' || character == '\\') {
            out += '\\';
        }
        out += character;
    }
    return out + "\"";
}

std::string health(const Model& model, long uptimeSeconds)
{
    return R"({"status":"ok","model":)" + quoted(model.name) + R"(,"folder":)" + quoted(model.folder)
        + R"(,"weight_bytes":)" + std::to_string(model.bytes) + R"(,"uptime_seconds":)" + std::to_string(uptimeSeconds)
        + "}";
}

std::string models(const Model& model)
{
    return R"({"object":"list","data":[{"id":)" + quoted(model.name) + R"(,"object":"model","owned_by":"zyn-labs"}]})";
}

std::string error(const std::string& sentence) { return R"({"error":{"message":)" + quoted(sentence) + "}}"; }

// Control bytes of a request must not make lines of their own in the log.
std::string printable(const std::string& text)
{
    constexpr unsigned char firstPrintable = 0x20;
    constexpr std::size_t longest = 200;
    std::string out = text.substr(0, longest);
    for (char& character : out) {
        if (static_cast<unsigned char>(character) < firstPrintable) {
            character = '?';
        }
    }
    return out;
}

Reply made(int status, const std::string& request, const std::string& body)
{
    Reply reply;
    reply.status = status;
    reply.request = request;
    reply.body = body;
    return reply;
}

} // namespace

std::string Reply::bytes() const
{
    return "HTTP/1.1 " + std::to_string(status) + " " + reason(status)
        + "\r\nContent-Type: application/json\r\nContent-Length: " + std::to_string(body.size())
        + "\r\nConnection: close\r\n\r\n" + body;
}

Reply replyTo(const std::string& head, const Model& model, long uptimeSeconds)
{
    const std::string line = head.substr(0, head.find("\r\n"));
    const std::size_t first = line.find(' ');
    const std::size_t second = first == std::string::npos ? first : line.find(' ', first + 1);
    if (second == std::string::npos) {
        return made(
            badRequest, "an unreadable request", error("The request has no first line of method, path, version."));
    }
    const std::string method = line.substr(0, first);
    const std::string path = line.substr(first + 1, second - first - 1);
    const std::string request = printable(method + " " + path);
    if (method != "GET") {
        return made(wrongMethod, request, error("Only GET is answered here."));
    }
    if (path == "/health") {
        return made(ok, request, health(model, uptimeSeconds));
    }
    if (path == "/v1/models") {
        return made(ok, request, models(model));
    }
    return made(notFound, request, error("There is nothing at this path."));
}

} // namespace Vantor
