// The report of a pure virtual call. In a file of its own: next to a class with a pure virtual member
// the compiler would make this definition weak, and a weak definition cannot be exported from a DLL.

#include <dovo/Export.h>

#include "app/Lifecycle.h"

#include <cstdio>
#include <exception>

// The compiler's code calls this for a pure virtual call (a virtual called from a base's constructor or
// destructor, or through a dangling object). The program links the library before the C++ run-time, so
// this definition is the one its calls find. Once main has enabled it, the report comes first; then it
// ends the process as the run-time's own does.
extern "C" DOVO_API void __cxa_pure_virtual()
{
    if (dovo::lifecycle::PureVirtualReportEnabled()) dovo::lifecycle::OnPureVirtualCall();
    std::fputs("pure virtual method called\n", stderr);
    std::terminate();
}
