// The child that process tests run. Its first argument says what to do:
//   dump FILE ARGS…       write arguments, environment and working folder to FILE, a zero byte after each
//   exit CODE             end with CODE
//   signal NUMBER         end by that signal
//   write FD COUNT        write COUNT bytes of "x" to the descriptor
//   bytes FD HEX          write the bytes given in hexadecimal; "-" in between pauses for 50 ms
//   close-and-live MS     close both streams, then live on
//   grandchild MS FD      leave a child behind that holds descriptor FD open for MS, and end at once
//   group MS              start a child in the same group that ignores SIGTERM, print its pid, then live on
//   stubborn MS           ignore SIGTERM and live on
//   other-user FILE MS    become another user, write the pid to FILE, then live on
//   read                  read standard input to its end, print the count of bytes
//   descriptors           print the open descriptors

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fstream>
#include <iostream>
#include <string>
#include <thread>
#include <unistd.h>

extern char** environ; // NOLINT(readability-redundant-declaration)

namespace
{

void sleepFor(const char* milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(std::atoi(milliseconds)));
}

int dump(int count, char** arguments)
{
    std::ofstream file(arguments[2], std::ios::binary);
    const auto put = [&file](const std::string& text) { file.write(text.c_str(), static_cast<long>(text.size() + 1)); };
    for (int index = 0; index < count; index++) {
        put(std::string("arg:") + arguments[index]);
    }
    for (char** entry = environ; *entry != nullptr; entry++) {
        put(std::string("env:") + *entry);
    }
    char* folder = ::getcwd(nullptr, 0);
    put(std::string("cwd:") + (folder != nullptr ? folder : ""));
    std::free(folder);
    put("group:" + std::to_string(::getpgrp() == ::getpid() ? 1 : 0));
    put("session:" + std::to_string(::getsid(0) == ::getpid() ? 1 : 0));
    return 0;
}

void writeAll(int descriptor, const char* bytes, std::size_t count)
{
    while (count > 0) {
        const ssize_t written = ::write(descriptor, bytes, count);
        if (written <= 0) {
            std::exit(9);
        }
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
}

int writeMuch(int descriptor, std::size_t count)
{
    const std::string piece(65536, 'x');
    while (count > 0) {
        const std::size_t now = count < piece.size() ? count : piece.size();
        writeAll(descriptor, piece.data(), now);
        count -= now;
    }
    return 0;
}

int writeBytes(int descriptor, const std::string& hex)
{
    for (std::size_t at = 0; at < hex.size();) {
        if (hex[at] == '-') {
            sleepFor("50");
            at++;
            continue;
        }
        const char byte = static_cast<char>(std::stoi(hex.substr(at, 2), nullptr, 16));
        writeAll(descriptor, &byte, 1);
        at += 2;
    }
    return 0;
}

int closeAndLive(const char* milliseconds)
{
    ::close(1);
    ::close(2);
    sleepFor(milliseconds);
    return 7;
}

int grandchild(const char* milliseconds, int held)
{
    if (::fork() == 0) {
        ::close(held == 1 ? 2 : 1);
        sleepFor(milliseconds);
        writeAll(held, "late", 4);
        std::_Exit(0);
    }
    return 0;
}

int group(const char* milliseconds)
{
    const pid_t child = ::fork();
    if (child == 0) {
        std::signal(SIGTERM, SIG_IGN);
        sleepFor(milliseconds);
        std::_Exit(0);
    }
    std::cout << child << '\n' << std::flush;
    sleepFor(milliseconds);
    return 0;
}

int stubborn(const char* milliseconds)
{
    std::signal(SIGTERM, SIG_IGN);
    std::cout << ::getpid() << '\n' << std::flush;
    sleepFor(milliseconds);
    return 0;
}

int otherUser(const char* file, const char* milliseconds)
{
    constexpr uid_t other = 65534;
    std::ofstream pid(file);
    if (::setuid(other) != 0) {
        return 9;
    }
    pid << ::getpid() << std::flush;
    sleepFor(milliseconds);
    return 0;
}

int countInput()
{
    std::size_t count = 0;
    char buffer[4096];
    for (ssize_t got = ::read(0, buffer, sizeof buffer); got > 0; got = ::read(0, buffer, sizeof buffer)) {
        count += static_cast<std::size_t>(got);
    }
    std::cout << count << "\n";
    return 0;
}

int descriptors()
{
    DIR* folder = ::opendir("/dev/fd");
    const int own = ::dirfd(folder);
    while (const dirent* entry = ::readdir(folder)) {
        if (entry->d_name[0] != '.' && std::atoi(entry->d_name) != own) {
            std::cout << entry->d_name << "\n";
        }
    }
    ::closedir(folder);
    return 0;
}

} // namespace

int main(int count, char** arguments)
{
    const std::string verb = count > 1 ? arguments[1] : "";
    if (verb == "dump") {
        return dump(count, arguments);
    }
    if (verb == "exit") {
        return std::atoi(arguments[2]);
    }
    if (verb == "signal") {
        return ::raise(std::atoi(arguments[2]));
    }
    if (verb == "write") {
        return writeMuch(std::atoi(arguments[2]), std::strtoull(arguments[3], nullptr, 10));
    }
    if (verb == "bytes") {
        return writeBytes(std::atoi(arguments[2]), arguments[3]);
    }
    if (verb == "close-and-live") {
        return closeAndLive(arguments[2]);
    }
    if (verb == "grandchild") {
        return grandchild(arguments[2], std::atoi(arguments[3]));
    }
    if (verb == "group") {
        return group(arguments[2]);
    }
    if (verb == "stubborn") {
        return stubborn(arguments[2]);
    }
    if (verb == "other-user") {
        return otherUser(arguments[2], arguments[3]);
    }
    if (verb == "read") {
        return countInput();
    }
    if (verb == "descriptors") {
        return descriptors();
    }
    return 64;
}
