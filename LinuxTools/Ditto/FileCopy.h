#pragma once

#include <cstdint>
#include <sys/types.h>

// The bytes of one file.
namespace LinuxTools::FileCopy
{

struct Outcome {
    int error = 0; // 0 is success; ESTALE for a file that became shorter meanwhile, EINTR for an interruption
    bool reading = false; // whose error it was
};

// Copies the first `size` bytes of `source` into the empty file `destination`: as a clone where the file system can,
// else piece by piece, with holes where the source has them. Not yet durable afterwards.
Outcome copy(int source, int destination, std::uint64_t size);

} // namespace LinuxTools::FileCopy
