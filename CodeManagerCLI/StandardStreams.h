#pragma once

#include <cstdint>
#include <ostream>
#include <streambuf>
#include <string>

namespace CodeManagerCLI
{

namespace StandardStreams
{

// Gives every standard descriptor that came closed a stand-in, so that no file of ours takes its number and is written
// to by mistake; writing to a stand-in fails. In the background gives up the terminal as standard input: children have
// sessions of their own, so job control does not keep them from reading what is typed for the shell.
void prepare();

// Whether colours are wanted on this descriptor: a terminal that is not dumb, and NO_COLOR not set.
bool wantsColours(int descriptor);

// Whether a line on this descriptor can be written over: a terminal that is not dumb.
bool canRewriteLines(int descriptor);

} // namespace StandardStreams

// A stream over a descriptor that keeps everything until it is flushed and remembers why writing failed.
class DescriptorStream : public std::ostream
{
public:
    explicit DescriptorStream(int descriptor);

    // The errno of the first write that failed, or 0.
    [[nodiscard]] int error() const { return buffer_.error(); }

private:
    class Buffer : public std::streambuf
    {
    public:
        explicit Buffer(int descriptor)
            : descriptor_(descriptor)
        {
        }

        [[nodiscard]] int error() const { return error_; }

    protected:
        int_type overflow(int_type letter) override;
        std::streamsize xsputn(const char* text, std::streamsize count) override;
        int sync() override;

    private:
        int descriptor_;
        std::string pending_;
        int error_ = 0;
    };

    Buffer buffer_;
};

} // namespace CodeManagerCLI
