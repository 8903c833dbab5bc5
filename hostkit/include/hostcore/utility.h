#pragma once

// Small utilities shared by the host's libraries: interned strings, a pooled allocator for small
// blocks, and UTF-16 conversions.

#include <cstddef>
#include <functional>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

namespace hostcore {
namespace utility {

// An immutable, interned string. Equal texts share one stored copy for the life of the process,
// so copies are a pointer and equality is a pointer compare. Ordering is by text, so std::set
// and std::map iterate alphabetically.
class ImmutableString {
public:
    ImmutableString();                  // the empty string
    ImmutableString(const char* text);  // null reads as empty
    ImmutableString(const std::string& text);

    const char* c_str() const { return text->c_str(); }
    const std::string& str() const { return *text; }
    std::size_t size() const { return text->size(); }
    bool empty() const { return text->empty(); }
    std::size_t Hash() const { return std::hash<std::string>()(*text); }

    friend bool operator==(const ImmutableString& a, const ImmutableString& b) {
        return a.text == b.text;
    }
    friend bool operator!=(const ImmutableString& a, const ImmutableString& b) {
        return a.text != b.text;
    }
    friend bool operator<(const ImmutableString& a, const ImmutableString& b) {
        return a.text != b.text && *a.text < *b.text;
    }
    friend bool operator>(const ImmutableString& a, const ImmutableString& b) { return b < a; }
    friend bool operator<=(const ImmutableString& a, const ImmutableString& b) { return !(b < a); }
    friend bool operator>=(const ImmutableString& a, const ImmutableString& b) { return !(a < b); }

private:
    const std::string* text;
};

namespace detail {
// Thread-safe pool: blocks up to kSmallBlockMax bytes come from per-size free lists, larger
// ones from operator new. Free must be given the same byte count as Allocate.
constexpr std::size_t kSmallBlockMax = 256;
void* SmallBlockAllocate(std::size_t bytes);
void SmallBlockFree(void* p, std::size_t bytes) noexcept;
}  // namespace detail

// Standard allocator over the small-block pool. Stateless: all instances compare equal.
template <class T>
class SmallBlockAllocator {
public:
    using value_type = T;
    using size_type = std::size_t;
    using difference_type = std::ptrdiff_t;
    using propagate_on_container_move_assignment = std::true_type;
    using is_always_equal = std::true_type;
    template <class U>
    struct rebind {
        using other = SmallBlockAllocator<U>;
    };

    SmallBlockAllocator() noexcept = default;
    template <class U>
    SmallBlockAllocator(const SmallBlockAllocator<U>&) noexcept {}

    T* allocate(std::size_t n) {
        if (n > static_cast<std::size_t>(-1) / sizeof(T)) {
            throw std::bad_array_new_length();
        }
        const std::size_t bytes = n * sizeof(T);
        if (alignof(T) > __STDCPP_DEFAULT_NEW_ALIGNMENT__) {
            return static_cast<T*>(::operator new(bytes, std::align_val_t(alignof(T))));
        }
        return static_cast<T*>(detail::SmallBlockAllocate(bytes));
    }
    void deallocate(T* p, std::size_t n) noexcept {
        if (p == nullptr) {
            return;
        }
        if (alignof(T) > __STDCPP_DEFAULT_NEW_ALIGNMENT__) {
            ::operator delete(p, std::align_val_t(alignof(T)));
            return;
        }
        detail::SmallBlockFree(p, n * sizeof(T));
    }

    template <class U>
    friend bool operator==(const SmallBlockAllocator&, const SmallBlockAllocator<U>&) noexcept {
        return true;
    }
    template <class U>
    friend bool operator!=(const SmallBlockAllocator&, const SmallBlockAllocator<U>&) noexcept {
        return false;
    }
};

template <class T>
using SmallBlockVector = std::vector<T, SmallBlockAllocator<T>>;

// Text to UTF-16. ASCII maps one to one; other bytes are read as UTF-8 so that file names
// survive a round trip, and a malformed sequence gives U+FFFD. Null gives an empty string.
std::u16string AsciiToUTF16(const char* text);
std::u16string StdStringToUTF16(const std::string& text);

// UTF-16 to UTF-8. Surrogate pairs become one code point; an unpaired surrogate gives U+FFFD.
std::string UTF16toStdString(const std::u16string& text);

}  // namespace utility
}  // namespace hostcore

namespace std {
template <>
struct hash<hostcore::utility::ImmutableString> {
    size_t operator()(const hostcore::utility::ImmutableString& s) const noexcept {
        return s.Hash();
    }
};
}  // namespace std
