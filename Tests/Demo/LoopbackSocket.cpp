#include "Tests/Demo/LoopbackSocket.h"

#include <array>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace TestSupport
{

namespace
{

sockaddr_in loopback(int port)
{
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

// A peer that is gone must fail the sending and not end the test: a flag of each sending on Linux, of the socket on
// macOS.
#ifdef MSG_NOSIGNAL
constexpr int sendFlags = MSG_NOSIGNAL;
#else
constexpr int sendFlags = 0;
#endif

} // namespace

LoopbackSocket::LoopbackSocket()
    : socket_(::socket(AF_INET, SOCK_STREAM, 0))
{
#ifdef SO_NOSIGPIPE
    const int on = 1;
    ::setsockopt(socket_, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
#endif
}

LoopbackSocket LoopbackSocket::listening(int port)
{
    LoopbackSocket made;
    const sockaddr_in address = loopback(port);
    made.stands_ = made.socket_ >= 0
        && ::bind(made.socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0
        && ::listen(made.socket_, 1) == 0;
    return made;
}

LoopbackSocket LoopbackSocket::connected(int port)
{
    LoopbackSocket made;
    const sockaddr_in address = loopback(port);
    made.stands_ = made.socket_ >= 0
        && ::connect(made.socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    return made;
}

LoopbackSocket::~LoopbackSocket()
{
    if (socket_ >= 0) {
        ::close(socket_);
    }
}

LoopbackSocket::LoopbackSocket(LoopbackSocket&& other) noexcept
    : socket_(std::exchange(other.socket_, -1))
    , stands_(std::exchange(other.stands_, false))
{
}

int LoopbackSocket::port() const
{
    sockaddr_in address {};
    socklen_t size = sizeof address;
    const bool known = stands_ && ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size) == 0;
    return known ? ntohs(address.sin_port) : 0;
}

bool LoopbackSocket::send(const std::string& bytes) const
{
    return stands_ && ::send(socket_, bytes.data(), bytes.size(), sendFlags) == static_cast<ssize_t>(bytes.size());
}

std::string LoopbackSocket::receive() const
{
    std::string all;
    std::array<char, 4096> piece {};
    for (ssize_t got = stands_ ? ::recv(socket_, piece.data(), piece.size(), 0) : 0; got > 0;
         got = ::recv(socket_, piece.data(), piece.size(), 0)) {
        all.append(piece.data(), static_cast<std::size_t>(got));
    }
    return all;
}

int freePort() { return LoopbackSocket::listening(0).port(); }

} // namespace TestSupport
