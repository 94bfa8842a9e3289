// UID: shared identifier blocks, parsing, text form and ordering.

#include <dovo/UID.h>

#include <dovo/Exception.h>

#include "core/UIDSystem.h"

#include <cstring>
#include <thread>

namespace dovo {

namespace {

constexpr int ErrorBadText = 0x20000004;
constexpr int ErrorCannotCreate = 0x20000006;
constexpr char kNilText[] = "00000000-0000-0000-0000-000000000000";

// Never freed: it starts with one hold more than UID::Full takes.
UID::uid_t g_fullBlock{{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
                       "ffffffff-ffff-ffff-ffff-ffffffffffff",
                       {2}};

int HexDigit(char c)
{
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool IsSeparatorPosition(int i) { return i == 8 || i == 13 || i == 18 || i == 23; }

} // namespace

const UID UID::Null;
const UID UID::Full(&g_fullBlock);

UID::uid_t* UID::Alloc()
{
    auto* block = new uid_t{{}, {}, {1}};
    return block;
}

unsigned char* UID::NewData()
{
    Release();
    m_data = Alloc();
    return m_data->bytes;
}

void UID::Release() noexcept
{
    uid_t* block = m_data;
    m_data = nullptr;
    if (block && block->count.fetch_sub(1, std::memory_order_acq_rel) == 1) delete block;
}

// The text cache's first byte tells its state: 0 empty, 1 being filled, else filled. One thread fills
// the rest and publishes it with the first byte; others wait for that (a few nanoseconds).
constexpr char kEmpty = 0, kFilling = 1;

void UID::GenString() const noexcept
{
    std::atomic_ref<char> state(m_data->text[0]);
    char seen = state.load(std::memory_order_acquire);
    if (seen > kFilling) return;
    if (seen == kEmpty && state.compare_exchange_strong(seen, kFilling, std::memory_order_acquire)) {
        static constexpr char digits[] = "0123456789abcdef";
        char text[37];
        char* out = text;
        for (int i = 0; i < 16; ++i) {
            *out++ = digits[m_data->bytes[i] >> 4];
            *out++ = digits[m_data->bytes[i] & 0x0F];
            if (i == 3 || i == 5 || i == 7 || i == 9) *out++ = '-';
        }
        *out = '\0';
        std::memcpy(m_data->text + 1, text + 1, 36);
        state.store(text[0], std::memory_order_release);
        return;
    }
    while (state.load(std::memory_order_acquire) <= kFilling) std::this_thread::yield();
}

void UID::Assign(const unsigned char* bytes)
{
    if (std::memcmp(bytes, kZeros, 16) == 0) {
        Reset();
        return;
    }
    // A block held by this UID alone is rewritten in place: reading many identifiers into one UID then
    // allocates once.
    if (m_data && m_data->count.load(std::memory_order_acquire) == 1) {
        std::memcpy(m_data->bytes, bytes, 16);
        std::atomic_ref<char>(m_data->text[0]).store(kEmpty, std::memory_order_relaxed);
        return;
    }
    std::memcpy(NewData(), bytes, 16);
}

UID::UID(bool generate)
{
    if (!generate) return;
    unsigned char bytes[16];
    if (!uidsystem::Generate(bytes))
        Exception::Throw("UID", "Generator", ErrorCannotCreate, "Unable to generate a UID", -1, String(), 1);
    std::memcpy(NewData(), bytes, 16);
}

UID::UID(const char* text, bool throwOnError)
{
    if (!FromString(text) && throwOnError)
        Exception::Throw("UID", "String Creator", ErrorBadText,
                         String("Unable to extract valid UID from ") + (text ? text : ""), 0, String(), 1);
}

UID::UID(const String& text, bool throwOnError) : UID(text.c_str(), throwOnError) {}

UID::UID(const UID& other) noexcept : m_data(other.m_data)
{
    if (m_data) m_data->count.fetch_add(1, std::memory_order_relaxed);
}

UID& UID::operator=(const UID& other) noexcept
{
    uid_t* block = other.m_data;
    if (block) block->count.fetch_add(1, std::memory_order_relaxed);
    Release();
    m_data = block;
    return *this;
}

UID& UID::operator=(UID&& other) noexcept
{
    if (this != &other) {
        Release();
        m_data = other.m_data;
        other.m_data = nullptr;
    }
    return *this;
}

UID& UID::operator=(const String& text)
{
    FromString(text.c_str());
    return *this;
}

void UID::Reset() noexcept { Release(); }

bool UID::FromString(FormatString text)
{
    Release();
    if (!text) return false;
    unsigned char bytes[16];
    int count = 0;
    for (int i = 0; i < 36 && text[i] != '\0'; ++i) {
        if (IsSeparatorPosition(i)) continue;
        const int high = HexDigit(text[i]);
        const int low = high < 0 || i + 1 >= 36 || IsSeparatorPosition(i + 1) ? -1 : HexDigit(text[i + 1]);
        if (low < 0) break;
        bytes[count++] = static_cast<unsigned char>(high << 4 | low);
        ++i;
    }
    if (count != 16) return false;
    // Sixteen zero digits parse as a value, not as nil: the text said so.
    std::memcpy(NewData(), bytes, 16);
    return true;
}

const char* UID::ToString() const noexcept
{
    if (!m_data) return kNilText;
    GenString();
    return m_data->text;
}

bool UID::operator==(const UID& other) const noexcept
{
    return m_data == other.m_data || std::memcmp(BinaryData(), other.BinaryData(), 16) == 0;
}

bool UID::operator<(const UID& other) const noexcept
{
    return m_data != other.m_data && std::memcmp(BinaryData(), other.BinaryData(), 16) < 0;
}

UID::operator bool() const noexcept { return m_data && std::memcmp(m_data->bytes, kZeros, 16) != 0; }

} // namespace dovo
