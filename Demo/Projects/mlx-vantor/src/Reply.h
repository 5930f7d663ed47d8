#pragma once

#include "Model.h"

#include <string>

namespace Vantor
{

struct Reply {
    int status = 0;
    std::string request; // method and path, for the log
    std::string body; // one JSON document

    // The whole answer as it goes over the wire.
    [[nodiscard]] std::string bytes() const;
};

// `head` is a request's head, as far as it came. Whatever it holds, there is a reply.
Reply replyTo(const std::string& head, const Model& model, long uptimeSeconds);

} // namespace Vantor
