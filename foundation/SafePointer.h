#ifndef FOUNDATION_SAFEPOINTER_H
#define FOUNDATION_SAFEPOINTER_H

#include <string>
#include <typeinfo>
#include <utility>

#include "foundation/OVRuntimeError.h"
#include "host/RefCountManager.h"

// Untyped half of SafePointer: the outside count and its reports.
class BaseSafePointer {
protected:
    BaseSafePointer() = default;

    // Joins the count of `address`, creating it on first use. `deleter` is
    // remembered by the first pointer only, so the object dies as the type it
    // was first wrapped as.
    void attach(void const* address, char const* typeName, void (*deleter)(void*), void* owner);
    void inc_reference(char const* typeName);
    // Deletes the object when the last reference goes.
    void dec_reference(char const* typeName);

    [[noreturn]] static void report(char const* typeName, char const* what);

    ref_count* m_pRefCount = nullptr;
};

// Reference-counted pointer for every shared object. The count lives in the
// host's RefCountManager keyed by object address: two SafePointers made from
// the same raw pointer share one count. Copies may cross threads; the object
// itself is not made thread-safe by this.
template <typename T>
class SafePointer : public BaseSafePointer {
public:
    SafePointer() = default;

    explicit SafePointer(T* object) : m_pObject(object) {
        if (m_pObject == nullptr) return;
        attach(static_cast<void const*>(m_pObject), typeName(), &deleteAs, m_pObject);
        inc_reference(typeName());
    }

    SafePointer(SafePointer const& other) : BaseSafePointer(), m_pObject(other.m_pObject) {
        m_pRefCount = other.m_pRefCount;
        if (m_pObject != nullptr) inc_reference(typeName());
    }

    template <typename U>
    SafePointer(SafePointer<U> const& other) : BaseSafePointer(), m_pObject(other.get()) {
        m_pRefCount = other.refCount();
        if (m_pObject != nullptr) inc_reference(typeName());
    }

    SafePointer& operator=(SafePointer const& other) {
        if (this == &other) return *this;
        SafePointer copy(other);
        swap(copy);
        return *this;
    }

    ~SafePointer() {
        try {
            reset();
        } catch (OVRuntimeError const&) {
            // A count broken from outside cannot be mended while unwinding.
        }
    }

    void reset() {
        if (m_pObject == nullptr) return;
        dec_reference(typeName());
        m_pObject = nullptr;
        m_pRefCount = nullptr;
    }

    T* operator->() const {
        if (m_pObject == nullptr) report(typeName(), "Use NULL pointer ->");
        return m_pObject;
    }

    T& operator*() const {
        if (m_pObject == nullptr) report(typeName(), "Use NULL pointer *");
        return *m_pObject;
    }

    T* get() const { return m_pObject; }
    bool isNull() const { return m_pObject == nullptr; }
    explicit operator bool() const { return m_pObject != nullptr; }

    // The same object seen as U, sharing this count; null if it is not a U.
    template <typename U>
    SafePointer<U> dynamicCast() const {
        U* object = dynamic_cast<U*>(m_pObject);
        if (object == nullptr) return SafePointer<U>();
        return SafePointer<U>(object, m_pRefCount);
    }

    ref_count* refCount() const { return m_pRefCount; }
    int useCount() const { return m_pRefCount ? m_pRefCount->m_nCount : 0; }

    bool operator==(SafePointer const& other) const { return m_pObject == other.m_pObject; }
    bool operator!=(SafePointer const& other) const { return m_pObject != other.m_pObject; }

    // Shares an existing count; used by dynamicCast.
    SafePointer(T* object, ref_count* count) : m_pObject(object) {
        m_pRefCount = count;
        if (m_pObject != nullptr) inc_reference(typeName());
    }

private:
    static char const* typeName() { return typeid(T).name(); }
    static void deleteAs(void* object) { delete static_cast<T*>(object); }

    void swap(SafePointer& other) {
        std::swap(m_pObject, other.m_pObject);
        std::swap(m_pRefCount, other.m_pRefCount);
    }

    T* m_pObject = nullptr;
};

#endif
