#pragma once

#include <dovo/Export.h>

namespace dovo {

/// An untyped, growable array of fixed-size items kept contiguously in one zero-filled block.
///
/// Subclasses decide how an item is copied in (CopyItem) and released (ClearItem); by default items are
/// plain bytes. Every byte of the block that holds no item is zero. Failures raise an Exception with
/// module "Array".
///
/// While the base class is being constructed or destroyed a subclass's overrides are out of reach, so
/// a subclass whose items own resources releases them in its own destructor (`Clear(true)`) and copies
/// through assignment in its own copy constructor (`Sub(const Sub& o) { Array::operator=(o); }`).
/// The copy constructor of Array itself copies the items' bytes.
class DOVO_API Array
{
public:
    /// A block of initialSize zeroed slots. growBy 0 grows by an eighth of the capacity (8 to 1024
    /// slots); itemSize 0 means 8-byte items.
    explicit Array(int initialSize = 0, int growBy = 0, int itemSize = 0);
    Array(const Array& other);
    /// Clears this array's items, takes the other's settings and copies its items through CopyItem.
    Array& operator=(const Array& other);
    virtual ~Array();

    /// Appends a copy of item; returns its index.
    int Add(const void* item);
    /// Inserts before index, moving later items up; an index below 0 or not below Count() appends.
    /// Returns the index used.
    int Insert(int index, const void* item);
    /// Clears and removes up to count items from index, moving later items down; returns how many went.
    int Delete(int index, int count = 1);
    /// Moves the items first..last by `by` slots (towards the end when positive, growing the block as
    /// needed; towards the start when negative). Slots left behind are zeroed; the count follows the
    /// last item when the moved range ends the array, and otherwise grows to cover the moved items.
    /// Items moved over are not cleared: that is the caller's part (Delete clears before it shifts).
    void Shift(int first, int last, int by);
    /// ClearItem on every item; the count becomes 0. With freeMemory a block larger than the initial
    /// size is replaced by one of the initial size.
    void Clear(bool freeMemory = false);

    /// The item's slot; an index outside 0..Count()-1 raises error 0x20000005.
    void* GetAt(int index);
    const void* GetAt(int index) const;
    void* operator[](int index) { return GetAt(index); }
    const void* operator[](int index) const { return GetAt(index); }
    int Count() const { return m_count; }
    /// Slots in the block.
    int Capacity() const { return m_capacity; }

protected:
    /// Puts a copy of the item at source into slot (item-size bytes by default).
    virtual void CopyItem(const void* source, void* slot);
    /// Releases the item in slot (zeroes it by default).
    virtual void ClearItem(void* slot);

    /// Adds at least `minimum` slots (more when the growth step is larger).
    void Grow(int minimum);
    /// A zeroed block of that many slots.
    unsigned char* Alloc(int slots) const;

private:
    unsigned char* Slot(int index) const { return m_block + static_cast<long long>(index) * m_itemSize; }
    void CheckShift(long long first, int by) const;
    [[noreturn]] void Raise(const char* method, int error, const char* message) const;

    unsigned char* m_block = nullptr;
    int m_capacity = 0;
    int m_count = 0;
    int m_initialSize = 0;
    int m_growBy = 0;
    int m_itemSize = 8;
};

} // namespace dovo
