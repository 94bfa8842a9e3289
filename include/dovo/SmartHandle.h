#pragma once

#include <dovo/SmartCountedBase.h>

#include <cstddef>
#include <functional>
#include <type_traits>
#include <utility>

namespace dovo {

template <typename T>
class SmartFromThis;

/// A counted strong handle to a T: the object is deleted when the last handle goes. Handles order by
/// the managed pointer, so they can key sets and maps.
template <typename T>
class SmartHandle
{
public:
    SmartHandle() = default;
    SmartHandle(std::nullptr_t) {}
    /// Takes ownership of a new object.
    explicit SmartHandle(T* object) : m_object(object)
    {
        if (!object) return;
        m_counted = SmartCountedObject(new Block(object));
        Attach(object);
    }
    /// From a handle of a derived type.
    template <typename U, typename = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    SmartHandle(const SmartHandle<U>& other) : m_object(other.Get()), m_counted(other.Counted())
    {
    }
    /// A handle sharing another's block for a pointer into the same object (casts).
    SmartHandle(const SmartCountedObject& counted, T* object) : m_object(object), m_counted(counted) {}

    T* Get() const { return m_object; }
    T* operator->() const { return m_object; }
    T& operator*() const { return *m_object; }
    explicit operator bool() const { return m_object != nullptr; }
    int RefCount() const { return m_counted.RefCount(); }
    const SmartCountedObject& Counted() const { return m_counted; }
    void Reset() { *this = SmartHandle(); }

    /// The same object seen as a U, or a null handle when it is not one.
    template <typename U>
    SmartHandle<U> DynamicCast() const
    {
        U* cast = dynamic_cast<U*>(m_object);
        return cast ? SmartHandle<U>(m_counted, cast) : SmartHandle<U>();
    }

    template <typename U>
    bool operator==(const SmartHandle<U>& other) const
    {
        return m_object == other.Get();
    }
    bool operator==(std::nullptr_t) const { return m_object == nullptr; }
    template <typename U>
    bool operator<(const SmartHandle<U>& other) const
    {
        return std::less<const void*>()(m_object, other.Get());
    }

private:
    struct Block : SmartCountedBase
    {
        explicit Block(T* object) : object(object) {}
        void DestroyObject() override { delete object; }
        T* object;
    };

    // An object that wants handles to itself learns its block from its first handle.
    template <typename U>
    void Attach(SmartFromThis<U>* self)
    {
        self->_SmartFromThis(m_counted);
    }
    void Attach(...) {}

    T* m_object = nullptr;
    SmartCountedObject m_counted;
};

/// A weak handle: does not keep the object alive; Lock() gives a strong handle while it lives.
template <typename T>
class WeakHandle
{
public:
    WeakHandle() = default;
    template <typename U, typename = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    WeakHandle(const SmartHandle<U>& strong) : m_object(strong.Get()), m_weak(strong.Counted())
    {
    }

    /// A strong handle; throws (error 0x2000000F) when the object is gone.
    SmartHandle<T> Lock() const
    {
        return m_weak.Block() ? SmartHandle<T>(SmartCountedObject::LockWeak(m_weak), m_object) : SmartHandle<T>();
    }
    bool Expired() const { return m_weak.RefCount() == 0; }

private:
    T* m_object = nullptr;
    WeakCountedObject m_weak;
};

/// A base for objects that need a handle to themselves: it keeps a weak reference to its own block.
template <typename T>
class SmartFromThis
{
public:
    SmartHandle<T> GetSmartFromThis() { return Make<T>(); }
    SmartHandle<const T> GetSmartFromThis() const { return Make<const T>(); }

    /// Set by the object's first handle.
    void _SmartFromThis(const SmartCountedObject& counted)
    {
        if (!m_self.Block()) m_self = counted;
    }

protected:
    SmartFromThis() = default;
    SmartFromThis(const SmartFromThis&) {}
    SmartFromThis& operator=(const SmartFromThis&) { return *this; }
    ~SmartFromThis() = default;

private:
    template <typename U>
    SmartHandle<U> Make() const
    {
        auto* self = static_cast<U*>(const_cast<T*>(static_cast<const T*>(this)));
        return SmartHandle<U>(SmartCountedObject::LockWeak(m_self), self);
    }

    WeakCountedObject m_self;
};

} // namespace dovo

template <typename T>
struct std::hash<dovo::SmartHandle<T>>
{
    std::size_t operator()(const dovo::SmartHandle<T>& h) const noexcept { return std::hash<T*>()(h.Get()); }
};
