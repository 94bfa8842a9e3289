// Fuzzes UID parsing: a text that parses prints as 36 lower-case characters with dashes in place and
// parses back to the same identifier; one that does not leaves the UID nil (and throws when asked to).

#include <dovo/UID.h>

#include "FuzzCheck.h"

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

using dovo::UID;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    UID id(true);
    const bool parsed = id.FromString(text.c_str());
    const char* printed = id.ToString();
    FUZZ_CHECK(std::strlen(printed) == 36);
    for (int i = 0; i < 36; ++i)
        FUZZ_CHECK((i == 8 || i == 13 || i == 18 || i == 23)
                       ? printed[i] == '-'
                       : std::isxdigit(static_cast<unsigned char>(printed[i])) &&
                             !std::isupper(static_cast<unsigned char>(printed[i])));
    if (!parsed) {
        FUZZ_CHECK(id == UID::Null && !id);
        bool threw = false;
        try {
            UID strict(text.c_str(), true);
        } catch (dovo::Exception* e) {
            std::unique_ptr<dovo::Exception> owned(e);
            threw = e->Error() == 0x20000004;
        }
        FUZZ_CHECK(threw);
        return 0;
    }
    FUZZ_CHECK(UID(printed, false) == id);
    FUZZ_CHECK(std::string(printed) == std::string(UID(text.c_str(), false).ToString()));
    return 0;
}
