#include <dovo/Dovo.h>

#include <cstdio>

int main()
{
    dovo::String text = dovo::SFormat("consumer: %s ", "Dovo");
    text.AppendHex(31, 8, true, true);
    const dovo::Time t(2024, 2, 29, 12, 0, 0, 7);
    std::printf("%s %s\n", text.c_str(), t.Format("%Y-%m-%d %H:%M:%S.%F").c_str());
    return t.Format("%#F") == "7" ? 0 : 1;
}
