#include "hostcore/classref.h"
#include "hostcore/utility.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <random>
#include <set>
#include <thread>
#include <unordered_set>
#include <vector>

namespace {

using hostcore::classref::IInterface;
using hostcore::classref::InterfaceID;
using hostcore::classref::InterfaceRef;
using hostcore::classref::NullInterfaceException;
using hostcore::classref::RefCountedObject;

class IShape : public IInterface {
public:
    static constexpr InterfaceID kInterfaceID =
        InterfaceID::FromString("58d1d4d6-e9fb-4fe0-a8bc-3a3c7634eb3b");
    virtual int Sides() const = 0;
};

class IColour : public IInterface {
public:
    static constexpr InterfaceID kInterfaceID =
        InterfaceID::FromString("282D21CF-D8DA-4E4F-82BE-6E9C176CA796");
    virtual int Rgb() const = 0;
};

class ISound : public IInterface {
public:
    static constexpr InterfaceID kInterfaceID =
        InterfaceID::FromString("cf026861-a969-4b32-9a5a-349196dba591");
};

std::atomic<int> destroyed{0};

class Square : public RefCountedObject, public IShape, public IColour {
public:
    HOSTCORE_IMPLEMENT_REFCOUNT
    ~Square() override { ++destroyed; }
    void* QueryInterface(const InterfaceID& id) const override {
        if (id == IShape::kInterfaceID) {
            AddRef();
            return const_cast<IShape*>(static_cast<const IShape*>(this));
        }
        if (id == IColour::kInterfaceID) {
            AddRef();
            return const_cast<IColour*>(static_cast<const IColour*>(this));
        }
        return nullptr;
    }
    int Sides() const override { return 4; }
    int Rgb() const override { return 0x00ff00; }
};

TEST(InterfaceIdTest, ParsesTheUsualFormInEitherCaseAndRejectsAnythingElse) {
    constexpr InterfaceID id = InterfaceID::FromString("13e1ff4a-84ba-4b45-9cb7-4f658044ed8a");
    static_assert(id.bytes[0] == 0x13 && id.bytes[4] == 0x84 && id.bytes[15] == 0x8a,
                  "parsed at compile time");
    EXPECT_EQ(id.ToString(), "13e1ff4a-84ba-4b45-9cb7-4f658044ed8a");
    EXPECT_EQ(InterfaceID::FromString("13E1FF4A-84BA-4B45-9CB7-4F658044ED8A"), id);

    for (const char* bad :
         {"", "13e1ff4a84ba4b459cb74f658044ed8a", "13e1ff4a-84ba-4b45-9cb7-4f658044ed8",  // short
          "13e1ff4a-84ba-4b45-9cb7-4f658044ed8a0", "13e1ff4a-84ba-4b45-9cb7-4f658044ed8g",
          "13e1ff4a_84ba-4b45-9cb7-4f658044ed8a"}) {
        EXPECT_TRUE(InterfaceID::FromString(bad).IsNull()) << bad;
    }
    EXPECT_TRUE(InterfaceID::FromString(nullptr).IsNull());
}

TEST(InterfaceRefTest, ReferencesKeepTheCountAndTheLastOneFreesTheObject) {
    destroyed = 0;
    Square* raw = new Square();
    {
        InterfaceRef<IShape> a = InterfaceRef<IShape>::Retain(raw);
        EXPECT_EQ(raw->RefCount(), 1);
        InterfaceRef<IShape> b = a;
        EXPECT_EQ(raw->RefCount(), 2);
        InterfaceRef<IShape> c = std::move(b);
        EXPECT_FALSE(b);
        EXPECT_EQ(raw->RefCount(), 2);
        c = a;  // self-family assignment
        EXPECT_EQ(raw->RefCount(), 2);
        c = c;
        EXPECT_EQ(raw->RefCount(), 2);
        c.Reset();
        EXPECT_EQ(raw->RefCount(), 1);
        EXPECT_EQ((*a).Sides(), 4);

        // A query hands out a counted reference, or null without touching the count.
        InterfaceRef<IColour> colour = a.QueryInterface<IColour>();
        ASSERT_TRUE(colour);
        EXPECT_EQ(raw->RefCount(), 2);
        EXPECT_FALSE(a.QueryInterface<ISound>());
        EXPECT_FALSE(InterfaceRef<IShape>().QueryInterface<IColour>());
        EXPECT_EQ(raw->RefCount(), 2);

        // The shape goes first; the colour reference alone keeps the object.
        a.Reset();
        EXPECT_EQ(destroyed, 0);
        EXPECT_EQ(colour->Rgb(), 0x00ff00);
    }
    EXPECT_EQ(destroyed, 1);

    // Adopt takes over the caller's reference instead of adding one.
    raw = new Square();
    raw->AddRefImpl();
    {
        InterfaceRef<IShape> adopted = InterfaceRef<IShape>::Adopt(raw);
        EXPECT_EQ(raw->RefCount(), 1);
    }
    EXPECT_EQ(destroyed, 2);

    // A null one throws, naming the reference type.
    try {
        (void)InterfaceRef<IShape>()->Sides();
        FAIL() << "no exception";
    } catch (const NullInterfaceException& e) {
        EXPECT_STREQ(e.what(),
                     "A NULL interface pointer has been dereferenced: "
                     "hostcore::classref::InterfaceRef<(anonymous namespace)::IShape>");
    }
    EXPECT_THROW((void)*InterfaceRef<IColour>(), std::runtime_error);
}

TEST(Utf16Test, RoundTripsEveryPlaneAndReplacesWhatIsBroken) {
    using hostcore::utility::AsciiToUTF16;
    using hostcore::utility::UTF16toStdString;

    const std::string text =
        "caf\xC3\xA9 \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x98\x80!";  // café 日本 😀!
    const std::u16string wide = AsciiToUTF16(text.c_str());
    EXPECT_EQ(wide, u"caf\u00e9 \u65e5\u672c \U0001F600!");  // the emoji is a surrogate pair
    EXPECT_EQ(UTF16toStdString(wide), text);

    // Unpaired surrogates, a reversed pair.
    EXPECT_EQ(UTF16toStdString(std::u16string{u'a', char16_t(0xD83D), u'b'}),
              "a\xEF\xBF\xBD"
              "b");
    EXPECT_EQ(UTF16toStdString(std::u16string{char16_t(0xDE00), char16_t(0xD83D)}),
              "\xEF\xBF\xBD\xEF\xBF\xBD");

    // Truncated, overlong and stray bytes.
    EXPECT_EQ(AsciiToUTF16("a\xE6\x97"), std::u16string(u"a\uFFFD"));
    EXPECT_EQ(AsciiToUTF16("\xC0\xAF"), std::u16string(u"\uFFFD"));
    EXPECT_EQ(AsciiToUTF16("\x80x"), std::u16string(u"\uFFFDx"));
    EXPECT_EQ(AsciiToUTF16("\xED\xA0\x80"), std::u16string(u"\uFFFD"));  // encoded surrogate
    EXPECT_TRUE(AsciiToUTF16(nullptr).empty());
    EXPECT_TRUE(UTF16toStdString(std::u16string()).empty());
}

TEST(ImmutableStringTest, InternsAndOrdersByText) {
    using hostcore::utility::ImmutableString;
    ImmutableString a("cl_khr_gl_event");
    ImmutableString b(std::string("cl_khr_") + "gl_event");
    EXPECT_EQ(a, b);
    EXPECT_EQ(a.c_str(), b.c_str());  // one stored copy
    EXPECT_NE(a, ImmutableString("cl_khr_gl_sharing"));
    EXPECT_TRUE(ImmutableString(static_cast<const char*>(nullptr)).empty());

    std::set<ImmutableString> ordered{"zeta", "alpha", "mu", "alpha"};
    ASSERT_EQ(ordered.size(), 3u);
    EXPECT_STREQ(ordered.begin()->c_str(), "alpha");
    EXPECT_STREQ(ordered.rbegin()->c_str(), "zeta");
    EXPECT_EQ(ordered.count(ImmutableString(std::string("mu"))), 1u);

    std::unordered_set<ImmutableString> hashed{"x", "y"};
    EXPECT_EQ(hashed.count("x"), 1u);
    EXPECT_EQ(hashed.count("z"), 0u);

    // Interning from many threads at once still gives one copy per text.
    std::vector<const char*> seen(8);
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([t, &seen] {
            for (int i = 0; i < 200; ++i) {
                ImmutableString s("name" + std::to_string(i));
                if (i == 123) {
                    seen[t] = s.c_str();
                }
            }
        });
    }
    for (auto& th : threads) {
        th.join();
    }
    for (const char* p : seen) {
        EXPECT_EQ(p, ImmutableString("name123").c_str());
    }
}

TEST(SmallBlockAllocatorTest, BlocksNeverOverlapUnderConcurrentUse) {
    using hostcore::utility::SmallBlockAllocator;
    constexpr int kThreads = 4;
    std::atomic<int> corrupted{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &corrupted] {
            SmallBlockAllocator<unsigned char> alloc;
            std::mt19937 rng(static_cast<unsigned>(t) * 7919u + 1u);
            std::vector<std::pair<unsigned char*, std::size_t>> live;
            for (int i = 0; i < 20000; ++i) {
                if (live.size() < 64 && (live.empty() || rng() % 3 != 0)) {
                    const std::size_t n = 1 + rng() % 400;  // small and large blocks
                    unsigned char* p = alloc.allocate(n);
                    std::memset(p, static_cast<int>((t * 64 + live.size()) & 0xff), n);
                    live.emplace_back(p, n);
                } else {
                    const std::size_t k = rng() % live.size();
                    // Every byte must still hold this block's pattern.
                    const unsigned char want = live[k].first[0];
                    for (std::size_t j = 0; j < live[k].second; ++j) {
                        if (live[k].first[j] != want) {
                            ++corrupted;
                            break;
                        }
                    }
                    alloc.deallocate(live[k].first, live[k].second);
                    live[k] = live.back();
                    live.pop_back();
                }
            }
            for (auto& b : live) {
                alloc.deallocate(b.first, b.second);
            }
        });
    }
    for (auto& th : threads) {
        th.join();
    }
    EXPECT_EQ(corrupted, 0);
}

TEST(SmallBlockAllocatorTest, StringsGrowWideTypesStayAlignedAndHugeCountsThrow) {
    hostcore::utility::SmallBlockString s("RenderContext");
    s += "_with_a_suffix_long_enough_to_leave_the_small_string_buffer";
    EXPECT_EQ(s.substr(0, 13), "RenderContext");

    struct alignas(64) Wide {
        char c[64];
    };
    hostcore::utility::SmallBlockVector<Wide> wide(3);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(wide.data()) % 64, 0u);
    EXPECT_THROW(
        hostcore::utility::SmallBlockAllocator<double>().allocate(static_cast<std::size_t>(-1) / 4),
        std::bad_array_new_length);
}

}  // namespace
