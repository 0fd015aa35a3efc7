// libKyrDisplayQt built without Qt 6 (KYR_GUI=OFF, or no Qt 6 found, as on
// Debian 11): no display can ever be opened, so every request is refused with
// the library's "no GUI" answer and a line on stderr that says why; nothing
// pretends to draw.
#include <display/KyrDisplay.h>

#include <cstdio>

KyrDisplay *KyrDisplay::CreateComponent() noexcept
{
    std::fputs("KyrDisplayQt: built without Qt 6, so no display can be opened\n", stderr);
    return nullptr;
}

uint64_t KyrDisplay_FramesDrawn() noexcept
{
    return 0;
}

uint64_t KyrDisplay_WaitFramesDrawn(uint64_t, uint32_t) noexcept
{
    return 0;
}

// No GUI thread is ever started.
void KyrDisplay_ShutdownGui() noexcept
{
}
