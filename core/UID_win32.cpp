// UID generation on Windows: UuidCreate, its numeric groups turned to network byte order.

#include "core/UIDSystem.h"
#include "core/Win32Support.h"

#include <rpc.h>

#include <cstring>

namespace dovo::uidsystem {

bool Generate(unsigned char bytes[16])
{
    ::UUID id;
    const RPC_STATUS status = ::UuidCreate(&id);
    if (status != RPC_S_OK && status != RPC_S_UUID_LOCAL_ONLY) {
        ::SetLastError(static_cast<DWORD>(status));
        return false;
    }
    for (int i = 0; i < 4; ++i) bytes[i] = static_cast<unsigned char>(id.Data1 >> (24 - 8 * i));
    bytes[4] = static_cast<unsigned char>(id.Data2 >> 8);
    bytes[5] = static_cast<unsigned char>(id.Data2);
    bytes[6] = static_cast<unsigned char>(id.Data3 >> 8);
    bytes[7] = static_cast<unsigned char>(id.Data3);
    std::memcpy(bytes + 8, id.Data4, 8);
    return true;
}

} // namespace dovo::uidsystem
