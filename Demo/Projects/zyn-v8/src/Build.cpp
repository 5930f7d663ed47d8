#include "Build.h"

namespace Zyn
{

const char* const version = ZYN_VERSION;
const char* const commit = ZYN_COMMIT;
const char* const identityMarker = "zyn-identity-marker-7d41c0e9a2b6-sample";

} // namespace Zyn
