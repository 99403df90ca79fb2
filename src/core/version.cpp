#include <kelvcpx/core.h>

namespace {

constexpr LibraryVersion libraryVersion = {
    .versionMajor = 5,
    .versionMinor = 1,
    .buildMajor = 133,
    .buildNumber = 226,
    .targetCode = {'p', 'x', '\0', '\0'},
    .libraryName = "libkelvcpx-5.1.dylib",
    .versionText = "5.1.1",
    .buildDate = "Jun 17 2006",
};

} // namespace

const LibraryVersion* kelvcGetLibVersion() noexcept
{
    return &libraryVersion;
}
