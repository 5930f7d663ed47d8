#pragma once

// Being asked to end: SIGINT, SIGTERM and SIGHUP set a flag that long work looks at.
namespace LinuxTools::Interruption
{

void heed();
bool requested();

} // namespace LinuxTools::Interruption
