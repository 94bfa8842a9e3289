// Processor faults to exceptions on Windows. A vectored exception handler sees every structured
// exception first; on a thread that translates, it keeps the fault's record and resumes the thread in
// a small trampoline as if the faulting instruction had called it. The trampoline throws the
// library's Exception*, and the unwinder walks from it into the faulting function and on to the
// handlers. Other threads, and exceptions that are no faults (C++ throws, debugger events), pass
// untouched.

#include <dovo/Exception.h>

#include "core/Win32Support.h"
#include "objects/FaultTranslator.h"

#include <mutex>

namespace dovo::faults {

namespace {

thread_local bool t_installed = false;
thread_local EXCEPTION_RECORD t_record;
thread_local CONTEXT t_context;

bool IsFault(DWORD code)
{
    // Error severity only; the compilers' own C++ exceptions are of other severities.
    return (code & 0xF0000000u) == 0xC0000000u || code == EXCEPTION_DATATYPE_MISALIGNMENT;
}

LONG CALLBACK Handler(EXCEPTION_POINTERS* pointers);

} // namespace

extern "C" void DovoThrowPendingFault()
{
    EXCEPTION_POINTERS pointers{&t_record, &t_context};
    auto* e = new Exception(&pointers);
    Exception::Log(e);
    throw e;
}

// Entered with the faulting instruction's address as return address and any stack alignment: keeps a
// frame pointer (so the unwinder finds its way back whatever the alignment), aligns, and calls the
// thrower.
asm(R"(
    .text
    .globl DovoFaultTrampoline
    .def DovoFaultTrampoline; .scl 2; .type 32; .endef
    .seh_proc DovoFaultTrampoline
DovoFaultTrampoline:
    pushq %rbp
    .seh_pushreg %rbp
    movq %rsp, %rbp
    .seh_setframe %rbp, 0
    .seh_endprologue
    andq $-16, %rsp
    subq $32, %rsp
    call DovoThrowPendingFault
    int3
    .seh_endproc
)");

extern "C" void DovoFaultTrampoline();

namespace {

LONG CALLBACK Handler(EXCEPTION_POINTERS* pointers)
{
    const EXCEPTION_RECORD* record = pointers->ExceptionRecord;
    if (!t_installed || !IsFault(record->ExceptionCode) || (record->ExceptionFlags & EXCEPTION_NONCONTINUABLE))
        return EXCEPTION_CONTINUE_SEARCH;
    t_record = *record;
    t_record.ExceptionRecord = nullptr;
    t_context = *pointers->ContextRecord;

    CONTEXT* context = pointers->ContextRecord;
    context->Rsp -= 8;
    *reinterpret_cast<DWORD64*>(context->Rsp) = context->Rip;
    context->Rip = reinterpret_cast<DWORD64>(&DovoFaultTrampoline);
    return EXCEPTION_CONTINUE_EXECUTION;
}

} // namespace

void InstallForThisThread()
{
    static std::once_flag handler;
    std::call_once(handler, [] { AddVectoredExceptionHandler(1, Handler); });
    // Leave room on the stack to report an overflow.
    ULONG guarantee = 64 * 1024;
    SetThreadStackGuarantee(&guarantee);
    t_installed = true;
}

bool InstalledForThisThread() { return t_installed; }

} // namespace dovo::faults
