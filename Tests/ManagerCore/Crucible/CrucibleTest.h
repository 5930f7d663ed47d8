#pragma once

#include <string>
#include <vector>

#include "Tests/Support/Sandbox.h"

namespace fs = std::filesystem;
using TestSupport::makeLink;
using TestSupport::read;
using TestSupport::write;

// A test of the store of weights, with a look into the Trash of the home.
class CrucibleTest : public TestSupport::SandboxTest
{
protected:
    // The names of what lies in it.
    [[nodiscard]] std::vector<std::string> trashed() const
    {
        std::vector<std::string> names;
        std::error_code error;
        for (fs::directory_iterator entry(trash(), error), end; !error && entry != end; entry.increment(error)) {
            names.push_back(entry->path().filename().string());
        }
        return names;
    }
};
