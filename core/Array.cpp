// Array: a packed, growable table of fixed-size items.

#include <dovo/Array.h>

#include <dovo/Exception.h>

#include <algorithm>
#include <climits>
#include <cstring>

namespace dovo {

namespace {
constexpr int ErrorBadIndex = 0x20000005;
constexpr int ErrorCannotCreate = 0x20000006;
} // namespace

Array::Array(int initialSize, int growBy, int itemSize)
    : m_initialSize(std::max(initialSize, 0)), m_growBy(std::max(growBy, 0)), m_itemSize(itemSize > 0 ? itemSize : 8)
{
    m_block = Alloc(m_initialSize);
    m_capacity = m_initialSize;
}

Array::Array(const Array& other)
    : m_capacity(other.m_capacity), m_count(other.m_count), m_initialSize(other.m_initialSize),
      m_growBy(other.m_growBy), m_itemSize(other.m_itemSize)
{
    m_block = Alloc(m_capacity);
    if (m_capacity > 0) std::memcpy(m_block, other.m_block, static_cast<std::size_t>(m_capacity) * m_itemSize);
}

Array& Array::operator=(const Array& other)
{
    if (this == &other) return *this;
    Clear(true);
    unsigned char* block = Alloc(other.m_capacity);
    delete[] m_block;
    m_block = block;
    m_capacity = other.m_capacity;
    m_initialSize = other.m_initialSize;
    m_growBy = other.m_growBy;
    m_itemSize = other.m_itemSize;
    for (int i = 0; i < other.m_count; ++i, ++m_count) CopyItem(other.Slot(i), Slot(i));
    return *this;
}

Array::~Array() { delete[] m_block; }

void Array::Raise(const char* method, int error, const char* message) const
{
    Exception::Throw("Array", method, error, message, 0, String(), 1);
}

unsigned char* Array::Alloc(int slots) const
{
    const std::size_t bytes = static_cast<std::size_t>(std::max(slots, 0)) * static_cast<std::size_t>(m_itemSize);
    return new unsigned char[bytes > 0 ? bytes : 1]();
}

void Array::Grow(int minimum)
{
    const int step = m_growBy > 0 ? m_growBy : std::clamp(m_capacity / 8, 8, 1024);
    const long long wanted = static_cast<long long>(m_capacity) + std::max(step, minimum);
    if (wanted > INT_MAX) Raise("Grow", ErrorCannotCreate, "Array cannot grow beyond 2147483647 items");
    const int capacity = static_cast<int>(wanted);
    unsigned char* block = Alloc(capacity);
    if (m_capacity > 0) std::memcpy(block, m_block, static_cast<std::size_t>(m_capacity) * m_itemSize);
    delete[] m_block;
    m_block = block;
    m_capacity = capacity;
}

void Array::CopyItem(const void* source, void* slot) { std::memcpy(slot, source, m_itemSize); }

void Array::ClearItem(void* slot) { std::memset(slot, 0, m_itemSize); }

int Array::Add(const void* item)
{
    if (m_count >= m_capacity) Grow(1);
    CopyItem(item, Slot(m_count));
    return m_count++;
}

int Array::Insert(int index, const void* item)
{
    if (index < 0 || index >= m_count) return Add(item);
    Shift(index, m_count - 1, 1);
    CopyItem(item, Slot(index));
    return index;
}

void Array::CheckShift(long long first, int by) const
{
    if (first < 0) Raise("Shift", ErrorBadIndex, "Attempting to shift starting before beginning of the array");
    if (first + by < 0) Raise("Shift", ErrorBadIndex, "Attempt to shift will move items before beginning of array");
}

void Array::Shift(int first, int last, int by)
{
    CheckShift(first, by);
    last = std::min(last, m_count - 1);
    if (last < first || by == 0) return;
    const long long end = static_cast<long long>(last) + by + 1; // one past the last slot moved to
    if (end > m_capacity) {
        if (end > INT_MAX) Raise("Grow", ErrorCannotCreate, "Array cannot grow beyond 2147483647 items");
        Grow(static_cast<int>(end) - m_capacity);
    }
    const int moved = last - first + 1;
    std::memmove(Slot(first + by), Slot(first), static_cast<std::size_t>(moved) * m_itemSize);
    // Zero what the move left behind and did not cover again.
    const int freedFrom = by > 0 ? first : std::max(first, last + by + 1);
    const int freedTo = by > 0 ? std::min(first + by, last + 1) : last + 1;
    if (freedTo > freedFrom)
        std::memset(Slot(freedFrom), 0, static_cast<std::size_t>(freedTo - freedFrom) * m_itemSize);
    if (last == m_count - 1) m_count = static_cast<int>(end);
    else m_count = std::max(m_count, static_cast<int>(end));
}

int Array::Delete(int index, int count)
{
    if (count <= 0) return 0;
    CheckShift(static_cast<long long>(index) + count, -count);
    if (index >= m_count) return 0;
    count = std::min(count, m_count - index);
    for (int i = index; i < index + count; ++i) {
        ClearItem(Slot(i));
        std::memset(Slot(i), 0, m_itemSize);
    }
    if (index + count < m_count) Shift(index + count, m_count - 1, -count);
    else m_count = index;
    return count;
}

void Array::Clear(bool freeMemory)
{
    for (int i = 0; i < m_count; ++i) ClearItem(Slot(i));
    if (m_count > 0) std::memset(m_block, 0, static_cast<std::size_t>(m_count) * m_itemSize);
    m_count = 0;
    if (freeMemory && m_capacity > m_initialSize) {
        unsigned char* block = Alloc(m_initialSize);
        delete[] m_block;
        m_block = block;
        m_capacity = m_initialSize;
    }
}

void* Array::GetAt(int index) { return const_cast<void*>(static_cast<const Array*>(this)->GetAt(index)); }

const void* Array::GetAt(int index) const
{
    if (index < 0 || index >= m_count)
        Exception::Throw("Array", "GetAt", ErrorBadIndex,
                         SFormat("Requested index %d is beyond current limit %d", index, m_count), 0, String(), 1);
    return Slot(index);
}

} // namespace dovo
