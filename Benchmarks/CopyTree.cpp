// Copies one item as a move does, until it is on the disk: copy-tree SOURCE DESTINATION

#include <iostream>

#include "ManagerCore/Crucible/TreeCopier.h"
#include "ManagerCore/Foundation/FilePath.h"

int main(int count, char** arguments)
{
    using ManagerCore::FilePath::fromText;
    if (count != 3) {
        std::cerr << "usage: copy-tree SOURCE DESTINATION\n";
        return 2;
    }
    auto copier = ManagerCore::TreeCopier::prepare(fromText(arguments[1]), fromText(arguments[2]));
    const auto error = copier ? copier->copy() : copier.error();
    if (error) {
        std::cerr << "copy-tree: " << *error << "\n";
        return 1;
    }
    return 0;
}
