// The control block of shared objects and its strong and weak holders.

#include <dovo/Exception.h>
#include <dovo/SmartCountedBase.h>
#include <dovo/WeakPointerException.h>

namespace dovo {

namespace {
constexpr int kDeadObject = 0x2000000F;

class BlockLock
{
public:
    explicit BlockLock(FastMutex& lock) : m_lock(lock) { m_lock.Enter(); }
    ~BlockLock() { m_lock.Leave(); }

private:
    FastMutex& m_lock;
};
} // namespace

SmartCountedBase::~SmartCountedBase() = default;

void SmartCountedBase::Retain()
{
    BlockLock lock(m_lock);
    ++m_strong;
}

void SmartCountedBase::RetainWeak()
{
    BlockLock lock(m_lock);
    ++m_weak;
}

void SmartCountedBase::Release()
{
    int was;
    {
        BlockLock lock(m_lock);
        was = m_strong--;
    }
    // Outside the lock: the object's destructor may do anything, even release other handles.
    if (was == 1) {
        DestroyObject();
        ReleaseWeak(); // the strong side's weak reference
    }
}

void SmartCountedBase::ReleaseWeak()
{
    int was;
    {
        BlockLock lock(m_lock);
        was = m_weak--;
    }
    if (was == 1) Delete();
}

void SmartCountedBase::LockWeak()
{
    {
        BlockLock lock(m_lock);
        if (m_strong != 0) {
            ++m_strong;
            return;
        }
    }
    WeakPointerException::Throw("SmartCountedBase", "LockWeak", kDeadObject,
                                "This weak pointer refers to an object that has a zero refcount");
}

void SmartCountedBase::Delete() { delete this; }

int SmartCountedBase::StrongCount() const
{
    BlockLock lock(m_lock);
    return m_strong;
}

int SmartCountedBase::WeakCount() const
{
    BlockLock lock(m_lock);
    return m_weak;
}

SmartCountedObject::SmartCountedObject(const SmartCountedObject& other) : m_block(other.m_block)
{
    if (m_block) m_block->Retain();
}

SmartCountedObject::SmartCountedObject(const WeakCountedObject& weak) : m_block(weak.Block())
{
    if (!m_block)
        Exception::Throw("SmartCountedObject", "SmartCountedObject", kDeadObject,
                         "Cannot construct a SmartCountedObject from and invalid WeakCountedObject", -1, String(), 1);
    m_block->Retain();
}

SmartCountedObject& SmartCountedObject::operator=(const SmartCountedObject& other)
{
    SmartCountedObject copy(other); // the new block is retained before the old one is released
    Swap(copy);
    return *this;
}

SmartCountedObject::~SmartCountedObject()
{
    if (m_block) m_block->Release();
}

void SmartCountedObject::Swap(SmartCountedObject& other) noexcept { std::swap(m_block, other.m_block); }

int SmartCountedObject::RefCount() const { return m_block ? m_block->StrongCount() : 0; }

SmartCountedObject SmartCountedObject::LockWeak(const WeakCountedObject& weak)
{
    if (!weak.Block()) return SmartCountedObject(weak); // throws: nothing to lock
    weak.Block()->LockWeak();
    return SmartCountedObject(weak.Block());
}

WeakCountedObject::WeakCountedObject(const SmartCountedObject& strong) { Assign(strong.Block()); }

WeakCountedObject::WeakCountedObject(const WeakCountedObject& other) { Assign(other.m_block); }

WeakCountedObject& WeakCountedObject::operator=(const SmartCountedObject& strong)
{
    WeakCountedObject copy(strong);
    Swap(copy);
    return *this;
}

WeakCountedObject& WeakCountedObject::operator=(const WeakCountedObject& other)
{
    WeakCountedObject copy(other);
    Swap(copy);
    return *this;
}

WeakCountedObject::~WeakCountedObject()
{
    if (m_block) m_block->ReleaseWeak();
}

void WeakCountedObject::Assign(SmartCountedBase* block)
{
    m_block = block;
    if (m_block) m_block->RetainWeak();
}

void WeakCountedObject::Swap(WeakCountedObject& other) noexcept { std::swap(m_block, other.m_block); }

int WeakCountedObject::RefCount() const { return m_block ? m_block->StrongCount() : 0; }

} // namespace dovo
