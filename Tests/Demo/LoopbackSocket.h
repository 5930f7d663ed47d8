#pragma once

#include <string>

namespace TestSupport
{

// A socket on 127.0.0.1 for as long as this lives.
class LoopbackSocket
{
public:
    // Listens on a port; on any free one when it is 0.
    static LoopbackSocket listening(int port);
    static LoopbackSocket connected(int port);

    ~LoopbackSocket();
    LoopbackSocket(LoopbackSocket&& other) noexcept;
    LoopbackSocket(const LoopbackSocket&) = delete;
    LoopbackSocket& operator=(const LoopbackSocket&) = delete;
    LoopbackSocket& operator=(LoopbackSocket&&) = delete;

    // Whether it listens or is connected, as asked for.
    [[nodiscard]] bool stands() const { return stands_; }
    [[nodiscard]] int port() const;
    [[nodiscard]] bool send(const std::string& bytes) const;
    // All that the other side sends until it closes.
    [[nodiscard]] std::string receive() const;

private:
    LoopbackSocket();

    int socket_;
    bool stands_ = false;
};

// A port of 127.0.0.1 that nobody listens on now.
int freePort();

} // namespace TestSupport
