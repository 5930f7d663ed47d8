#pragma once

#include <cstdint>

namespace TestSupport
{

// File modes hold for root too while this lives: for the calling thread and those that it starts. Elsewhere than on
// Linux it changes nothing, and tests are not run as root.
class PermissionsHold
{
public:
    PermissionsHold();
    ~PermissionsHold();
    PermissionsHold(const PermissionsHold&) = delete;
    PermissionsHold& operator=(const PermissionsHold&) = delete;

private:
    [[maybe_unused]] std::uint32_t before_ = 0; // the first half of the effective capabilities
};

} // namespace TestSupport
