#include "ManagerCore/Foundation/ManagerActions.h"

#include "ManagerCore/Foundation/DescriptorFields.h"
#include "ManagerCore/Foundation/Text.h"

namespace ManagerCore
{

const ManagerActions ManagerActions::empty {};

ManagerActions ManagerActions::load(const std::filesystem::path& file)
{
    const auto contents = Text::readFile(file);
    return contents ? DescriptorFields::read<ManagerActions>(DescriptorFields::actions, Descriptor::parse(*contents))
                    : empty;
}

} // namespace ManagerCore
