#pragma once

#include <dovo/Export.h>
#include <dovo/FastMutex.h>

namespace dovo {

/// The control block of shared objects: a strong count (the object lives while it is not 0) and a weak
/// count (the block lives while it is not 0; the strong side as a whole holds one), changed under the
/// block's own lock. The object is destroyed and the block deleted after that lock is left.
class DOVO_API SmartCountedBase
{
public:
    SmartCountedBase() = default;
    virtual ~SmartCountedBase();

    void Retain();
    void Release();
    void RetainWeak();
    void ReleaseWeak();
    /// Turns a weak reference into a strong one; throws (error 0x2000000F) when the object is gone.
    void LockWeak();
    /// Deletes the block itself.
    virtual void Delete();

    int StrongCount() const;
    int WeakCount() const;

protected:
    /// Destroys the managed object.
    virtual void DestroyObject() = 0;

private:
    SmartCountedBase(const SmartCountedBase&) = delete;
    SmartCountedBase& operator=(const SmartCountedBase&) = delete;

    int m_strong = 1;
    int m_weak = 1;
    mutable FastMutex m_lock;
};

class WeakCountedObject;

/// One strong reference to a control block, or none.
class DOVO_API SmartCountedObject
{
public:
    SmartCountedObject() = default;
    /// Takes over the creating reference of a new block.
    explicit SmartCountedObject(SmartCountedBase* adopted) : m_block(adopted) {}
    SmartCountedObject(const SmartCountedObject& other);
    /// A strong reference to the weak one's block; throws when it holds none. The strong count is not
    /// tested: use LockWeak for an object that may be gone.
    explicit SmartCountedObject(const WeakCountedObject& weak);
    SmartCountedObject& operator=(const SmartCountedObject& other);
    ~SmartCountedObject();

    void Swap(SmartCountedObject& other) noexcept;
    /// The strong count; 0 without a block.
    int RefCount() const;
    SmartCountedBase* Block() const { return m_block; }
    /// A strong reference from a weak one, or an exception when the object is gone.
    static SmartCountedObject LockWeak(const WeakCountedObject& weak);

private:
    SmartCountedBase* m_block = nullptr;
};

/// One weak reference to a control block, or none.
class DOVO_API WeakCountedObject
{
public:
    WeakCountedObject() = default;
    WeakCountedObject(const SmartCountedObject& strong);
    WeakCountedObject(const WeakCountedObject& other);
    WeakCountedObject& operator=(const SmartCountedObject& strong);
    WeakCountedObject& operator=(const WeakCountedObject& other);
    ~WeakCountedObject();

    void Swap(WeakCountedObject& other) noexcept;
    /// The strong count of the block; 0 without one.
    int RefCount() const;
    SmartCountedBase* Block() const { return m_block; }

private:
    void Assign(SmartCountedBase* block);

    SmartCountedBase* m_block = nullptr;
};

} // namespace dovo
