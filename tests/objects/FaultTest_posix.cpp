// Floating-point traps on POSIX.

#include <cfenv>

void TrapFloatDivisionByZero(bool trap)
{
    std::feclearexcept(FE_ALL_EXCEPT);
    trap ? feenableexcept(FE_DIVBYZERO) : fedisableexcept(FE_DIVBYZERO);
}
