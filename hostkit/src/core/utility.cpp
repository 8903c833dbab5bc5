#include "hostcore/utility.h"

#include <array>
#include <cstdint>
#include <mutex>
#include <unordered_set>

namespace hostcore {
namespace utility {

namespace {

// Interned texts live for the whole process; the set owns them and never shrinks.
class InternTable {
public:
    const std::string* Intern(const std::string& text) {
        std::lock_guard<std::mutex> lock(mutex);
        return &*texts.insert(text).first;
    }

private:
    std::mutex mutex;
    std::unordered_set<std::string> texts;  // node-based: element addresses are stable
};

InternTable& Table() {
    static InternTable* table = new InternTable();  // never destroyed: strings may outlive statics
    return *table;
}

const std::string* EmptyText() {
    static const std::string* empty = Table().Intern(std::string());
    return empty;
}

}  // namespace

ImmutableString::ImmutableString() : text(EmptyText()) {}
ImmutableString::ImmutableString(const char* t)
    : text(t == nullptr ? EmptyText() : Table().Intern(t)) {}
ImmutableString::ImmutableString(const std::string& t) : text(Table().Intern(t)) {}

namespace detail {

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kPooled = false;  // let the sanitizers see every block
#else
constexpr bool kPooled = true;
#endif

constexpr std::size_t kGranule = 16;
constexpr std::size_t kClasses = kSmallBlockMax / kGranule;
constexpr std::size_t kChunkBytes = 64 * 1024;

struct FreeBlock {
    FreeBlock* next;
};

// One free list per size class, each with its own lock. Chunks are carved lazily and kept for
// the life of the process; freed blocks go back to their list.
struct SizeClass {
    std::mutex mutex;
    FreeBlock* free = nullptr;
    char* chunkCursor = nullptr;
    char* chunkEnd = nullptr;
    std::vector<void*> chunks;  // keeps the chunks reachable
};

std::array<SizeClass, kClasses>& Classes() {
    static auto* classes = new std::array<SizeClass, kClasses>();  // outlives static destructors
    return *classes;
}

std::size_t ClassIndex(std::size_t bytes) {
    return (bytes + kGranule - 1) / kGranule - 1;
}

}  // namespace

void* SmallBlockAllocate(std::size_t bytes) {
    if (!kPooled || bytes == 0 || bytes > kSmallBlockMax) {
        return ::operator new(bytes == 0 ? 1 : bytes);
    }
    const std::size_t index = ClassIndex(bytes);
    const std::size_t blockBytes = (index + 1) * kGranule;
    SizeClass& sc = Classes()[index];
    std::lock_guard<std::mutex> lock(sc.mutex);
    if (sc.free != nullptr) {
        FreeBlock* block = sc.free;
        sc.free = block->next;
        return block;
    }
    if (sc.chunkCursor == nullptr || sc.chunkCursor + blockBytes > sc.chunkEnd) {
        char* chunk = static_cast<char*>(::operator new(kChunkBytes));
        sc.chunks.push_back(chunk);
        sc.chunkCursor = chunk;
        sc.chunkEnd = chunk + kChunkBytes;
    }
    void* block = sc.chunkCursor;
    sc.chunkCursor += blockBytes;
    return block;
}

void SmallBlockFree(void* p, std::size_t bytes) noexcept {
    if (p == nullptr) {
        return;
    }
    if (!kPooled || bytes == 0 || bytes > kSmallBlockMax) {
        ::operator delete(p);
        return;
    }
    SizeClass& sc = Classes()[ClassIndex(bytes)];
    std::lock_guard<std::mutex> lock(sc.mutex);
    FreeBlock* block = static_cast<FreeBlock*>(p);
    block->next = sc.free;
    sc.free = block;
}

}  // namespace detail

namespace {

void AppendUTF16(std::u16string& out, char32_t cp) {
    if (cp >= 0x10000) {
        cp -= 0x10000;
        out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
        out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
    } else {
        out.push_back(static_cast<char16_t>(cp));
    }
}

void AppendUTF8(std::string& out, char32_t cp) {
    if (cp < 0x80) {
        out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
}

constexpr char32_t kReplacement = 0xFFFD;

std::u16string Utf8ToUtf16(const unsigned char* s, std::size_t n) {
    std::u16string out;
    out.reserve(n);
    std::size_t i = 0;
    while (i < n) {
        const unsigned char c = s[i];
        if (c < 0x80) {
            out.push_back(c);
            ++i;
            continue;
        }
        std::size_t len = 0;
        char32_t cp = 0;
        char32_t min = 0;
        if ((c & 0xE0) == 0xC0) {
            len = 2, cp = c & 0x1F, min = 0x80;
        } else if ((c & 0xF0) == 0xE0) {
            len = 3, cp = c & 0x0F, min = 0x800;
        } else if ((c & 0xF8) == 0xF0) {
            len = 4, cp = c & 0x07, min = 0x10000;
        } else {
            out.push_back(static_cast<char16_t>(kReplacement));
            ++i;
            continue;
        }
        std::size_t k = 1;
        for (; k < len && i + k < n && (s[i + k] & 0xC0) == 0x80; ++k) {
            cp = (cp << 6) | (s[i + k] & 0x3F);
        }
        if (k < len || cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
            out.push_back(static_cast<char16_t>(kReplacement));
            i += k;  // skip the lead byte and the continuation bytes it consumed
            continue;
        }
        AppendUTF16(out, cp);
        i += len;
    }
    return out;
}

}  // namespace

std::u16string AsciiToUTF16(const char* text) {
    if (text == nullptr) {
        return std::u16string();
    }
    return Utf8ToUtf16(reinterpret_cast<const unsigned char*>(text),
                       std::char_traits<char>::length(text));
}

std::u16string StdStringToUTF16(const std::string& text) {
    return Utf8ToUtf16(reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

std::string UTF16toStdString(const std::u16string& text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char32_t u = text[i];
        if (u >= 0xD800 && u <= 0xDBFF) {
            if (i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
                AppendUTF8(out, 0x10000 + ((u - 0xD800) << 10) + (text[i + 1] - 0xDC00));
                ++i;
            } else {
                AppendUTF8(out, kReplacement);
            }
        } else if (u >= 0xDC00 && u <= 0xDFFF) {
            AppendUTF8(out, kReplacement);
        } else {
            AppendUTF8(out, u);
        }
    }
    return out;
}

}  // namespace utility
}  // namespace hostcore
