#include <dovo/Exception.h>

#include "objects/FaultTranslator.h"
#include "support/Checks.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <thread>

using dovo::Exception;

// Unmasks (or masks again) the processor's floating-point division-by-zero exception and clears what it has
// recorded (FaultTest_posix.cpp, FaultTest_win32.cpp).
void TrapFloatDivisionByZero(bool trap);

namespace {

// Faults in functions of their own, so that the caught exception has crossed a call as in real code.
// The sanitizers would stop these deliberate faults before the processor sees them.
#define FAULTING __attribute__((noinline, no_sanitize("undefined", "address")))
FAULTING int ReadFrom(std::uintptr_t address) { return *reinterpret_cast<volatile int*>(address); }
FAULTING void WriteTo(std::uintptr_t address) { *reinterpret_cast<volatile int*>(address) = 1; }
volatile int g_intSink;
volatile double g_floatSink;
FAULTING void Divide(int a, int b)
{
    volatile int divisor = b;
    g_intSink = a / divisor;
}
FAULTING void DivideFloat(double a, double b)
{
    volatile double divisor = b;
    g_floatSink = a / divisor;
}
FAULTING void Illegal() { __builtin_trap(); }

// Called through pointers the compiler cannot see through, so that it cannot prove the calls never
// throw (a trap is "noreturn, nothrow" to it) and drop the handlers around them.
int (*volatile g_read)(std::uintptr_t) = ReadFrom;
void (*volatile g_write)(std::uintptr_t) = WriteTo;
void (*volatile g_divide)(int, int) = Divide;
void (*volatile g_divideFloat)(double, double) = DivideFloat;
void (*volatile g_illegal)() = Illegal;

template <typename F>
std::unique_ptr<Exception> Fault(F f)
{
    try {
        f();
    } catch (Exception* e) {
        return std::unique_ptr<Exception>(e);
    }
    return nullptr;
}

} // namespace

TEST(Fault, ProcessorFaultsBecomeExceptions)
{
    dovo::faults::InstallForThisThread();
    ASSERT_TRUE(dovo::faults::InstalledForThisThread());
    // {fault, "module|method|error|OS error|message|debug message"}: the address is cut to 32 bits.
    const std::pair<void (*)(), const char*> rows[] = {
        {[] { g_read(0x1234); }, "System Exception||20000001|c0000005|Access violation|Reading 0x00001234"},
        {[] { g_write(0x5678); }, "System Exception||20000001|c0000005|Access violation|Writing 0x00005678"},
        {[] { g_read(0x7ff012345678ull); }, "System Exception||20000001|c0000005|Access violation|Reading 0x12345678"},
        {[] { g_divide(1, 0); }, "System Exception||20000001|c0000094|Divide by zero|"},
        {[] { g_illegal(); }, "System Exception||20000001|c000001d|Illegal instruction|"},
        // The same thread keeps translating: nothing was left blocked or used up.
        {[] { g_read(16); }, "System Exception||20000001|c0000005|Access violation|Reading 0x00000010"}};
    for (const auto& [fault, expected] : rows) {
        const auto e = Fault(fault);
        ASSERT_TRUE(e) << expected << ": not translated";
        EXPECT_EQ(dovo::SFormat("%s|%s|%x|%x|%s|%s", e->Module().c_str(), e->Method().c_str(), e->Error(), e->OSError(),
                                e->Message().c_str(), e->DebugMessage().c_str()),
                  expected);
    }
}

TEST(Fault, FloatingDivisionByZero)
{
    dovo::faults::InstallForThisThread();
    TrapFloatDivisionByZero(true);
    const auto e = Fault([] { g_divideFloat(1.0, 0.0); });
    TrapFloatDivisionByZero(false);
    ASSERT_TRUE(e) << "a trapping floating division by zero was not translated";
    if (OnWindows() && static_cast<unsigned>(e->OSError()) != 0xC000008Eu) // SSE faults may come as several traps
        GTEST_SKIP() << "this platform reports the floating fault as 0x" << std::hex << e->OSError();
    EXPECT_EQ(dovo::SFormat("%x|%x|%s", e->OSError(), e->Error(), e->Message().c_str()),
              "c000008e|20000001|Divide by zero");
}

TEST(Fault, EveryThreadThatAsksTranslates)
{
    std::unique_ptr<Exception> caught;
    std::thread worker([&] {
        dovo::faults::InstallForThisThread();
        caught = Fault([] { g_write(0x40); });
    });
    worker.join();
    ASSERT_TRUE(caught);
    EXPECT_EQ(caught->DebugMessage(), "Writing 0x00000040");
}

TEST(FaultDeathTest, AThreadThatDoesNotTranslateReportsAndEnds)
{
    if (OnWindows())
        GTEST_SKIP() << "on Windows an untranslated fault is reported by the executable's unhandled-exception filter";
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            dovo::faults::InstallForThisThread(); // the handlers, for this process; the worker does not ask
            std::thread worker([] { g_read(0x98); });
            worker.join();
        },
        "Access violation");
}
