// Floating-point traps on Windows: the C runtime's control word, whose set bits mask an exception.

#include <float.h>

void TrapFloatDivisionByZero(bool trap)
{
    unsigned control = 0;
    _clearfp();
    _controlfp_s(&control, 0, 0);
    _controlfp_s(&control, trap ? control & ~_EM_ZERODIVIDE : control | _EM_ZERODIVIDE, _MCW_EM);
}
