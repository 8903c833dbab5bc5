#include "hostcore/classref.h"
#include "hostcore/filesupport.h"
#include "hostcore/utility.h"

#include <gtest/gtest.h>

#include <unistd.h>
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

namespace {

using hostcore::classref::IInterface;
using hostcore::classref::InterfaceID;
using hostcore::classref::InterfaceRef;
using hostcore::classref::NullInterfaceException;
using hostcore::classref::RefCountedObject;
using hostcore::utility::AsciiToUTF16;
using hostcore::utility::UTF16toStdString;

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
        c = c;
        EXPECT_EQ(raw->RefCount(), 2);
        c.Reset();
        EXPECT_EQ(raw->RefCount(), 1);

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
    const std::string text =
        "caf\xC3\xA9 \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x98\x80!";  // café 日本 😀!
    const std::u16string wide = AsciiToUTF16(text.c_str());
    EXPECT_EQ(wide, u"caf\u00e9 \u65e5\u672c \U0001F600!");  // the emoji is a surrogate pair
    EXPECT_EQ(UTF16toStdString(wide), text);

    // A high surrogate without its low one and a low one alone; truncated, overlong and stray
    // bytes and an encoded surrogate.
    EXPECT_EQ(UTF16toStdString({u'a', char16_t(0xD83D), u'b', char16_t(0xDE00)}),
              "a\xEF\xBF\xBD"
              "b\xEF\xBF\xBD");
    EXPECT_EQ(AsciiToUTF16("\xC0\xAF\x80x\xED\xA0\x80"
                           "a\xE6\x97"),
              std::u16string(u"\uFFFD\uFFFDx\uFFFDa\uFFFD"));
}

// The library builds its controller models' paths this way, under the modules directory.
TEST(FileSupportTest, PathsAreBuiltByComponentsAndReturnedInUtf16) {
    using hostcore::filesupport::Dir;
    using hostcore::filesupport::File;
    using hostcore::filesupport::commondirs::ApplicationModules;

    const Dir models = Dir("/opt/host/modules/").Append("/Stereon/").Append("").Append("models");
    EXPECT_EQ(models.Path(), "/opt/host/modules/Stereon/models");
    EXPECT_EQ(File(models, "\xF0\x9F\x98\x80.obj").FullPath(),
              u"/opt/host/modules/Stereon/models/\U0001F600.obj");
    char cwd[4096];
    ASSERT_NE(::getcwd(cwd, sizeof cwd), nullptr);
    EXPECT_EQ(UTF16toStdString(File("relative.obj").FullPath()),
              std::string(cwd) + "/relative.obj");

    ::unsetenv("STEREON_MODULES_DIR");
    const std::string modules = ApplicationModules().Path();
    ::setenv("STEREON_MODULES_DIR", "", 1);  // empty: as if unset
    EXPECT_EQ(ApplicationModules().Path(), modules);
    ::unsetenv("STEREON_MODULES_DIR");
}

// Equality is a pointer compare, so texts interned on several threads at once must still share
// one copy.
TEST(ImmutableStringTest, EqualTextsShareOneCopyWhereverTheyAreMade) {
    using hostcore::utility::ImmutableString;
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
    EXPECT_NE(ImmutableString("name12"), ImmutableString("name123"));
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
                    const auto& block = live[k];
                    if (std::count(block.first, block.first + block.second, block.first[0]) !=
                        static_cast<std::ptrdiff_t>(block.second)) {
                        ++corrupted;
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

}  // namespace
