#pragma once

// Reference-counted host interfaces and the intrusive reference that holds them.
//
// Every queryable interface derives from IInterface and names its identifier as
//     static constexpr hostcore::classref::InterfaceID kInterfaceID =
//         hostcore::classref::InterfaceID::FromString("13e1ff4a-84ba-4b45-9cb7-4f658044ed8a");
// InterfaceRef<T>::QueryInterface<U>() asks for U::kInterfaceID.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace hostcore {
namespace classref {

// A 128-bit interface identifier, written in the usual 8-4-4-4-12 hexadecimal form.
struct InterfaceID {
    std::uint8_t bytes[16];

    // Parses "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx" (either case). Anything else, a null pointer
    // included, gives the all-zero identifier, which no interface uses.
    static constexpr InterfaceID FromString(const char* uuid) {
        InterfaceID id{};
        if (uuid == nullptr) {
            return id;
        }
        InterfaceID parsed{};
        int nibble = 0;
        for (int i = 0; i < 36; ++i) {
            const char c = uuid[i];
            if (i == 8 || i == 13 || i == 18 || i == 23) {
                if (c != '-') {
                    return id;
                }
                continue;
            }
            int v = -1;
            if (c >= '0' && c <= '9') {
                v = c - '0';
            } else if (c >= 'a' && c <= 'f') {
                v = c - 'a' + 10;
            } else if (c >= 'A' && c <= 'F') {
                v = c - 'A' + 10;
            }
            if (v < 0) {
                return id;  // also stops at an early terminator
            }
            const int byte = nibble / 2;
            parsed.bytes[byte] =
                static_cast<std::uint8_t>((nibble % 2 == 0) ? (v << 4) : (parsed.bytes[byte] | v));
            ++nibble;
        }
        if (uuid[36] != '\0') {
            return id;
        }
        return parsed;
    }

    constexpr bool IsNull() const {
        for (std::uint8_t b : bytes) {
            if (b != 0) {
                return false;
            }
        }
        return true;
    }

    friend constexpr bool operator==(const InterfaceID& a, const InterfaceID& b) {
        for (int i = 0; i < 16; ++i) {
            if (a.bytes[i] != b.bytes[i]) {
                return false;
            }
        }
        return true;
    }
    friend constexpr bool operator!=(const InterfaceID& a, const InterfaceID& b) {
        return !(a == b);
    }
};

// Base of every host interface that can be queried.
class IInterface {
public:
    virtual void AddRef() const = 0;
    virtual void Release() const = 0;
    // Returns a pointer to the requested interface with one reference added, or nullptr.
    // The pointer is of the interface's own type, cast to void*.
    virtual void* QueryInterface(const InterfaceID& id) const = 0;

protected:
    virtual ~IInterface() = default;
};

// AddRef/Release for implementations: an atomic count, the object deletes itself at zero.
// A new object starts at zero references; InterfaceRef<T>::Retain takes the first.
class RefCountedObject {
public:
    void AddRefImpl() const { count.fetch_add(1, std::memory_order_relaxed); }
    void ReleaseImpl() const {
        if (count.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete this;
        }
    }
    std::int32_t RefCount() const { return count.load(std::memory_order_acquire); }

protected:
    RefCountedObject() = default;
    RefCountedObject(const RefCountedObject&) : count(0) {}
    RefCountedObject& operator=(const RefCountedObject&) { return *this; }
    virtual ~RefCountedObject() = default;

private:
    mutable std::atomic<std::int32_t> count{0};
};

// Implements the three IInterface operations for a class deriving from RefCountedObject and
// one or more interfaces; QueryInterface still has to be written by the class.
#define HOSTCORE_IMPLEMENT_REFCOUNT \
    void AddRef() const override {  \
        AddRefImpl();               \
    }                               \
    void Release() const override { \
        ReleaseImpl();              \
    }

// Thrown when a null InterfaceRef is dereferenced.
class NullInterfaceException : public std::runtime_error {
public:
    explicit NullInterfaceException(const std::type_info& refType);
    // The demangled type of the reference that was dereferenced.
    const std::string& TypeName() const { return typeName; }

private:
    std::string typeName;
};

// Intrusive reference to an interface: a copy adds a reference, destruction releases one.
template <class T>
class InterfaceRef {
public:
    InterfaceRef() = default;
    InterfaceRef(std::nullptr_t) {}
    InterfaceRef(const InterfaceRef& other) : ptr(other.ptr) {
        if (ptr != nullptr) {
            ptr->AddRef();
        }
    }
    InterfaceRef(InterfaceRef&& other) noexcept : ptr(other.ptr) { other.ptr = nullptr; }
    template <class U, class = std::enable_if_t<std::is_convertible<U*, T*>::value>>
    InterfaceRef(const InterfaceRef<U>& other) : ptr(other.Get()) {
        if (ptr != nullptr) {
            ptr->AddRef();
        }
    }
    ~InterfaceRef() { Reset(); }

    InterfaceRef& operator=(const InterfaceRef& other) {
        InterfaceRef(other).Swap(*this);
        return *this;
    }
    InterfaceRef& operator=(InterfaceRef&& other) noexcept {
        InterfaceRef(std::move(other)).Swap(*this);
        return *this;
    }
    InterfaceRef& operator=(std::nullptr_t) {
        Reset();
        return *this;
    }

    // Takes over a reference the caller already owns (what QueryInterface hands out).
    static InterfaceRef Adopt(T* p) {
        InterfaceRef r;
        r.ptr = p;
        return r;
    }
    // Adds a reference of its own.
    static InterfaceRef Retain(T* p) {
        if (p != nullptr) {
            p->AddRef();
        }
        return Adopt(p);
    }

    T* Get() const { return ptr; }
    explicit operator bool() const { return ptr != nullptr; }

    T* operator->() const {
        if (ptr == nullptr) {
            throw NullInterfaceException(typeid(InterfaceRef<T>));
        }
        return ptr;
    }
    T& operator*() const { return *operator->(); }

    void Reset() {
        T* p = ptr;
        ptr = nullptr;
        if (p != nullptr) {
            p->Release();
        }
    }
    // Gives up ownership without releasing.
    T* Detach() {
        T* p = ptr;
        ptr = nullptr;
        return p;
    }
    void Swap(InterfaceRef& other) noexcept { std::swap(ptr, other.ptr); }

    // Asks the object for U by U::kInterfaceID. A null reference or a refused query gives null.
    template <class U>
    InterfaceRef<U> QueryInterface() const {
        if (ptr == nullptr) {
            return InterfaceRef<U>();
        }
        return InterfaceRef<U>::Adopt(static_cast<U*>(ptr->QueryInterface(U::kInterfaceID)));
    }

    friend bool operator==(const InterfaceRef& a, const InterfaceRef& b) { return a.ptr == b.ptr; }
    friend bool operator!=(const InterfaceRef& a, const InterfaceRef& b) { return a.ptr != b.ptr; }
    friend bool operator==(const InterfaceRef& a, std::nullptr_t) { return a.ptr == nullptr; }
    friend bool operator!=(const InterfaceRef& a, std::nullptr_t) { return a.ptr != nullptr; }

private:
    T* ptr = nullptr;
};

}  // namespace classref
}  // namespace hostcore
