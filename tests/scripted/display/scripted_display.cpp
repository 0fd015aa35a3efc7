// The scripted libKyrDisplayQt. Displays are named display1, display2, ... in
// order of creation. Answers: "KyrDisplay::CreateComponent" ("null" for
// none), and "<display>.<Operation>.err" or "display.<Operation>.err" for the
// code an operation returns (0 by default). Displays are not counted as live
// objects: their callers keep them for the life of the process.
#include <display/KyrDisplay.h>

#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>

#include "scripted_image.h"

using namespace Scripted;

namespace {

std::atomic<int> displaysMade{ 0 };
std::atomic<uint64_t> imagesShown{ 0 };

class ScriptedDisplay final : public KyrDisplay
{
public:
    explicit ScriptedDisplay(int number)
        : name_("display" + std::to_string(number))
    {
    }

    int32_t CreateDisplay(uint64_t window, const char *mode, uint32_t flags) noexcept override
    {
        char handle[32];
        std::snprintf(handle, sizeof handle, "0x%" PRIx64, window);
        return reply("CreateDisplay", std::string(handle) + ", " + quoted(mode) + ", " + std::to_string(flags));
    }

    int32_t ConfigureForImage(const KyrImage *image, const char *mode) noexcept override
    {
        return reply("ConfigureForImage", describeImage(image) + ", " + quoted(mode));
    }

    int32_t ShowImage(const KyrImage *image) noexcept override
    {
        ++imagesShown;
        return reply("ShowImage", describeImage(image));
    }

    void Release() noexcept override
    {
        record(name_ + ".Release()");
        delete this;
    }

private:
    ~ScriptedDisplay() override = default;

    int32_t reply(const std::string &operation, const std::string &arguments)
    {
        record(name_ + "." + operation + "(" + arguments + ")");
        return int32_t(answerInt({ name_ + "." + operation + ".err", "display." + operation + ".err" }, 0));
    }

    std::string name_;
};

} // namespace

KyrDisplay *KyrDisplay::CreateComponent() noexcept
{
    if (answerIsNull({ "KyrDisplay::CreateComponent" })) {
        record("KyrDisplay::CreateComponent() -> null");
        return nullptr;
    }
    const int number = ++displaysMade;
    record("KyrDisplay::CreateComponent() -> display" + std::to_string(number));
    return new (std::nothrow) ScriptedDisplay(number);
}

uint64_t KyrDisplay_FramesDrawn() noexcept
{
    return imagesShown.load();
}

// Shown counts as drawn here, so there is never anything to wait for.
uint64_t KyrDisplay_WaitFramesDrawn(uint64_t, uint32_t) noexcept
{
    return imagesShown.load();
}

// Called once the interpreter is finalized, when no test can read the call
// log any more: a test that sets KYR_SCRIPTED_SHOW_SHUTDOWN sees the call on
// standard error.
void KyrDisplay_ShutdownGui() noexcept
{
    record("KyrDisplay_ShutdownGui()");
    if (std::getenv("KYR_SCRIPTED_SHOW_SHUTDOWN"))
        std::fputs("scripted: KyrDisplay_ShutdownGui()\n", stderr);
}
