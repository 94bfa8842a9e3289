// The process entry point of every program built on the library: the program defines its executable
// object (a static Application) and no main of its own.

#include <dovo/Executable.h>
#include <dovo/Log.h>

#include "app/Lifecycle.h"
#include "objects/FaultTranslator.h"

#include <cstdio>

extern "C" DOVO_API int main(int argc, char** argv)
{
    using namespace dovo;
    Executable* executable = Executable::GetExecutable();
    if (!executable) {
        std::fputs("There's no executable object\n", stdout);
        return -1;
    }
    if (!lifecycle::InstallInterruptHandler()) {
        LogFatal("Could not set interrupt handler");
        return 1;
    }
    lifecycle::InstallFaultHandlers();
    faults::InstallForThisThread();
    lifecycle::Drive(*executable, argc, argv);
    lifecycle::RemoveInterruptHandler();
    return executable->ReturnCode();
}
