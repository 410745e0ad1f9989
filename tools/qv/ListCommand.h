// qv list [--json]: every attached camera, one block each.
#pragma once

#include <string>
#include <vector>

namespace qv {

class ListCommand {
public:
    static int run(const std::vector<std::string>& args);
};

}  // namespace qv
