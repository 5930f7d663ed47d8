#include "ManagerCore/Platform/Copying.h"

namespace ManagerCore::Platform::Copying
{

namespace
{

bool same(const timespec& one, const timespec& other)
{
    return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

} // namespace

std::array<timespec, 2> timesOf(const struct stat& facts)
{
    const FileTimes times = fileTimes(facts);
    return {times.accessed, times.modified};
}

bool unchanged(const struct stat& before, const struct stat& now)
{
    const FileTimes then = fileTimes(before);
    const FileTimes times = fileTimes(now);
    return before.st_dev == now.st_dev && before.st_ino == now.st_ino && before.st_mode == now.st_mode
        && before.st_size == now.st_size && same(then.modified, times.modified) && same(then.changed, times.changed);
}

} // namespace ManagerCore::Platform::Copying
